#include "platform/host/attributes_copy.h"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>

namespace platform::host {

namespace {

// 64 KiB is the kernel's limit for the list of names and for a value.
constexpr std::size_t largest = 65536;

bool holds_users_data(std::string_view name) { return name.starts_with("user.") || name.starts_with("system.posix_"); }

int copy_attribute(const std::string& from, int to, const char* name) {
  static thread_local std::array<char, largest> value;
  const ssize_t size = ::lgetxattr(from.c_str(), name, value.data(), value.size());
  // Removed by someone since it was listed.
  if (size < 0 && errno == ENODATA) return 0;
  if (size >= 0 && ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0) == 0) return 0;
  // Labels and capabilities: a user may see, but not set them.
  if (!holds_users_data(name) && (errno == EPERM || errno == EACCES || errno == EOPNOTSUPP)) return 0;
  return errno;
}

}  // namespace

int copy_attributes(const std::string& from, int to) {
  std::array<char, largest> names;
  const ssize_t size = ::llistxattr(from.c_str(), names.data(), names.size());
  if (size < 0) return errno == EOPNOTSUPP ? 0 : errno;
  std::string_view rest(names.data(), static_cast<std::size_t>(size));
  while (!rest.empty()) {
    const std::size_t end = rest.find('\0');
    if (const int failure = copy_attribute(from, to, rest.data()); failure != 0) return failure;
    rest.remove_prefix(std::min(rest.size(), end + 1));
  }
  return 0;
}

}  // namespace platform::host
