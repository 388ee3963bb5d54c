#include "platform/host/file_move.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/host/errno_codes.h"
#include "platform/host/file_lock.h"
#include "platform/host/recovery.h"
#include "platform/host/rename_to_free_name.h"
#include "platform/host/system_calls.h"
#include "platform/host/unique_descriptor.h"
#include "platform/host/volume_move.h"

namespace platform::host {

namespace {

bool is_out_of_resources(int error) { return error == EMFILE || error == ENFILE || error == ENOMEM; }

// A name that is missing: the old one, or the new one's folder.
win32_error missing_name(const path_bytes& from) {
  struct stat status;
  return ::lstat(from.c_str(), &status) == 0 ? win32_error::path_not_found : error_from_errno(ENOENT, from.c_str());
}

}  // namespace

win32_error move_to_free_name(const path_bytes& from, const path_bytes& to) {
  if (!succeeded(from.error())) return from.error();
  if (!succeeded(to.error())) return to.error();
  constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const unique_descriptor source(retried([&] { return ::open(from.c_str(), flags); }));
  if (!source && is_out_of_resources(errno)) return error_from_errno(errno);
  // Links and what may not be read have no lock and no change that was cut short; what is missing is met below.
  if (source) {
    if (const win32_error locked = lock_alone(source.get()); !succeeded(locked)) return locked;
    const win32_result<bool> recovered = recover(source.get(), std::string(from.view()));
    if (!recovered) return recovered.error();
  }
  const int failure = rename_to_free_name(from.c_str(), to.c_str());
  // A file's own name is free for it.
  if (failure == EEXIST) return from.view() == to.view() ? win32_error::success : win32_error::already_exists;
  if (failure == EXDEV) return move_to_other_volume(source.get(), std::string(from.view()), std::string(to.view()));
  return failure == ENOENT ? missing_name(from) : error_from_errno(failure);
}

}  // namespace platform::host
