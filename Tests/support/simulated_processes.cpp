#include "support/simulated_processes.h"

#include "text/conversions.h"
#include "text/format.h"

namespace support {

using platform::hresult;
using platform::win32_error;

std::uint32_t simulated_processes::process_id() {
  const auto guard = calls_.record("process_id", "");
  return 4120;
}

std::uint32_t simulated_processes::thread_id() {
  const auto guard = calls_.record("thread_id", "");
  return 8836;
}

platform::hresult_result<std::wstring> simulated_processes::local_app_data() {
  const auto guard = calls_.record("local_app_data", "");
  const auto refused = calls_.refusal<hresult>("local_app_data", {});
  if (!succeeded(refused)) return refused;
  return local_app_data_folder;
}

platform::win32_result<std::wstring> simulated_processes::module_path(std::size_t capacity) {
  const auto guard = calls_.record("module_path", text::format("{}", capacity));
  const auto refused = calls_.refusal<win32_error>("module_path", {});
  if (!succeeded(refused)) return refused;
  if (text::utf16_length(executable) >= capacity) return win32_error::insufficient_buffer;
  return executable;
}

platform::package_name_answer simulated_processes::package_full_name(std::uint32_t capacity) {
  const auto guard = calls_.record("package_full_name", text::format("{}", capacity));
  const auto refused = calls_.refusal<win32_error>("package_full_name", {});
  if (!succeeded(refused)) return {refused, 0, {}};
  if (!package) return {};
  const auto length = static_cast<std::uint32_t>(text::utf16_length(*package)) + 1;
  if (capacity < length) return {win32_error::insufficient_buffer, length, {}};
  return {win32_error::success, length, *package + L'\0'};
}

hresult simulated_processes::set_app_user_model_id(const std::wstring& id) {
  const auto guard = calls_.record("set_app_user_model_id", text::utf8_from_wide(id));
  return calls_.refusal<hresult>("set_app_user_model_id", {});
}

hresult simulated_processes::enter_apartment() {
  const auto guard = calls_.record("enter_apartment", "");
  const auto refused = calls_.refusal<hresult>("enter_apartment", {});
  if (succeeded(refused)) ++apartments;
  return refused;
}

void simulated_processes::leave_apartment() {
  const auto guard = calls_.record("leave_apartment", "");
  --apartments;
}

}  // namespace support
