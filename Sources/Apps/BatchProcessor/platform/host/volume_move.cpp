#include "platform/host/volume_move.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/host/attributes_copy.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/file_lock.h"
#include "platform/host/file_stamp.h"
#include "platform/host/path_bytes.h"
#include "platform/host/sibling_files.h"
#include "platform/host/staged_file.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

constexpr mode_t private_mode = 0600;
constexpr mode_t permission_bits = 07777;
constexpr mode_t bits_of_an_owner = S_ISUID | S_ISGID;  // which let the file act as its owner or its group
constexpr std::size_t compared_at_once = 256 * 1024;

struct moved_item {
  int file = -1;
  std::string path;
  struct stat status {};  ///< before anything was read
};

std::uint64_t size_of(const moved_item& source) { return static_cast<std::uint64_t>(source.status.st_size); }

// Before much is copied that would have to be removed again.
win32_error check_may_leave(const std::string& path) {
  const bool may = ::faccessat(AT_FDCWD, parent_of(path).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
  return may ? win32_error::success : error_from_errno(errno);
}

win32_error check_is_free(const std::string& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) == 0) return win32_error::already_exists;
  return errno == ENOENT ? win32_error::success : error_from_errno(errno);
}

// Who may not give a file away keeps it, as one that acts for nobody.
mode_t give_owner(int copy, const struct stat& source) {
  if (::fchown(copy, source.st_uid, source.st_gid) == 0) return source.st_mode & permission_bits;
  constexpr auto as_it_is = static_cast<uid_t>(-1);
  static_cast<void>(::fchown(copy, as_it_is, source.st_gid));
  return source.st_mode & permission_bits & ~bits_of_an_owner;
}

win32_error give_traits(const moved_item& source, int copy) {
  const mode_t mode = give_owner(copy, source.status);
  const auto attributes = copy_attributes(source.path, copy);
  // What only the system may set is the copy's own.
  if (!attributes) return attributes.error();
  // EPERM: a file system without permissions.
  if (::fchmod(copy, mode) != 0 && errno != EPERM && errno != EOPNOTSUPP) return error_from_errno(errno);
  const timespec times[] = {source.status.st_atim, source.status.st_mtim};
  return ::futimens(copy, times) == 0 ? win32_error::success : error_from_errno(errno);
}

win32_error fill(const moved_item& source, int copy) {
  // Its content is nobody's until it has the permissions of the source. Where there are none, nor has that.
  static_cast<void>(::fchmod(copy, private_mode));
  // Flags are hints; the file is the same without them.
  static_cast<void>(copy_flags(source.file, copy));
  const int failure = copy_bytes(source.file, 0, copy, 0, size_of(source));
  if (failure != 0) return error_from_errno(failure, data_direction::writing);
  if (const win32_error given = give_traits(source, copy); !succeeded(given)) return given;
  return ::fsync(copy) == 0 ? win32_error::success : error_from_errno(errno, data_direction::writing);
}

win32_error compare(const moved_item& source, int copy) {
  struct stat status;
  if (::fstat(copy, &status) != 0) return error_from_errno(errno);
  if (status.st_size != source.status.st_size) return win32_error::write_fault;
  // So that this isn't taken for a use of the file; where it can't be had, it is.
  static_cast<void>(::fcntl(copy, F_SETFL, O_NOATIME));
  // Has the disk read, not memory; without it, this compares what will be on the disk.
  static_cast<void>(::posix_fadvise(copy, 0, 0, POSIX_FADV_DONTNEED));
  std::vector<char> original(std::min<std::uint64_t>(size_of(source), compared_at_once));
  std::vector<char> copied(original.size());
  for (std::uint64_t offset = 0; offset < size_of(source); offset += compared_at_once) {
    const std::uint64_t count = std::min<std::uint64_t>(size_of(source) - offset, compared_at_once);
    const auto wanted = std::span(original).first(count);
    const auto found = std::span(copied).first(count);
    errno = 0;
    if (read_at(source.file, offset, wanted) != count || read_at(copy, offset, found) != count) {
      return errno == 0 ? win32_error::read_fault : error_from_errno(errno, data_direction::reading);
    }
    if (!std::ranges::equal(wanted, found)) return win32_error::write_fault;
  }
  return win32_error::success;
}

// The copy stands at `to`; now the old name goes, or else the new one.
win32_error give_up_old_name(const moved_item& source, const std::string& to, const struct stat& copy) {
  const unique_descriptor folder = open_folder_of(to);
  const int unsynced = folder ? sync_folder(folder.get()) : errno;
  win32_error failure = error_from_errno(unsynced, data_direction::writing);
  const bool is_file = source.file >= 0;
  const auto is_busy = [&] {
    return (is_file && is_open_for_writing(source.file)) || !is_as_it_was(source.path, source.status);
  };
  if (succeeded(failure) && is_busy()) failure = win32_error::sharing_violation;
  if (succeeded(failure) && ::unlink(source.path.c_str()) != 0) failure = error_from_errno(errno);
  // A copy that stays is whole, and so is the source.
  if (!succeeded(failure) && still_names(to.c_str(), copy, last_link::itself)) static_cast<void>(::unlink(to.c_str()));
  return failure;
}

win32_error move_content(const moved_item& source, const std::string& to) {
  if (is_open_for_writing(source.file)) return win32_error::sharing_violation;
  auto copy = staged_file::create(to);
  if (!copy) return copy.error();
  win32_error done = fill(source, copy->descriptor());
  if (succeeded(done)) done = compare(source, copy->descriptor());
  // Which also explains a difference.
  if (!is_as_it_was(source.path, source.status)) return win32_error::sharing_violation;
  if (!succeeded(done)) return done;
  struct stat status;
  if (::fstat(copy->descriptor(), &status) != 0) return error_from_errno(errno);
  const win32_error named = copy->commit();
  if (!succeeded(named)) return named == win32_error::file_exists ? win32_error::already_exists : named;
  return give_up_old_name(source, to, status);
}

win32_error move_link(const moved_item& source, const std::string& to) {
  std::array<char, PATH_MAX> target{};
  const ssize_t size = ::readlink(source.path.c_str(), target.data(), target.size());
  if (size < 0) return error_from_errno(errno);
  if (static_cast<std::size_t>(size) == target.size()) return win32_error::filename_exceeds_range;
  if (::symlink(target.data(), to.c_str()) != 0) {
    return errno == EEXIST ? win32_error::already_exists : error_from_errno(errno, to.c_str());
  }
  // A link is as good without its owner and its times.
  static_cast<void>(::lchown(to.c_str(), source.status.st_uid, source.status.st_gid));
  const timespec times[] = {source.status.st_atim, source.status.st_mtim};
  static_cast<void>(::utimensat(AT_FDCWD, to.c_str(), times, AT_SYMLINK_NOFOLLOW));
  struct stat status;
  if (::lstat(to.c_str(), &status) != 0) return error_from_errno(errno);
  return give_up_old_name(source, to, status);
}

}  // namespace

win32_error move_to_other_volume(int source, const std::string& from, const std::string& to) {
  moved_item item{source, from};
  if (::lstat(from.c_str(), &item.status) != 0) return error_from_errno(errno, from.c_str());
  const bool is_link = S_ISLNK(item.status.st_mode);
  if (!is_link && (!S_ISREG(item.status.st_mode) || source < 0)) return win32_error::access_denied;
  if (const win32_error checked = check_is_free(to); !succeeded(checked)) return checked;
  if (const win32_error checked = check_may_leave(from); !succeeded(checked)) return checked;
  if (is_link) return move_link(item, to);
  // Another file may have taken the name since the source was opened and locked.
  if (!still_names(from, source, last_link::itself)) return win32_error::sharing_violation;
  return move_content(item, to);
}

}  // namespace platform::host
