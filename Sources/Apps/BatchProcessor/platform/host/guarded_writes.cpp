#include "platform/host/guarded_writes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/host/change_mark.h"
#include "platform/host/file_bytes.h"

namespace platform::host {

namespace {

int copy(int from, std::uint64_t from_offset, int to, std::uint64_t size, std::span<char> buffer) noexcept {
  for (std::uint64_t done = 0; done < size;) {
    const std::size_t piece = std::min<std::uint64_t>(buffer.size(), size - done);
    errno = 0;
    if (read_at(from, from_offset + done, buffer.first(piece)) != piece) return errno == 0 ? EIO : errno;
    if (const int failure = write_at(to, done, {buffer.data(), piece}); failure != 0) return failure;
    done += piece;
  }
  return 0;
}

int put_content(int journal, std::uint64_t offset, int file, std::uint64_t size, std::span<char> buffer) noexcept {
  const int failure = copy(journal, offset, file, size, buffer);
  if (failure != 0) return failure;
  if (::ftruncate(file, static_cast<off_t>(size)) != 0) return errno;
  return ::fsync(file) == 0 ? 0 : errno;
}

// One that stays does no harm: the next open finds that the file is done with.
void remove_mark(int file) noexcept { static_cast<void>(::fremovexattr(file, rewrite_mark)); }

bool put_back(int file, std::span<const byte_run> runs) noexcept {
  bool whole = true;
  for (const byte_run& run : runs) {
    whole = write_at(file, run.offset, run.old_bytes) == 0 && whole;
  }
  return whole;
}

// Unless it is open already. Where the file can have none its mark goes: nothing was written.
int open_room(int file, std::uint64_t offset, std::uint64_t size, std::uint64_t file_size) noexcept {
  struct stat status {};
  if (::fstat(file, &status) != 0) return errno;
  const auto size_now = static_cast<std::uint64_t>(status.st_size);
  if (size_now == file_size + size) return 0;
  int failure = EIO;  // someone else has changed the file in between
  if (size_now == file_size) {
    const auto start = static_cast<off_t>(offset);
    failure = ::fallocate(file, FALLOC_FL_INSERT_RANGE, start, static_cast<off_t>(size)) == 0 ? 0 : errno;
  }
  if (failure != 0) remove_mark(file);
  return failure;
}

bool close_room(int file, std::uint64_t offset, std::uint64_t size) noexcept {
  return ::fallocate(file, FALLOC_FL_COLLAPSE_RANGE, static_cast<off_t>(offset), static_cast<off_t>(size)) == 0;
}

// So that a loss of power finds it there once the old content is gone.
int bring_to_disk(int file, const block_exchange& change) noexcept {
  if (change.needs_sync) return ::fdatasync(file) == 0 ? 0 : errno;
  // Gives the data their place on the disk. The journal of the file system then waits for them before it says so.
  const int result = ::sync_file_range(file, static_cast<off_t>(change.offset), static_cast<off_t>(change.room),
                                       SYNC_FILE_RANGE_WRITE);
  return result == 0 ? 0 : errno;
}

int drop_old_content(int file, const block_exchange& change) noexcept {
  const std::uint64_t old_size = change.old_content.size();
  // What ends a file can only be cut off.
  const bool at_end = change.offset + old_size == change.file_size;
  const int result = at_end
                         ? ::ftruncate(file, static_cast<off_t>(change.offset + change.new_content.size()))
                         : ::fallocate(file, FALLOC_FL_COLLAPSE_RANGE, static_cast<off_t>(change.offset + change.room),
                                       static_cast<off_t>(old_size));
  return result == 0 ? 0 : errno;
}

int fill_and_exchange(int file, const block_exchange& change) noexcept {
  if (const int failure = write_at(file, change.offset, change.new_content); failure != 0) return failure;
  if (const int failure = bring_to_disk(file, change); failure != 0) return failure;
  return drop_old_content(file, change);
}

}  // namespace

int write_in_place(int file, const in_place_writes& change) noexcept {
  const opened_room& room = change.room;
  const bool has_room = !room.content.empty();
  if (has_room) {
    const int failure = open_room(file, room.offset, room.content.size(), room.file_size);
    if (failure != 0) return failure;
  }
  // The room first: once a run is written, it is filled.
  int failure = has_room ? write_at(file, room.offset, room.content) : 0;
  std::size_t begun = 0;
  while (failure == 0 && begun < change.runs.size()) {
    failure = write_at(file, change.runs[begun].offset, change.runs[begun].new_bytes);
    ++begun;
  }
  bool whole = failure == 0;
  if (!whole) {
    // All that were begun, however far the failed one got.
    whole =
        put_back(file, change.runs.first(begun)) && (!has_room || close_room(file, room.offset, room.content.size()));
  }
  if (whole) remove_mark(file);
  return failure;
}

int exchange_blocks(int file, const block_exchange& change) noexcept {
  struct stat status {};
  if (::fstat(file, &status) != 0) return errno;
  const std::uint64_t new_size = change.file_size - change.old_content.size() + change.new_content.size();
  if (new_size != change.file_size && static_cast<std::uint64_t>(status.st_size) == new_size) {
    remove_mark(file);
    return 0;
  }
  if (const int failure = open_room(file, change.offset, change.room, change.file_size); failure != 0) return failure;
  const int failure = fill_and_exchange(file, change);
  if (failure == 0 || close_room(file, change.offset, change.room)) remove_mark(file);
  return failure;
}

int rewrite_from_journal(const journaled_rewrite& rewrite, std::span<char> buffer) noexcept {
  const int failure = put_content(rewrite.journal, 0, rewrite.file, rewrite.new_size, buffer);
  const bool whole =
      failure == 0 || put_content(rewrite.journal, rewrite.new_size, rewrite.file, rewrite.old_size, buffer) == 0;
  if (whole) {
    remove_mark(rewrite.file);
    // A journal without a mark is worth nothing, and goes with the next one.
    static_cast<void>(::unlinkat(rewrite.folder, rewrite.journal_name, 0));
  }
  return failure;
}

}  // namespace platform::host
