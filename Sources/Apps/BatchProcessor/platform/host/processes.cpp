#include "platform/host/processes.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/path_bytes.h"
#include "platform/host/system_calls.h"
#include "text/conversions.h"

namespace platform::host {

namespace {

constexpr const char* data_below_home = "/.local/share";

std::optional<std::string> absolute_path_in(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return value;
}

std::optional<std::string> home_of_user() {
  constexpr std::size_t largest = 1 << 20;
  for (std::vector<char> buffer(4096); buffer.size() <= largest; buffer.resize(buffer.size() * 2)) {
    passwd entry = {};
    passwd* found = nullptr;
    const int error = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    if (error == ERANGE) continue;
    if (error != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') break;
    return found->pw_dir;
  }
  return std::nullopt;
}

}  // namespace

// Asked for with every line of the log, and never another for the one who asks.
std::uint32_t processes::process_id() {
  static const auto id = static_cast<std::uint32_t>(::getpid());
  return id;
}

std::uint32_t processes::thread_id() {
  thread_local const auto id = static_cast<std::uint32_t>(::gettid());
  return id;
}

hresult_result<std::wstring> processes::local_app_data() {
  if (const auto data = absolute_path_in("XDG_DATA_HOME")) return wide_from_bytes(*data);
  auto home = absolute_path_in("HOME");
  if (!home) home = home_of_user();
  if (!home) return hresult::path_not_found;
  if (home->ends_with('/')) home->pop_back();
  return wide_from_bytes(*home + data_below_home);
}

win32_result<std::wstring> processes::module_path(std::size_t capacity) {
  std::array<char, PATH_MAX> bytes;
  const ssize_t size = ::readlink("/proc/self/exe", bytes.data(), bytes.size());
  if (size < 0) return error_from_errno(errno);
  std::wstring path = wide_from_bytes({bytes.data(), static_cast<std::size_t>(size)});
  // The terminating NUL needs a place too.
  if (text::utf16_length(path) >= capacity) return win32_error::insufficient_buffer;
  return path;
}

package_name_answer processes::package_full_name(std::uint32_t /*capacity*/) { return {}; }

hresult processes::set_app_user_model_id(const std::wstring& /*id*/) { return hresult::ok; }

hresult processes::enter_apartment() { return hresult::ok; }

void processes::leave_apartment() {}

}  // namespace platform::host
