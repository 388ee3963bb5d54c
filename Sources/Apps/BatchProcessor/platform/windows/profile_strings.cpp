#include "platform/windows/profile_strings.h"

#include "platform/windows/error_codes.h"
#include "platform/windows/long_paths.h"

namespace platform::windows {

std::wstring profile_strings::read(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                   std::size_t capacity) {
  if (capacity == 0) return {};
  std::wstring value(capacity, L'\0');
  // The call has no failure of its own: what can't be read gives the default, an empty text.
  const DWORD length = GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", value.data(),
                                                static_cast<DWORD>(capacity), file_call_path(file).c_str());
  value.resize(length);
  return value;
}

win32_error profile_strings::write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                   const std::optional<std::wstring>& value) {
  return outcome(WritePrivateProfileStringW(section.c_str(), key.c_str(), value ? value->c_str() : nullptr,
                                            file_call_path(file).c_str()));
}

win32_error profile_strings::delete_section(const std::wstring& file, const std::wstring& section) {
  return outcome(WritePrivateProfileStringW(section.c_str(), nullptr, nullptr, file_call_path(file).c_str()));
}

}  // namespace platform::windows
