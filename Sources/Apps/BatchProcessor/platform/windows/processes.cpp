#include "platform/windows/processes.h"

#include <algorithm>

#include "platform/windows/error_codes.h"
#include "platform/windows/scoped_resources.h"

// The header that has it is missing from this compiler's set.
extern "C" __declspec(dllimport) LONG WINAPI GetCurrentPackageFullName(UINT32* length, PWSTR name);

namespace platform::windows {

std::uint32_t processes::process_id() { return GetCurrentProcessId(); }

std::uint32_t processes::thread_id() { return GetCurrentThreadId(); }

hresult_result<std::wstring> processes::local_app_data() {
  wchar_t* buffer = nullptr;
  const hresult asked = outcome(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &buffer));
  const task_memory<wchar_t> path(buffer);  // to be freed after a failure too
  if (!succeeded(asked)) return asked;
  return std::wstring(path.get());
}

win32_result<std::wstring> processes::module_path(std::size_t capacity) {
  if (capacity == 0) return win32_error::insufficient_buffer;
  std::wstring path(capacity, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(capacity));
  if (length == 0) return last_failure();
  // A cut path fills the buffer.
  if (length >= capacity) return win32_error::insufficient_buffer;
  path.resize(length);
  return path;
}

package_name_answer processes::package_full_name(std::uint32_t capacity) {
  package_name_answer answer;
  std::wstring buffer(capacity, L'\0');
  UINT32 length = capacity;
  answer.code = static_cast<win32_error>(GetCurrentPackageFullName(&length, capacity != 0 ? buffer.data() : nullptr));
  answer.length = length;
  if (succeeded(answer.code)) answer.name = buffer.substr(0, std::min(length, capacity));
  return answer;
}

hresult processes::set_app_user_model_id(const std::wstring& id) {
  return outcome(SetCurrentProcessExplicitAppUserModelID(id.c_str()));
}

hresult processes::enter_apartment() { return outcome(CoInitialize(nullptr)); }

void processes::leave_apartment() { CoUninitialize(); }

}  // namespace platform::windows
