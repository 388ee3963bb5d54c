#include "platform/host/open_to_change.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/file_lock.h"
#include "platform/host/item.h"
#include "platform/host/recovery.h"
#include "platform/host/sibling_files.h"
#include "platform/host/system_calls.h"

namespace platform::host {

namespace {

// A run that has just given back a file's lock may still be closing it.
constexpr auto time_to_close = std::chrono::milliseconds(20);

unique_descriptor open_with(int flags, const std::string& path) {
  // Without O_NONBLOCK the open of a pipe would wait for its other end.
  flags |= O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  return unique_descriptor(retried([&] { return ::open(path.c_str(), flags); }));
}

// The superuser's open of a read-only file succeeds.
win32_error check_kind(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return win32_error::invalid_function;
  return is_read_only(status.st_mode) ? win32_error::access_denied : win32_error::success;
}

// Somebody else has the file open too. Whether for writing can be asked only while this process has it open for reading
// alone, so the lock moves to a descriptor of that kind, and the file is opened once more.
win32_error share_with_readers(changeable_file& opened) {
  opened.file = unique_descriptor();
  opened.lock = open_with(O_RDONLY, opened.path);
  if (!opened.lock) return error_from_errno(errno, opened.path.c_str());
  if (const win32_error locked = lock_alone(opened.lock.get()); !succeeded(locked)) return locked;
  win32_result<unique_descriptor> writable = open_for_writing(opened.path, opened.lock.get());
  if (!writable) return writable.error();
  opened.file = *std::move(writable);
  return win32_error::success;
}

// Without the look at other programs.
win32_result<changeable_file> open_and_lock(const std::string& path) {
  changeable_file opened{path, open_with(O_RDWR, path), {}, {}, false};
  // ENXIO: a pipe that nobody reads, or a socket.
  if (!opened.file && errno == ENXIO) return win32_error::invalid_function;
  if (!opened.file) return error_from_errno(errno, path.c_str());
  struct stat status {};
  if (::fstat(opened.file.get(), &status) != 0) return error_from_errno(errno);
  if (const win32_error checked = check_kind(status); !succeeded(checked)) return checked;
  opened.stamp = stamp_from(status);
  opened.has_several_names = status.st_nlink > 1;
  if (const win32_error locked = lock_alone(opened.file.get()); !succeeded(locked)) return locked;
  return opened;
}

win32_error update_stamp(changeable_file& opened) {
  const win32_result<file_stamp> stamp = stamp_of(opened.file.get());
  if (stamp) opened.stamp = *stamp;
  return stamp.error();
}

}  // namespace

win32_result<unique_descriptor> open_for_writing(const std::string& path, int reading) {
  const win32_error written = retried_while_busy(
      [reading] { return is_open_for_writing(reading) ? win32_error::sharing_violation : win32_error::success; },
      time_to_close);
  if (!succeeded(written)) return written;
  unique_descriptor writable = open_with(O_RDWR, path);
  if (!writable) return error_from_errno(errno, path.c_str());
  if (!are_same_file(writable.get(), reading)) return win32_error::sharing_violation;
  return writable;
}

win32_result<changeable_file> open_to_change(const std::string& path, std::chrono::steady_clock::duration patience) {
  // Opened anew each time, since the run that has the file may put another one in its place.
  win32_result<changeable_file> opened = retried_while_busy([&path] { return open_and_lock(path); }, patience);
  if (!opened) return opened.error();
  const bool is_shared = may_be_written_by_others(opened->file.get());
  if (is_shared) {
    if (const win32_error shared = share_with_readers(*opened); !succeeded(shared)) return shared;
  }
  remove_staging_leftovers_beside(path);
  const win32_result<bool> recovered = recover(opened->lock ? opened->lock.get() : opened->file.get(), path);
  if (!recovered) return recovered.error();
  // No run is at the file, and the attribute that would name it is gone: an undo file beside it is a leftover.
  if (opened->has_several_names) static_cast<void>(remove_leftover(undo_file_path(path, opened->stamp.inode)));
  if (is_shared || *recovered) {
    if (const win32_error stamped = update_stamp(*opened); !succeeded(stamped)) return stamped;
  }
  return opened;
}

}  // namespace platform::host
