#include "platform/host/journal_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"

namespace platform::host {

namespace {

struct journal_trailer {
  std::array<char, 16> mark{'q', 'b', ' ', 'r', 'e', 's', 't', 'o', 'r', 'e', ' ', 'v', '2', '\n', '\0', '\0'};
  std::uint64_t inode = 0;
  std::int64_t birth_seconds = 0;  // the birth is 0 where the file system knows none
  std::int64_t birth_nanoseconds = 0;
  std::uint64_t new_size = 0;
  std::uint64_t old_size = 0;
};

constexpr std::uint64_t disk_block = 512;  // the least that a disk writes as a whole
constexpr std::size_t compared_at_once = 128 * disk_block;

win32_result<journal_trailer> trailer_for(int file) {
  struct statx facts {};
  if (::statx(file, "", AT_EMPTY_PATH, STATX_INO | STATX_SIZE | STATX_BTIME, &facts) != 0) {
    return error_from_errno(errno);
  }
  journal_trailer trailer;
  trailer.inode = facts.stx_ino;
  if ((facts.stx_mask & STATX_BTIME) != 0) {
    trailer.birth_seconds = facts.stx_btime.tv_sec;
    trailer.birth_nanoseconds = facts.stx_btime.tv_nsec;
  }
  trailer.old_size = facts.stx_size;
  return trailer;
}

win32_result<std::uint64_t> size_of(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return error_from_errno(errno);
  return static_cast<std::uint64_t>(status.st_size);
}

// A piece of one of the contents, and where that ends.
class content_piece {
 public:
  explicit content_piece(std::uint64_t size) : size_(size), bytes_(compared_at_once) {}

  // At `offset` of the content, which starts at `start` of the file. 0 or an errno.
  int read(int file, std::uint64_t start, std::uint64_t offset) {
    offset_ = offset;
    const std::uint64_t count = offset < size_ ? std::min<std::uint64_t>(size_ - offset, bytes_.size()) : 0;
    errno = 0;
    if (read_at(file, start + offset, std::span(bytes_).first(count)) == count) return 0;
    return errno == 0 ? EIO : errno;
  }

  [[nodiscard]] std::uint64_t size() const { return size_; }
  [[nodiscard]] std::string_view at(std::uint64_t from, std::uint64_t to) const {
    return {bytes_.data() + (from - offset_), to - from};
  }
  [[nodiscard]] bool has(std::string_view block, std::uint64_t from) const {
    const std::uint64_t to = from + block.size();
    return to <= size_ && at(from, to) == block;
  }

 private:
  std::uint64_t size_;
  std::uint64_t offset_ = 0;
  std::vector<char> bytes_;
};

bool is_zero(std::string_view bytes) { return bytes.find_first_not_of('\0') == std::string_view::npos; }

bool piece_is_torn_or_whole(const content_piece& now, const content_piece& fresh, const content_piece& old,
                            std::uint64_t from, std::uint64_t to) {
  while (from < to) {
    // Up to the end of the disk block, and not beyond the end of either content within it.
    std::uint64_t end = std::min(to, (from / disk_block + 1) * disk_block);
    for (const std::uint64_t border : {fresh.size(), old.size()}) {
      if (border > from) end = std::min(end, border);
    }
    const std::string_view block = now.at(from, end);
    const bool grown = from >= old.size() && is_zero(block);
    if (!grown && !fresh.has(block, from) && !old.has(block, from)) return false;
    from = end;
  }
  return true;
}

}  // namespace

win32_result<journal_sizes> complete_journal(int journal, int file) {
  const win32_result<std::uint64_t> new_size = size_of(journal);
  if (!new_size) return new_size.error();
  win32_result<journal_trailer> trailer = trailer_for(file);
  if (!trailer) return trailer.error();
  trailer->new_size = *new_size;
  int failure = copy_bytes(file, 0, journal, trailer->new_size, trailer->old_size);
  if (failure == 0) {
    const std::string_view bytes(reinterpret_cast<const char*>(&*trailer), sizeof *trailer);
    failure = write_at(journal, trailer->new_size + trailer->old_size, bytes);
  }
  if (failure == 0 && ::fsync(journal) != 0) failure = errno;
  if (failure != 0) return error_from_errno(failure, data_direction::writing);
  return journal_sizes{trailer->new_size, trailer->old_size};
}

win32_result<journal_sizes> read_journal(int journal, int file) {
  const win32_result<std::uint64_t> size = size_of(journal);
  if (!size) return size.error();
  const win32_result<journal_trailer> expected = trailer_for(file);
  if (!expected) return expected.error();
  if (*size < sizeof(journal_trailer)) return win32_error::not_found;
  const std::uint64_t contents = *size - sizeof(journal_trailer);
  std::array<char, sizeof(journal_trailer)> bytes{};
  errno = 0;
  if (read_at(journal, contents, bytes) != bytes.size()) {
    return error_from_errno(errno == 0 ? EIO : errno, data_direction::reading);
  }
  journal_trailer trailer;
  std::memcpy(&trailer, bytes.data(), sizeof trailer);
  const bool same_file = trailer.mark == expected->mark && trailer.inode == expected->inode &&
                         trailer.birth_seconds == expected->birth_seconds &&
                         trailer.birth_nanoseconds == expected->birth_nanoseconds;
  if (!same_file || trailer.new_size > contents || trailer.old_size != contents - trailer.new_size) {
    return win32_error::not_found;
  }
  return journal_sizes{trailer.new_size, trailer.old_size};
}

win32_result<bool> is_torn_or_whole(int file, int journal, const journal_sizes& sizes) {
  const win32_result<std::uint64_t> size = size_of(file);
  if (!size) return size.error();
  // At no time does a rewrite make the file shorter or longer than both.
  const auto [shortest, longest] = std::minmax(sizes.new_size, sizes.old_size);
  if (*size < shortest || *size > longest) return false;
  content_piece now(*size);
  content_piece fresh(sizes.new_size);
  content_piece old(sizes.old_size);
  for (std::uint64_t offset = 0; offset < *size; offset += compared_at_once) {
    int failure = now.read(file, 0, offset);
    if (failure == 0) failure = fresh.read(journal, 0, offset);
    if (failure == 0) failure = old.read(journal, sizes.new_size, offset);
    if (failure != 0) return error_from_errno(failure, data_direction::reading);
    const std::uint64_t end = std::min<std::uint64_t>(*size, offset + compared_at_once);
    if (!piece_is_torn_or_whole(now, fresh, old, offset, end)) return false;
  }
  return true;
}

}  // namespace platform::host
