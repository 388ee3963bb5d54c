#include "platform/host/file_stamp.h"

#include <fcntl.h>

#include <cerrno>

#include "platform/host/errno_codes.h"

namespace platform::host {

file_stamp stamp_from(const struct stat& status) {
  return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size), status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

win32_result<file_stamp> stamp_of(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return error_from_errno(errno);
  return stamp_from(status);
}

bool still_names(const char* path, const struct stat& status, last_link link) {
  struct stat named {};
  const int flags = link == last_link::itself ? AT_SYMLINK_NOFOLLOW : 0;
  return ::fstatat(AT_FDCWD, path, &named, flags) == 0 && named.st_ino == status.st_ino &&
         named.st_dev == status.st_dev;
}

bool still_names(const std::string& path, int descriptor, last_link link) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && still_names(path.c_str(), status, link);
}

bool are_same_file(int first, int second) {
  struct stat one {};
  struct stat other {};
  return ::fstat(first, &one) == 0 && ::fstat(second, &other) == 0 && one.st_ino == other.st_ino &&
         one.st_dev == other.st_dev;
}

bool is_as_it_was(const std::string& path, const struct stat& before) {
  struct stat now {};
  return ::lstat(path.c_str(), &now) == 0 && stamp_from(now) == stamp_from(before) &&
         now.st_ctim.tv_sec == before.st_ctim.tv_sec && now.st_ctim.tv_nsec == before.st_ctim.tv_nsec;
}

}  // namespace platform::host
