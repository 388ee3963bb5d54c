#include "platform/host/recovery.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/file_lock.h"
#include "platform/host/file_stamp.h"
#include "platform/host/undo_attribute.h"
#include "platform/host/undo_file.h"
#include "platform/host/undo_record.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

win32_error put_back(int file, const undo_record& record) {
  for (const recorded_run& run : record.runs) {
    const int failure = write_at(file, run.offset, run.old_bytes);
    if (failure != 0) return error_from_errno(failure, data_direction::writing);
  }
  return win32_error::success;
}

// In the places of the record's runs. not_found for a file that became shorter since.
win32_result<std::vector<std::string>> bytes_now(int file, const undo_record& record) {
  std::vector<std::string> found;
  for (const recorded_run& run : record.runs) {
    std::string bytes(run.old_bytes.size(), '\0');
    errno = 0;
    if (read_at(file, run.offset, bytes) != bytes.size()) {
      return errno == 0 ? win32_error::not_found : error_from_errno(errno, data_direction::reading);
    }
    found.push_back(std::move(bytes));
  }
  return found;
}

win32_error recover_from_record(int file, std::string_view text) {
  const auto record = parse_undo_record(text);
  const win32_result<file_stamp> stamp = stamp_of(file);
  if (!stamp) return stamp.error();
  // A patch keeps the size: a file of another one has been written by another program since.
  if (!record || record->file_size != stamp->size) return remove_undo_attribute(file);
  const auto found = bytes_now(file, *record);
  if (!found && found.error() != win32_error::not_found) return found.error();
  if (found && progress_of(*record, *found) == patch_progress::cut_short) {
    if (const win32_error back = put_back(file, *record); !succeeded(back)) return back;
  }
  return remove_undo_attribute(file);
}

}  // namespace

win32_result<bool> recover(int file, const std::string& path) {
  win32_result<std::string> value = undo_attribute_of(file);
  if (value.error() == win32_error::not_found) return false;
  if (!value) return value.error();
  const win32_error locked = retried_while_busy([file] { return lock_alone(file); });
  if (!succeeded(locked)) return locked;
  const unique_descriptor writable(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!writable) return error_from_errno(errno, path.c_str());
  if (!are_same_file(file, writable.get())) return win32_error::sharing_violation;
  // The process that had the lock may have come to the end of its change.
  value = undo_attribute_of(writable.get());
  if (value.error() == win32_error::not_found) return true;
  if (!value) return value.error();
  const win32_error recovered = value->starts_with('/') ? recover_from_undo_file(writable.get(), path, *value)
                                                        : recover_from_record(writable.get(), *value);
  if (!succeeded(recovered)) return recovered;
  return true;
}

win32_error recover_for_reading(int file, const std::string& path) {
  const win32_error error = recover(file, path).error();
  const bool not_allowed = error == win32_error::access_denied || error == win32_error::write_protect;
  return not_allowed ? win32_error::success : error;
}

}  // namespace platform::host
