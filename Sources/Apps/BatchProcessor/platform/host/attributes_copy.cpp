#include "platform/host/attributes_copy.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <string_view>

#include "platform/host/errno_codes.h"
#include "platform/host/undo_attribute.h"

namespace platform::host {

namespace {

// 64 KiB is the kernel's limit for the list of names and for a value.
constexpr std::size_t largest = 65536;
constexpr std::string_view access_list = "system.posix_acl_access";
constexpr int chosen_flags = FS_SECRM_FL | FS_UNRM_FL | FS_COMPR_FL | FS_NOCOMP_FL | FS_SYNC_FL | FS_NODUMP_FL |
                             FS_NOATIME_FL | FS_JOURNAL_DATA_FL | FS_NOCOW_FL;

bool holds_users_data(std::string_view name) { return name.starts_with("user.") || name.starts_with("system.posix_"); }

// As where the system labels every file of a kind the same.
bool has_attribute(int file, const char* name, std::span<const char> wanted) {
  static thread_local std::array<char, largest> value;
  const ssize_t size = ::fgetxattr(file, name, value.data(), value.size());
  return size >= 0 && std::ranges::equal(std::span(value).first(static_cast<std::size_t>(size)), wanted);
}

win32_result<attributes_kept> copy_attribute(const std::string& from, int to, const char* name) {
  static thread_local std::array<char, largest> value;
  const ssize_t size = ::lgetxattr(from.c_str(), name, value.data(), value.size());
  // Removed by someone since it was listed.
  if (size < 0 && errno == ENODATA) return attributes_kept::all;
  if (size < 0) return error_from_errno(errno);
  const std::span<const char> bytes = std::span(value).first(static_cast<std::size_t>(size));
  if (::fsetxattr(to, name, bytes.data(), bytes.size(), 0) == 0) return attributes_kept::all;
  const int failure = errno;
  if (holds_users_data(name) || (failure != EPERM && failure != EACCES && failure != EOPNOTSUPP)) {
    return error_from_errno(failure);
  }
  return has_attribute(to, name, bytes) ? attributes_kept::all : attributes_kept::not_all;
}

win32_error drop_access_list(int file) {
  if (::fremovexattr(file, access_list.data()) == 0) return win32_error::success;
  return errno == ENODATA || errno == EOPNOTSUPP ? win32_error::success : error_from_errno(errno);
}

}  // namespace

win32_result<attributes_kept> copy_attributes(const std::string& from, int to) {
  std::array<char, largest> names;
  const ssize_t size = ::llistxattr(from.c_str(), names.data(), names.size());
  if (size < 0 && errno != EOPNOTSUPP) return error_from_errno(errno);
  std::string_view rest(names.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
  attributes_kept kept = attributes_kept::all;
  bool has_access_list = false;
  while (!rest.empty()) {
    const std::string_view name = rest.substr(0, rest.find('\0'));
    has_access_list = has_access_list || name == access_list;
    if (name != undo_attribute) {
      const win32_result<attributes_kept> copied = copy_attribute(from, to, name.data());
      if (!copied) return copied.error();
      kept = std::max(kept, *copied);
    }
    rest.remove_prefix(std::min(rest.size(), name.size() + 1));
  }
  if (!has_access_list) {
    if (const win32_error dropped = drop_access_list(to); !succeeded(dropped)) return dropped;
  }
  return kept;
}

attributes_kept copy_flags(int from, int to) {
  int wanted = 0;
  int given = 0;
  // A file system that has none for the one has none for the other beside it.
  if (::ioctl(from, FS_IOC_GETFLAGS, &wanted) != 0 || ::ioctl(to, FS_IOC_GETFLAGS, &given) != 0) {
    return attributes_kept::all;
  }
  const int flags = (given & ~chosen_flags) | (wanted & chosen_flags);
  if (flags == given || ::ioctl(to, FS_IOC_SETFLAGS, &flags) == 0) return attributes_kept::all;
  return attributes_kept::not_all;
}

}  // namespace platform::host
