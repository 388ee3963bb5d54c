#include "platform/host/staged_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/host/attributes_copy.h"
#include "platform/host/errno_codes.h"
#include "platform/host/mount_order.h"
#include "platform/host/path_bytes.h"
#include "platform/host/rename_to_free_name.h"
#include "platform/host/sibling_files.h"
#include "platform/host/undo_file.h"

namespace platform::host {

namespace {

constexpr mode_t private_mode = 0600;
constexpr mode_t new_file_mode = 0666;  // less the process' mask
constexpr mode_t permission_bits = 07777;

bool has_no_unnamed_files(int error) { return error == EOPNOTSUPP || error == EISDIR || error == EINVAL; }

// What killed runs left under the names that this file would be staged with.
win32_error remove_leftovers(const std::string& path) {
  for (int attempt = 0; attempt < most_sibling_names; ++attempt) {
    struct stat status {};
    const std::string name = staging_path(path, attempt);
    if (::lstat(name.c_str(), &status) != 0) break;
    if (const win32_error removed = remove_leftover(name); !succeeded(removed)) return removed;
  }
  return win32_error::success;
}

// So that a loss of power can't leave the new name without its data. Where the file system commits data before a
// rename, it does so for data that it has written: ext4 marks their blocks as written only then. 0 or an errno.
int bring_to_disk(int file, dev_t device) {
  constexpr unsigned written = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  const bool is_ordered = orders_data_before_rename(device);
  return (is_ordered ? ::sync_file_range(file, 0, 0, written) : ::fdatasync(file)) == 0 ? 0 : errno;
}

// The owner can be kept by the superuser, and where it is this user; the group also where this user is a member.
bool keep_owner(int file, const struct stat& old) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return false;
  if (status.st_uid == old.st_uid && status.st_gid == old.st_gid) return true;
  return ::fchown(file, old.st_uid, old.st_gid) == 0;
}

}  // namespace

win32_result<staged_file> staged_file::create(const std::string& path, staging_form form) {
  win32_result<resolved_path> resolved = resolve_links(path);
  if (!resolved) return resolved.error();
  std::optional<file_stamp> replaced;
  if (resolved->status) {
    if (!S_ISREG(resolved->status->st_mode)) return win32_error::access_denied;
    if (::faccessat(AT_FDCWD, resolved->path.c_str(), W_OK, AT_EACCESS) != 0) return error_from_errno(errno);
    replaced = stamp_from(*resolved->status);
  }
  if (const win32_error removed = remove_leftovers(resolved->path); !succeeded(removed)) return removed;
  staged_file staged(resolved->path, replaced);
  if (const win32_error opened = staged.open_file(form); !succeeded(opened)) return opened;
  if (const win32_error taken = staged.take_flags(); !succeeded(taken)) return taken;
  return staged;
}

staged_file::staged_file(std::string path, const std::optional<file_stamp>& original)
    : path_(std::move(path)), original_(original) {}

staged_file::staged_file(staged_file&& other) noexcept
    : path_(std::move(other.path_)),
      original_(other.original_),
      staging_name_(std::exchange(other.staging_name_, {})),
      file_(std::move(other.file_)),
      replacement_(std::move(other.replacement_)),
      keeps_flags_(other.keeps_flags_) {}

staged_file::~staged_file() {
  // One that stays is removed by the next to stage the same file.
  if (!staging_name_.empty()) static_cast<void>(::unlink(staging_name_.c_str()));
}

win32_error staged_file::open_file(staging_form form) {
  const mode_t mode = original_ ? private_mode : new_file_mode;
  if (form == staging_form::hidden_sibling) return open_named(mode);
  file_ = unique_descriptor(::open(parent_of(path_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
  if (file_) return win32_error::success;
  if (has_no_unnamed_files(errno)) return open_named(mode);
  // A write-protected file system is told from a folder that may not be written by its own code.
  return error_from_errno(errno, path_.c_str());
}

win32_error staged_file::open_named(mode_t mode) {
  for (int attempt = 0; attempt < most_sibling_names; ++attempt) {
    const std::string name = staging_path(path_, attempt);
    file_ = unique_descriptor(::open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode));
    if (!file_ && errno != EEXIST) return error_from_errno(errno, path_.c_str());
    if (!file_) continue;
    // Where there are no locks, two processes are not kept apart, as for every other file there.
    static_cast<void>(::flock(file_.get(), LOCK_EX));
    // Unless another process took it for a leftover in the moment before it was locked.
    if (!still_names(name, file_.get(), last_link::itself)) continue;
    staging_name_ = name;
    return win32_error::success;
  }
  return win32_error::sharing_violation;
}

// Before anything is written: some flags can be given to an empty file only.
win32_error staged_file::take_flags() {
  if (!original_) return win32_error::success;
  const unique_descriptor original(::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!original) return error_from_errno(errno, path_.c_str());
  keeps_flags_ = copy_flags(original.get(), file_.get()) == attributes_kept::all;
  return win32_error::success;
}

win32_error staged_file::commit() {
  struct stat now {};
  const bool exists = ::lstat(path_.c_str(), &now) == 0;
  if (!exists && errno != ENOENT) return error_from_errno(errno);
  if (!original_) return exists ? win32_error::file_exists : publish_new();
  if (!exists || stamp_from(now) != *original_) return win32_error::sharing_violation;
  if (now.st_nlink > 1 || !keeps_flags_ || !keep_owner(file_.get(), now)) return change_in_place();
  const win32_result<attributes_kept> attributes = copy_attributes(path_, file_.get());
  if (!attributes) return attributes.error();
  return *attributes == attributes_kept::all ? replace(now) : change_in_place();
}

win32_error staged_file::publish_new() {
  // A new name has no old content that the order of data and rename could keep: there is nothing to lose.
  const int failure =
      staging_name_.empty() ? link_open_file(file_.get(), path_) : rename_to_free_name(staging_name_, path_);
  if (failure == 0) staging_name_.clear();
  return error_from_errno(failure);
}

win32_error staged_file::replace(const struct stat& old) {
  if (::fchmod(file_.get(), old.st_mode & permission_bits) != 0) return error_from_errno(errno);
  if (const int failure = bring_to_disk(file_.get(), old.st_dev); failure != 0) {
    return error_from_errno(failure, data_direction::writing);
  }
  if (staging_name_.empty()) {
    if (const win32_error linked = link_staging(); !succeeded(linked)) return linked;
  }
  // Once more, since all that took its time: the nearest to the rename that a check can come.
  if (!is_as_it_was(path_, old)) return win32_error::sharing_violation;
  if (::rename(staging_name_.c_str(), path_.c_str()) != 0) return error_from_errno(errno);
  staging_name_.clear();
  replacement_ = std::move(file_);
  return win32_error::success;
}

win32_error staged_file::link_staging() {
  // So that others can tell the name from a leftover; see open_named for the failure.
  static_cast<void>(::flock(file_.get(), LOCK_EX | LOCK_NB));
  for (int attempt = 0; attempt < most_sibling_names; ++attempt) {
    const std::string name = staging_path(path_, attempt);
    const int failure = link_open_file(file_.get(), name);
    if (failure == EEXIST) continue;
    if (failure == 0) staging_name_ = name;
    return error_from_errno(failure);
  }
  return win32_error::sharing_violation;
}

win32_error staged_file::change_in_place() {
  const unique_descriptor file(::open(path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return error_from_errno(errno);
  // Which also finds out if the name has moved on to another file.
  return change_with_undo_file(file.get(), file_.get(), path_, *original_);
}

}  // namespace platform::host
