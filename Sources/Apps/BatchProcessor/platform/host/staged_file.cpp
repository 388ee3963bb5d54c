#include "platform/host/staged_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/host/attributes_copy.h"
#include "platform/host/errno_codes.h"
#include "platform/host/mount_order.h"
#include "platform/host/path_bytes.h"
#include "platform/host/rename_to_free_name.h"
#include "platform/host/rewrite_journal.h"
#include "platform/host/sibling_files.h"

namespace platform::host {

namespace {

constexpr mode_t private_mode = 0600;
constexpr mode_t new_file_mode = 0666;  // less the process' mask
constexpr mode_t permission_bits = 07777;

bool has_no_unnamed_files(int error) { return error == EOPNOTSUPP || error == EISDIR || error == EINVAL; }

win32_error finish_interrupted(const resolved_path& file) {
  if (file.status && !S_ISREG(file.status->st_mode)) return win32_error::success;
  if (file.status) {
    const win32_error finished = finish_from_journal(file.path, *file.status);
    if (!succeeded(finished)) return finished;
  }
  return remove_stale_staging(staging_path(file.path));
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
  if (const win32_error finished = finish_interrupted(*resolved); !succeeded(finished)) return finished;
  std::optional<file_stamp> replaced;
  if (resolved->status) {
    if (!S_ISREG(resolved->status->st_mode)) return win32_error::access_denied;
    if (::faccessat(AT_FDCWD, resolved->path.c_str(), W_OK, AT_EACCESS) != 0) return error_from_errno(errno);
    // As it was before an interrupted rewrite was finished, should one have been: whoever read that far read torn
    // bytes.
    replaced = stamp_from(*resolved->status);
  }
  staged_file staged(resolved->path, staging_path(resolved->path), replaced);
  if (const win32_error opened = staged.open_file(form); !succeeded(opened)) return opened;
  if (const win32_error taken = staged.take_flags(); !succeeded(taken)) return taken;
  return staged;
}

staged_file::staged_file(std::string path, std::string staging_path, const std::optional<file_stamp>& original)
    : path_(std::move(path)), original_(original), staging_path_(std::move(staging_path)) {}

staged_file::staged_file(staged_file&& other) noexcept
    : path_(std::move(other.path_)),
      original_(other.original_),
      staging_path_(std::move(other.staging_path_)),
      file_(std::move(other.file_)),
      named_(std::exchange(other.named_, false)),
      keeps_flags_(other.keeps_flags_) {}

staged_file::~staged_file() {
  // One that stays is removed by the next to stage the same file.
  if (named_) static_cast<void>(::unlink(staging_path_.c_str()));
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
  for (;;) {
    file_ = unique_descriptor(::open(staging_path_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode));
    if (!file_ && errno != EEXIST) return error_from_errno(errno, path_.c_str());
    if (file_) {
      // Where there are no locks, two processes are not kept apart, as for every other file there.
      static_cast<void>(::flock(file_.get(), LOCK_EX));
      named_ = still_names(staging_path_, file_.get(), last_link::itself);
      // Otherwise another process took it for a leftover in the moment before it was locked.
      if (named_) return win32_error::success;
      continue;
    }
    if (const win32_error removed = remove_stale_staging(staging_path_); !succeeded(removed)) return removed;
  }
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
  if (now.st_nlink > 1 || !keeps_flags_ || !keep_owner(file_.get(), now)) return rewrite_behind_names();
  const win32_result<attributes_kept> attributes = copy_attributes(path_, file_.get());
  if (!attributes) return attributes.error();
  return *attributes == attributes_kept::all ? replace(now) : rewrite_behind_names();
}

win32_error staged_file::publish_new() {
  // A new name has no old content that the order of data and rename could keep: there is nothing to lose.
  const int failure = named_ ? rename_to_free_name(staging_path_, path_) : link_open_file(file_.get(), path_);
  named_ = named_ && failure != 0;
  return error_from_errno(failure);
}

win32_error staged_file::replace(const struct stat& old) {
  if (::fchmod(file_.get(), old.st_mode & permission_bits) != 0) return error_from_errno(errno);
  if (!orders_data_before_rename(old.st_dev) && ::fdatasync(file_.get()) != 0) return error_from_errno(errno);
  if (!named_) {
    if (const win32_error linked = link_staging(); !succeeded(linked)) return linked;
  }
  // Once more, since all that took its time: the nearest to the rename that a check can come.
  if (!is_as_it_was(path_, old)) return win32_error::sharing_violation;
  if (::rename(staging_path_.c_str(), path_.c_str()) != 0) return error_from_errno(errno);
  named_ = false;
  return win32_error::success;
}

win32_error staged_file::link_staging() {
  // So that others can tell the name from a leftover; see open_named for the failure.
  static_cast<void>(::flock(file_.get(), LOCK_EX | LOCK_NB));
  int failure = link_open_file(file_.get(), staging_path_);
  if (failure == EEXIST) {
    if (const win32_error removed = remove_stale_staging(staging_path_); !succeeded(removed)) return removed;
    failure = link_open_file(file_.get(), staging_path_);
  }
  // Still taken: by another process, just now.
  if (failure == EEXIST) return win32_error::sharing_violation;
  named_ = failure == 0;
  return error_from_errno(failure);
}

win32_error staged_file::rewrite_behind_names() {
  const unique_descriptor file(::open(path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return error_from_errno(errno);
  const std::string staging_name = named_ ? staging_path_ : std::string();
  // Which also finds out if the name has moved on to another file.
  const win32_error done = rewrite_through_journal({file.get(), file_.get(), path_, *original_, staging_name});
  // The journal has the name of its own now, if it got that far.
  named_ = named_ && still_names(staging_path_, file_.get(), last_link::itself);
  return done;
}

win32_error finish_interrupted_rewrite(const std::string& path) {
  const win32_result<resolved_path> resolved = resolve_links(path);
  // Whoever opens the path next meets the same failure.
  return resolved ? finish_interrupted(*resolved) : resolved.error();
}

win32_error finish_interrupted_rewrite(int descriptor, const std::string& path) {
  const win32_result<std::string> mark = rewrite_mark_of(descriptor);
  if (!mark) return mark.error() == win32_error::not_found ? win32_error::success : mark.error();
  return is_change_mark(*mark) ? settle_change(descriptor, path) : finish_interrupted_rewrite(path);
}

win32_error finish_before_reading(int descriptor, const std::string& path) {
  const win32_error finished = finish_interrupted_rewrite(descriptor, path);
  const bool not_allowed = finished == win32_error::access_denied || finished == win32_error::write_protect;
  return not_allowed ? win32_error::success : finished;
}

}  // namespace platform::host
