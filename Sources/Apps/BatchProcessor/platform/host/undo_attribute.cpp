#include "platform/host/undo_attribute.h"

#include <sys/types.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstddef>

#include "platform/host/errno_codes.h"

namespace platform::host {

win32_result<std::string> undo_attribute_of(int file) {
  std::string value;
  // Most files have none, which the first call tells.
  ssize_t size = ::fgetxattr(file, undo_attribute, nullptr, 0);
  while (size > 0 && static_cast<std::size_t>(size) > value.size()) {
    value.resize(static_cast<std::size_t>(size));
    size = ::fgetxattr(file, undo_attribute, value.data(), value.size());
    // It has become another one in between.
    if (size < 0 && errno == ERANGE) size = ::fgetxattr(file, undo_attribute, nullptr, 0);
  }
  if (size >= 0) {
    value.resize(static_cast<std::size_t>(size));
    return value;
  }
  if (errno == ENODATA || errno == EOPNOTSUPP || errno == EACCES) return win32_error::not_found;
  return error_from_errno(errno);
}

win32_error remove_undo_attribute(int file) {
  if (::fremovexattr(file, undo_attribute) == 0 || errno == ENODATA || errno == EOPNOTSUPP) {
    return win32_error::success;
  }
  return error_from_errno(errno);
}

}  // namespace platform::host
