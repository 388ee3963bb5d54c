// The journal holds the new content, behind it the old one, and at its end a fixed trailer that tells their sizes. It
// gets its name only after all of it is on the disk, so one that is found is complete. It is locked while its process,
// or that process' write guard, lives.
//
// What a torn file can look like: a kill leaves a start of new bytes and a rest of old ones, a loss of power any
// mixture of disk blocks. Whatever else the file holds was written by someone since, and isn't overwritten.
#include "platform/host/rewrite_journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/path_bytes.h"
#include "platform/host/write_guard.h"

namespace platform::host {

namespace {

struct journal_trailer {
  std::array<char, 16> mark{'q', 'b', ' ', 'r', 'e', 's', 't', 'o', 'r', 'e', ' ', 'v', '1', '\n', '\0', '\0'};
  std::uint64_t inode = 0;
  std::uint64_t new_size = 0;
  std::uint64_t old_size = 0;
};

constexpr std::uint64_t disk_block = 512;  // the least that a disk writes as a whole
constexpr std::size_t compared_at_once = 256 * disk_block;
constexpr auto longest_wait = std::chrono::seconds(2);
constexpr auto wait_step = std::chrono::milliseconds(10);

int sync_folder(int folder) {
  // Some network file systems can't sync a folder; they write it at once.
  return ::fsync(folder) == 0 || errno == EINVAL ? 0 : errno;
}

// Completes the journal: `staged` holds the new content.
int append_old_content(const journaled_change& change, journal_trailer& trailer) {
  struct stat staged {};
  struct stat old {};
  if (::fstat(change.staged, &staged) != 0 || ::fstat(change.file, &old) != 0) return errno;
  trailer.inode = change.inode;
  trailer.new_size = static_cast<std::uint64_t>(staged.st_size);
  trailer.old_size = static_cast<std::uint64_t>(old.st_size);
  if (const int failure = copy_bytes(change.file, 0, change.staged, trailer.new_size, trailer.old_size); failure != 0) {
    return failure;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(&trailer), sizeof trailer);
  if (const int failure = write_at(change.staged, trailer.new_size + trailer.old_size, bytes); failure != 0) {
    return failure;
  }
  return ::fsync(change.staged) == 0 ? 0 : errno;
}

// Room for the growth, without a change of what the file shows.
int take_room(int file, const journal_trailer& sizes) {
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

win32_error carry_out(int file, int journal, const std::string& name, const journal_trailer& trailer) {
  const unique_descriptor folder(::open(parent_of(name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return error_from_errno(errno);
  // The journal's name must be on the disk before the first byte of the file changes.
  if (const int failure = sync_folder(folder.get()); failure != 0) return error_from_errno(failure);
  const std::string file_name(last_name_of(name));
  return write_guard::instance().rewrite(
      {file, journal, folder.get(), file_name.c_str(), trailer.new_size, trailer.old_size});
}

bool read_trailer(int journal, ino_t inode, journal_trailer& trailer) {
  struct stat status {};
  if (::fstat(journal, &status) != 0) return false;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (size < sizeof trailer) return false;
  std::array<char, sizeof trailer> bytes{};
  if (read_at(journal, size - sizeof trailer, bytes) != bytes.size()) return false;
  const journal_trailer expected;
  std::memcpy(&trailer, bytes.data(), sizeof trailer);
  const std::uint64_t contents = size - sizeof trailer;
  return trailer.mark == expected.mark && trailer.inode == inode && trailer.new_size <= contents &&
         trailer.old_size == contents - trailer.new_size;
}

// Whether the block is as the content has it there.
bool agrees(std::string_view block, std::uint64_t offset, int journal, std::uint64_t start, std::uint64_t size) {
  if (offset > size || block.size() > size - offset) return false;
  std::array<char, disk_block> expected{};
  const std::span<char> wanted = std::span(expected).first(block.size());
  return read_at(journal, start + offset, wanted) == wanted.size() &&
         std::equal(block.begin(), block.end(), wanted.begin());
}

// Whether every disk block of the file is one of the old or the new content.
bool is_torn_or_whole(int file, int journal, const journal_trailer& trailer) {
  std::vector<char> bytes(compared_at_once);
  for (std::uint64_t offset = 0;;) {
    const std::size_t got = read_at(file, offset, bytes);
    std::string_view rest(bytes.data(), got);
    while (!rest.empty()) {
      const std::string_view block = rest.substr(0, disk_block);
      if (!agrees(block, offset, journal, 0, trailer.new_size) &&
          !agrees(block, offset, journal, trailer.new_size, trailer.old_size)) {
        return false;
      }
      offset += block.size();
      rest.remove_prefix(block.size());
    }
    if (got < bytes.size()) return true;
  }
}

// The file is none of the journal's business any more; its content may be all that is left of the other names' file.
win32_error set_aside(int journal, const std::string& name, const std::string& path, const journal_trailer& trailer) {
  if (::ftruncate(journal, static_cast<off_t>(trailer.new_size)) != 0) return error_from_errno(errno);
  const std::string recovered = path + ".recovered";
  if (::linkat(AT_FDCWD, name.c_str(), AT_FDCWD, recovered.c_str(), 0) != 0 && errno != EEXIST) {
    return error_from_errno(errno);
  }
  return ::unlink(name.c_str()) == 0 ? win32_error::success : error_from_errno(errno);
}

bool lock_within_reason(int journal) {
  const auto end = std::chrono::steady_clock::now() + longest_wait;
  while (::flock(journal, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return true;  // a file system without locks
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(wait_step);
  }
  return true;
}

// Only the file's owner, this user and the superuser are trusted to say what was to become of a file.
bool trusted(const struct stat& journal, const struct stat& file) {
  return S_ISREG(journal.st_mode) &&
         (journal.st_uid == file.st_uid || journal.st_uid == ::geteuid() || journal.st_uid == 0);
}

}  // namespace

win32_error rewrite_through_journal(const journaled_change& change) {
  journal_trailer trailer;
  if (const int failure = append_old_content(change, trailer); failure != 0) return error_from_errno(failure);
  if (const int failure = take_room(change.file, trailer); failure != 0) return error_from_errno(failure);
  // A lock that the file system doesn't offer is not needed to be whole, only to keep two processes apart.
  static_cast<void>(::flock(change.staged, LOCK_EX | LOCK_NB));
  const std::string name = journal_path(change.path, change.inode);
  if (const int failure = give_name(change, name); failure != 0) {
    return failure == EEXIST ? win32_error::sharing_violation : error_from_errno(failure);
  }
  return carry_out(change.file, change.staged, name, trailer);
}

win32_error finish_from_journal(const std::string& path, ino_t inode) {
  const std::string name = journal_path(path, inode);
  const unique_descriptor journal(::open(name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  // One that can't be read can't be judged either; it must not block the file.
  if (!journal) return win32_error::success;
  if (!lock_within_reason(journal.get())) return win32_error::sharing_violation;
  if (!names_open_file(name, journal.get())) return win32_error::success;  // done while this one waited

  const unique_descriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return error_from_errno(errno);
  struct stat journal_status {};
  struct stat file_status {};
  if (::fstat(journal.get(), &journal_status) != 0 || ::fstat(file.get(), &file_status) != 0) {
    return error_from_errno(errno);
  }
  if (file_status.st_ino != inode) return win32_error::sharing_violation;
  if (!trusted(journal_status, file_status)) return win32_error::success;
  journal_trailer trailer;
  if (!read_trailer(journal.get(), inode, trailer)) {
    // None of ours is incomplete under this name; whatever this is, it must not block the file.
    return ::unlink(name.c_str()) == 0 ? win32_error::success : error_from_errno(errno);
  }
  if (!is_torn_or_whole(file.get(), journal.get(), trailer)) return set_aside(journal.get(), name, path, trailer);
  if (const int failure = take_room(file.get(), trailer); failure != 0) return error_from_errno(failure);
  return carry_out(file.get(), journal.get(), name, trailer);
}

}  // namespace platform::host
