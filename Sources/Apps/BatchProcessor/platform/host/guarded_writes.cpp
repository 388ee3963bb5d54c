#include "platform/host/guarded_writes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/host/file_bytes.h"
#include "platform/host/rewrite_journal.h"

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

}  // namespace

int write_runs(int file, std::span<const byte_run> runs) noexcept {
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const int failure = write_at(file, runs[i].offset, runs[i].new_bytes);
    if (failure == 0) continue;
    // All of them again, however far the failed one got. There is nobody to tell if this fails as well.
    for (const byte_run& run : runs.first(i + 1)) {
      static_cast<void>(write_at(file, run.offset, run.old_bytes));
    }
    return failure;
  }
  return 0;
}

int grow(int file, const growth& change) noexcept {
  const auto offset = static_cast<off_t>(change.offset);
  const auto size = static_cast<off_t>(change.size);
  struct stat status {};
  if (::fstat(file, &status) != 0) return errno;
  const auto size_now = static_cast<std::uint64_t>(status.st_size);
  if (size_now == change.old_size) {
    if (::fallocate(file, FALLOC_FL_INSERT_RANGE, offset, size) != 0) return errno;
  } else if (size_now != change.old_size + change.size) {
    return EIO;  // someone else has changed the file in between
  }
  // The old bytes stand behind the room until it is filled: where the disk is full, nothing of them is gone.
  const std::uint64_t old_start = change.offset + change.size;
  int failure = write_at(file, change.offset, change.new_bytes.substr(0, change.size));
  if (failure == 0) {
    failure = write_at(file, old_start, change.new_bytes.substr(change.size));
    // There is nobody to tell if this fails as well.
    if (failure != 0) static_cast<void>(write_at(file, old_start, change.old_bytes));
  }
  if (failure != 0) static_cast<void>(::fallocate(file, FALLOC_FL_COLLAPSE_RANGE, offset, size));
  return failure;
}

int rewrite_from_journal(const journaled_rewrite& rewrite, std::span<char> buffer) noexcept {
  const int failure = put_content(rewrite.journal, 0, rewrite.file, rewrite.new_size, buffer);
  const bool whole =
      failure == 0 || put_content(rewrite.journal, rewrite.new_size, rewrite.file, rewrite.old_size, buffer) == 0;
  // Either that can't be removed does no harm: the file is found to be done with at the next open.
  if (whole) {
    static_cast<void>(::fremovexattr(rewrite.file, rewrite_mark));
    static_cast<void>(::unlinkat(rewrite.folder, rewrite.journal_name, 0));
  }
  return failure;
}

}  // namespace platform::host
