// The order of the steps: the undo file is filled and synced under its name; the file gets the attribute that names it;
// all of that is on the disk before the first byte of the file changes. At the end the file is synced, then the
// attribute goes, is synced too, then the undo file goes. So an attribute leads to a complete undo file, and an undo
// file without an attribute is worth nothing: the file is whole.
#include "platform/host/undo_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/path_bytes.h"
#include "platform/host/sibling_files.h"
#include "platform/host/undo_attribute.h"
#include "platform/host/undo_file_content.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

constexpr std::size_t copied_at_once = 64 * 1024;

struct named_file {
  std::string name;
  unique_descriptor descriptor;
};

// Room for the growth, without a change of what the file shows.
int take_room(int file, const undo_sizes& sizes) {
  if (sizes.new_size <= sizes.old_size) return 0;
  const auto old_end = static_cast<off_t>(sizes.old_size);
  const auto growth = static_cast<off_t>(sizes.new_size - sizes.old_size);
  if (::fallocate(file, FALLOC_FL_KEEP_SIZE, old_end, growth) == 0) return 0;
  // Where room can't be taken ahead, a full disk is met by the write, which then puts the old content back.
  return errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO ? errno : 0;
}

// Writes what differs. 0 or an errno.
int copy_differences(int from, int to, std::uint64_t size) {
  std::vector<char> wanted(std::min<std::uint64_t>(size, copied_at_once));
  std::vector<char> there(wanted.size());
  for (std::uint64_t done = 0; done < size; done += copied_at_once) {
    const std::size_t count = std::min<std::uint64_t>(size - done, copied_at_once);
    const std::span<char> piece = std::span(wanted).first(count);
    errno = 0;
    if (read_at(from, done, piece) != count) return errno == 0 ? EIO : errno;
    const std::size_t now = read_at(to, done, std::span(there).first(count));
    if (now == count && std::equal(piece.begin(), piece.end(), there.begin())) continue;
    if (const int failure = write_at(to, done, {piece.data(), count}); failure != 0) return failure;
  }
  return 0;
}

// The first `size` bytes of `from`, and on the disk. 0 or an errno.
int give_content(int from, int file, std::uint64_t size) {
  if (const int failure = copy_differences(from, file, size); failure != 0) return failure;
  if (::ftruncate(file, static_cast<off_t>(size)) != 0) return errno;
  return ::fsync(file) == 0 ? 0 : errno;
}

win32_result<named_file> create_undo_file(const std::string& path, ino_t inode) {
  for (int attempt = 0; attempt < most_sibling_names; ++attempt) {
    const std::string name = undo_file_path(path, inode, attempt);
    if (const win32_error removed = remove_leftover(name); !succeeded(removed)) return removed;
    constexpr mode_t private_mode = 0600;
    unique_descriptor undo(::open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, private_mode));
    if (undo) return named_file{name, std::move(undo)};
    if (errno != EEXIST) return error_from_errno(errno, name.c_str());
  }
  return win32_error::file_exists;
}

win32_error name_undo_file(int file, const std::string& name) {
  std::array<char, PATH_MAX> folder{};
  if (::realpath(parent_of(name).c_str(), folder.data()) == nullptr) return error_from_errno(errno);
  std::string value = folder.data();
  if (!value.ends_with('/')) value += '/';
  value += last_name_of(name);
  if (::fsetxattr(file, undo_attribute, value.data(), value.size(), XATTR_CREATE) == 0) return win32_error::success;
  return errno == EEXIST ? win32_error::sharing_violation : error_from_errno(errno);
}

win32_error check_unchanged(int file, const file_stamp& before) {
  const win32_result<file_stamp> now = stamp_of(file);
  if (!now) return now.error();
  return *now == before ? win32_error::success : win32_error::sharing_violation;
}

win32_error sync_names(int file, const std::string& undo_name) {
  const unique_descriptor folder = open_folder_of(undo_name);
  if (!folder) return error_from_errno(errno);
  if (::fsync(file) != 0) return error_from_errno(errno, data_direction::writing);
  return error_from_errno(sync_folder(folder.get()), data_direction::writing);
}

void finish(int file, const std::string& undo_name) {
  // Without the attribute the undo file is a leftover; with it, the next open finds that the file is whole.
  if (!succeeded(remove_undo_attribute(file))) return;
  // Before the file is changed again: after a loss of power the attribute would be back, on bytes that it doesn't know.
  static_cast<void>(::fsync(file));
  static_cast<void>(::unlink(undo_name.c_str()));
}

// The undo file is on the disk, and so is the room that the change needs. `before` becomes the stamp to compare with
// from then on: some file systems count the taking of room as a change.
win32_result<undo_sizes> prepare_undo(int file, int fresh, int undo, file_stamp& before) {
  const win32_result<undo_sizes> sizes = fill_undo_file(undo, file, fresh);
  if (!sizes) return sizes.error();
  if (const win32_error same = check_unchanged(file, before); !succeeded(same)) return same;
  if (const int failure = take_room(file, *sizes); failure != 0) return error_from_errno(failure);
  const win32_result<file_stamp> with_room = stamp_of(file);
  if (!with_room) return with_room.error();
  before = *with_room;
  return *sizes;
}

// Once this has succeeded, whoever opens the file finds the undo file.
win32_error announce(int file, const std::string& undo_name, const file_stamp& before) {
  win32_error ready = sync_names(file, undo_name);
  if (succeeded(ready)) ready = check_unchanged(file, before);
  if (!succeeded(ready)) finish(file, undo_name);
  return ready;
}

// Only the file's owner, this user and the superuser are trusted to say what a file held.
bool is_trusted(const struct stat& undo, const struct stat& file) {
  return S_ISREG(undo.st_mode) && (undo.st_uid == file.st_uid || undo.st_uid == ::geteuid() || undo.st_uid == 0);
}

// Where the attribute says, or beside the name in use, should the folder have been moved. Nothing but an undo file of
// this file is opened, whatever the attribute says. No descriptor where there is none.
win32_result<named_file> find_undo_file(const std::string& named, const std::string& path, ino_t inode) {
  const std::string undo_name(last_name_of(named));
  if (!undo_name.starts_with(last_name_of(undo_file_path(path, inode, 0)))) return named_file{};
  for (const std::string& name : {named, sibling_of(path, undo_name)}) {
    unique_descriptor undo(::open(name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (undo) return named_file{name, std::move(undo)};
    // A link or a socket is not ours.
    if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP && errno != ENXIO) return error_from_errno(errno);
  }
  return named_file{};
}

// The old content is of no use to the file any more, but it may be all that is left of a photo.
win32_error set_aside(const named_file& undo, const std::string& path, const undo_sizes& sizes) {
  const std::string recovered = path + ".recovered";
  if (::linkat(AT_FDCWD, undo.name.c_str(), AT_FDCWD, recovered.c_str(), 0) != 0) {
    return errno == EEXIST ? win32_error::success : error_from_errno(errno);
  }
  const int cut = ::ftruncate(undo.descriptor.get(), static_cast<off_t>(sizes.old_size));
  return cut == 0 ? win32_error::success : error_from_errno(errno);
}

win32_error put_back(int file, const named_file& undo, const undo_sizes& sizes) {
  if (const int failure = take_room(file, {sizes.new_size, sizes.old_size, 0}); failure != 0) {
    return error_from_errno(failure);
  }
  return error_from_errno(give_content(undo.descriptor.get(), file, sizes.old_size), data_direction::writing);
}

win32_error settle(int file, const std::string& path, const named_file& undo, const undo_sizes& sizes) {
  const win32_result<change_state> state = state_of_change(file, undo.descriptor.get(), sizes);
  if (!state) return state.error();
  switch (*state) {
    case change_state::cut_short:
      return put_back(file, undo, sizes);
    case change_state::someone_elses:
      return set_aside(undo, path, sizes);
    case change_state::finished:
      break;
  }
  return win32_error::success;
}

}  // namespace

win32_error change_with_undo_file(int file, int fresh, const std::string& path, const file_stamp& read_from) {
  const win32_result<named_file> undo = create_undo_file(path, read_from.inode);
  if (!undo) return undo.error();
  file_stamp before = read_from;
  const win32_result<undo_sizes> sizes = prepare_undo(file, fresh, undo->descriptor.get(), before);
  const win32_error named = sizes ? name_undo_file(file, undo->name) : sizes.error();
  if (!succeeded(named)) {
    // Nothing leads to it: one that stays is a leftover.
    static_cast<void>(::unlink(undo->name.c_str()));
    return named;
  }
  if (const win32_error ready = announce(file, undo->name, before); !succeeded(ready)) return ready;
  const int failure = give_content(fresh, file, sizes->new_size);
  const bool whole = failure == 0 || give_content(undo->descriptor.get(), file, sizes->old_size) == 0;
  if (whole) finish(file, undo->name);
  return error_from_errno(failure, data_direction::writing);
}

win32_error recover_from_undo_file(int file, const std::string& path, const std::string& undo_path) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return error_from_errno(errno);
  const win32_result<named_file> undo = find_undo_file(undo_path, path, status.st_ino);
  if (!undo) return undo.error();
  // The undo file goes last, so that a file without one is whole; or the attribute came along with a copy.
  if (!undo->descriptor) return remove_undo_attribute(file);
  struct stat undo_status {};
  if (::fstat(undo->descriptor.get(), &undo_status) != 0) return error_from_errno(errno);
  if (!is_trusted(undo_status, status)) return win32_error::access_denied;
  const win32_result<undo_sizes> sizes = read_undo_file(undo->descriptor.get(), file);
  if (sizes.error() == win32_error::not_found) return remove_undo_attribute(file);
  if (!sizes) return sizes.error();
  const win32_error settled = settle(file, path, *undo, *sizes);
  if (succeeded(settled)) finish(file, undo->name);
  return settled;
}

}  // namespace platform::host
