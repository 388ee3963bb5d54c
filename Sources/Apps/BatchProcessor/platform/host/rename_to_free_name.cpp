#include "platform/host/rename_to_free_name.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/host/file_stamp.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

bool is_not_known(int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; }

// EPERM also where the system forbids a second name for someone else's file.
bool has_no_second_names(int error) { return is_not_known(error) || error == EPERM || error == EMLINK; }

int outcome(int result) { return result == 0 ? 0 : errno; }

int rename_by_second_name(const char* from, const char* to) {
  if (::linkat(AT_FDCWD, from, AT_FDCWD, to, 0) != 0) return errno;
  struct stat moved;
  if (::lstat(to, &moved) != 0) return errno;
  // Another file took the old name meanwhile, as if it had come after the move.
  if (!still_names(from, moved, last_link::itself)) return 0;
  if (::unlink(from) == 0) return 0;
  const int failure = errno;
  // Should the new name stay, the file has both: nothing is lost.
  if (still_names(to, moved, last_link::itself)) static_cast<void>(::unlink(to));
  return failure;
}

bool is_still_empty(const char* path, int placeholder) {
  struct stat status;
  return ::fstat(placeholder, &status) == 0 && status.st_size == 0 && still_names(path, status, last_link::itself);
}

int rename_over_placeholder(const char* from, const char* to) {
  // Nobody may write to it, as far as the file system has permissions.
  constexpr mode_t no_permission = 0;
  const unique_descriptor placeholder(::open(to, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, no_permission));
  if (!placeholder) return errno;
  if (!is_still_empty(to, placeholder.get())) return EEXIST;
  const int failure = outcome(::rename(from, to));
  // One that stays is empty.
  if (failure != 0 && is_still_empty(to, placeholder.get())) static_cast<void>(::unlink(to));
  return failure;
}

int rename_directory_over_placeholder(const char* from, const char* to) {
  constexpr mode_t private_mode = 0700;
  if (::mkdir(to, private_mode) != 0) return errno;
  // The system itself sees to it that only an empty directory is replaced.
  const int failure = outcome(::rename(from, to));
  if (failure == 0) return 0;
  // Only an empty one goes; someone may have put something there.
  static_cast<void>(::rmdir(to));
  return failure == ENOTEMPTY ? EEXIST : failure;
}

}  // namespace

int rename_to_free_name(const char* from, const char* to) {
  int failure = outcome(::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE));
  if (!is_not_known(failure)) return failure;
  struct stat status;
  if (::lstat(from, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return rename_directory_over_placeholder(from, to);
  failure = rename_by_second_name(from, to);
  return has_no_second_names(failure) ? rename_over_placeholder(from, to) : failure;
}

int rename_to_free_name(const std::string& from, const std::string& to) {
  return rename_to_free_name(from.c_str(), to.c_str());
}

}  // namespace platform::host
