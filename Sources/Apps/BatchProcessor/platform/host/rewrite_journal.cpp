// The order of the steps. The journal is completed, locked, and named; the file is marked with its path; all of that is
// on the disk before the first byte of the file changes. At the end the file is synced, then the mark goes, then the
// journal. So a mark leads to a complete journal, and a journal without a mark is worth nothing: the file is whole. The
// lock lasts while the process, or its write guard, lives.
#include "platform/host/rewrite_journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/host/errno_codes.h"
#include "platform/host/journal_content.h"
#include "platform/host/opening.h"
#include "platform/host/path_bytes.h"
#include "platform/host/sibling_files.h"
#include "platform/host/write_guard.h"

namespace platform::host {

namespace {

// Room for the growth, without a change of what the file shows.
int take_room(int file, const journal_sizes& sizes) {
  if (sizes.new_size <= sizes.old_size) return 0;
  const auto old_end = static_cast<off_t>(sizes.old_size);
  const auto growth = static_cast<off_t>(sizes.new_size - sizes.old_size);
  if (::fallocate(file, FALLOC_FL_KEEP_SIZE, old_end, growth) == 0) return 0;
  // Where room can't be taken ahead, a full disk is met by the write, which then puts the old content back.
  return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? errno : 0;
}

int give_name(const journaled_change& change, const std::string& name) {
  if (change.staging_name.empty()) return link_open_file(change.staged, name);
  if (::renameat2(AT_FDCWD, change.staging_name.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // Without the flag. The name is ours alone: the staging file is locked, and a journal of before is finished.
  return ::rename(change.staging_name.c_str(), name.c_str()) == 0 ? 0 : errno;
}

win32_error name_journal(const journaled_change& change, const std::string& name) {
  int failure = give_name(change, name);
  if (failure == EEXIST) {
    // Left by a file of this number that is gone, or by a kill between the name and the mark.
    if (const win32_error removed = remove_stale_staging(name); !succeeded(removed)) return removed;
    failure = give_name(change, name);
  }
  return failure == EEXIST ? win32_error::sharing_violation : error_from_errno(failure);
}

win32_error mark(int file, const std::string& journal) {
  std::array<char, PATH_MAX> folder{};
  if (::realpath(parent_of(journal).c_str(), folder.data()) == nullptr) return error_from_errno(errno);
  std::string value = folder.data();
  if (!value.ends_with('/')) value += '/';
  value += last_name_of(journal);
  if (::fsetxattr(file, rewrite_mark, value.data(), value.size(), XATTR_CREATE) == 0) return win32_error::success;
  // Another process rewrites the file by another of its names.
  return errno == EEXIST ? win32_error::sharing_violation : error_from_errno(errno);
}

void clear_mark(int file) {
  // One that stays leads nowhere, or to a journal that the file is found to be done with.
  static_cast<void>(::fremovexattr(file, rewrite_mark));
}

win32_error check_unchanged(int file, const file_stamp& before) {
  const win32_result<file_stamp> now = stamp_of(file);
  if (!now) return now.error();
  return *now == before ? win32_error::success : win32_error::sharing_violation;
}

// Both names on the disk.
win32_error sync_mark(int file, int folder) {
  return error_from_errno(::fsync(file) == 0 ? sync_folder(folder) : errno);
}

win32_error make_change(int file, int journal, int folder, const std::string& name, const journal_sizes& sizes) {
  const std::string file_name(last_name_of(name));
  return write_guard::instance().rewrite({file, journal, folder, file_name.c_str(), sizes.new_size, sizes.old_size});
}

// The file is none of the journal's business any more; its content may be all that is left of the other names' file.
win32_error set_aside(int journal, const std::string& name, const std::string& path, const journal_sizes& sizes) {
  const std::string recovered = path + ".recovered";
  if (::linkat(AT_FDCWD, name.c_str(), AT_FDCWD, recovered.c_str(), 0) != 0 && errno != EEXIST) {
    return error_from_errno(errno);
  }
  return ::ftruncate(journal, static_cast<off_t>(sizes.new_size)) == 0 ? win32_error::success : error_from_errno(errno);
}

win32_error remove_journal(const std::string& name) {
  return ::unlink(name.c_str()) == 0 || errno == ENOENT ? win32_error::success : error_from_errno(errno);
}

// Only the file's owner, this user and the superuser are trusted to say what was to become of a file.
bool trusted(const struct stat& journal, const struct stat& file) {
  return S_ISREG(journal.st_mode) &&
         (journal.st_uid == file.st_uid || journal.st_uid == ::geteuid() || journal.st_uid == 0);
}

struct found_journal {
  std::string name;
  unique_descriptor descriptor;
};

// Where the mark says, or beside the name in use, should the folder have been moved. No descriptor where there is none.
win32_result<found_journal> find_journal(const std::string& marked, const std::string& beside) {
  for (const std::string& name : {marked, beside}) {
    // Nothing but a journal of this file is opened, whatever the mark says.
    if (last_name_of(name) != last_name_of(beside)) continue;
    unique_descriptor journal(::open(name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (journal) return found_journal{name, std::move(journal)};
    // A link or a socket is not ours.
    if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP && errno != ENXIO) return error_from_errno(errno);
  }
  return found_journal{};
}

win32_error finish_from(const found_journal& found, const std::string& path, const struct stat& status) {
  const int journal = found.descriptor.get();
  if (const win32_error locked = lock_alone_within_reason(journal); !succeeded(locked)) return locked;
  // Done while this one waited.
  if (!still_names(found.name, journal, last_link::itself)) return win32_error::success;

  const unique_descriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return error_from_errno(errno);
  if (!still_names(path.c_str(), status, last_link::itself)) return win32_error::sharing_violation;
  if (::fgetxattr(file.get(), rewrite_mark, nullptr, 0) < 0 && errno == ENODATA) return remove_journal(found.name);

  struct stat journal_status {};
  if (::fstat(journal, &journal_status) != 0) return error_from_errno(errno);
  if (!trusted(journal_status, status)) return win32_error::access_denied;
  const win32_result<journal_sizes> sizes = read_journal(journal, file.get());
  if (!sizes && sizes.error() != win32_error::not_found) return sizes.error();
  if (!sizes) {
    // The attribute came along with a copy of the marked file, or the journal is set aside already.
    clear_mark(file.get());
    return win32_error::success;
  }
  const win32_result<bool> ours = is_torn_or_whole(file.get(), journal, *sizes);
  if (!ours) return ours.error();
  if (!*ours) {
    if (const win32_error kept = set_aside(journal, found.name, path, *sizes); !succeeded(kept)) return kept;
    clear_mark(file.get());
    return remove_journal(found.name);
  }
  if (const int failure = take_room(file.get(), *sizes); failure != 0) return error_from_errno(failure);
  const unique_descriptor folder = open_folder_of(found.name);
  if (!folder) return error_from_errno(errno);
  return make_change(file.get(), journal, folder.get(), found.name, *sizes);
}

}  // namespace

win32_error rewrite_through_journal(const journaled_change& change) {
  const std::string name = journal_path(change.path, change.before.inode);
  const unique_descriptor folder = open_folder_of(name);
  if (!folder) return error_from_errno(errno);
  const win32_result<journal_sizes> sizes = complete_journal(change.staged, change.file);
  if (!sizes) return sizes.error();
  if (const win32_error same = check_unchanged(change.file, change.before); !succeeded(same)) return same;
  if (const int failure = take_room(change.file, *sizes); failure != 0) return error_from_errno(failure);
  // Taking room counts as a change for some file systems.
  const win32_result<file_stamp> before = stamp_of(change.file);
  if (!before) return before.error();
  if (const win32_error ready = write_guard::instance().prepare(); !succeeded(ready)) return ready;
  // A lock that the file system doesn't offer is not needed to be whole, only to keep two processes apart.
  static_cast<void>(::flock(change.staged, LOCK_EX | LOCK_NB));
  if (const win32_error named = name_journal(change, name); !succeeded(named)) return named;

  win32_error ready = mark(change.file, name);
  if (succeeded(ready)) {
    ready = sync_mark(change.file, folder.get());
    if (succeeded(ready)) ready = check_unchanged(change.file, *before);
    if (!succeeded(ready)) clear_mark(change.file);
  }
  if (!succeeded(ready)) {
    // What was told to have failed must not be done by a later open. Without a mark it won't, should this fail.
    static_cast<void>(::unlink(name.c_str()));
    return ready;
  }
  return make_change(change.file, change.staged, folder.get(), name, *sizes);
}

win32_error finish_from_journal(const std::string& path, const struct stat& status) {
  for (bool looked_before = false;; looked_before = true) {
    const win32_result<std::string> marked = rewrite_mark_of(path);
    if (!marked && marked.error() != win32_error::not_found) return marked.error();
    if (marked && is_change_mark(*marked)) return settle_change(path);
    const std::string beside = journal_path(path, status.st_ino);
    // A kill before or behind the mark leaves a journal that nobody needs. Files of one name are spared the look.
    if (!marked && status.st_nlink == 1) return win32_error::success;
    const win32_result<found_journal> found = find_journal(marked ? *marked : beside, beside);
    if (!marked && found.error() == win32_error::access_denied) return win32_error::success;
    if (!found) return found.error();
    if (!marked && !found->descriptor) return win32_error::success;
    if (found->descriptor) return finish_from(*found, path, status);
    if (looked_before) break;  // the first time it may just have been finished
  }
  // Someone took the journal away: what the file holds is all that there is. Who may not clear the mark may not change
  // the file either.
  static_cast<void>(::lremovexattr(path.c_str(), rewrite_mark));
  return win32_error::success;
}

}  // namespace platform::host
