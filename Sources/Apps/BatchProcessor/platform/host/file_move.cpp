#include "platform/host/file_move.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>

#include "platform/host/errno_codes.h"

namespace platform::host {

win32_error move_to_free_name(const path_bytes& from, const path_bytes& to) {
  if (!succeeded(from.error())) return from.error();
  if (!succeeded(to.error())) return to.error();
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return win32_error::success;
  return errno == EEXIST ? win32_error::already_exists : error_from_errno(errno, from.c_str());
}

}  // namespace platform::host
