#include "platform/windows/profile_strings.h"

#include "platform/windows/error_codes.h"
#include "platform/windows/long_paths.h"

namespace platform::windows {

namespace {

// Nothing is wrong, something is missing, or the buffer is too small for any of the value.
bool leaves_value_empty(DWORD error) {
  return error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
         error == ERROR_MORE_DATA;
}

}  // namespace

win32_result<std::wstring> profile_strings::read(const std::wstring& file, const std::wstring& section,
                                                 const std::wstring& key, std::size_t capacity) {
  if (capacity == 0) return std::wstring();
  std::wstring value(capacity, L'\0');
  const std::wstring path = long_call_path(file);
  // The call has no failure of its own: what can't be read gives the default, and only the last error tells why.
  SetLastError(ERROR_SUCCESS);
  const DWORD length = GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", value.data(),
                                                static_cast<DWORD>(capacity), path.c_str());
  const DWORD error = GetLastError();
  if (length == 0 && !leaves_value_empty(error)) return static_cast<win32_error>(error);
  value.resize(length);
  return value;
}

win32_error profile_strings::write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                   const std::optional<std::wstring>& value) {
  return outcome(WritePrivateProfileStringW(section.c_str(), key.c_str(), value ? value->c_str() : nullptr,
                                            long_call_path(file).c_str()));
}

win32_error profile_strings::delete_section(const std::wstring& file, const std::wstring& section) {
  return outcome(WritePrivateProfileStringW(section.c_str(), nullptr, nullptr, long_call_path(file).c_str()));
}

}  // namespace platform::windows
