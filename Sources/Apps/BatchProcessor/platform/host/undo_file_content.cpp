// [old content][hash of each disk block of the new content, 8 bytes little-endian][trailer]
#include "platform/host/undo_file_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/byte_hash.h"
#include "platform/host/byte_order.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"

namespace platform::host {

namespace {

struct undo_trailer {
  std::array<char, 16> mark{'q', 'b', ' ', 'u', 'n', 'd', 'o', ' ', 'v', '1', '\n', '\0', '\0', '\0', '\0', '\0'};
  std::uint64_t inode = 0;
  std::int64_t birth_seconds = 0;  // the birth is 0 where the file system knows none
  std::int64_t birth_nanoseconds = 0;
  std::uint64_t old_size = 0;
  std::uint64_t new_size = 0;
  std::uint64_t last_block_hash = 0;
  bool operator==(const undo_trailer&) const = default;
};

constexpr std::uint64_t disk_block = 512;  // the least that a disk writes as a whole
constexpr std::uint64_t hash_size = 8;
constexpr std::uint64_t compared_at_once = 128 * disk_block;

std::uint64_t blocks_of(std::uint64_t size) { return size / disk_block + (size % disk_block == 0 ? 0 : 1); }

win32_result<undo_trailer> trailer_for(int file) {
  struct statx facts {};
  if (::statx(file, "", AT_EMPTY_PATH, STATX_INO | STATX_SIZE | STATX_BTIME, &facts) != 0) {
    return error_from_errno(errno);
  }
  undo_trailer trailer;
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

// Exactly `count` bytes.
win32_result<std::string> bytes_at(int file, std::uint64_t offset, std::uint64_t count) {
  std::string bytes(count, '\0');
  errno = 0;
  if (read_at(file, offset, bytes) == count) return bytes;
  return error_from_errno(errno == 0 ? EIO : errno, data_direction::reading);
}

// What there is of a content of `size` bytes in [offset, offset + compared_at_once); the content starts at `start`.
win32_result<std::string> stretch_at(int file, std::uint64_t start, std::uint64_t size, std::uint64_t offset) {
  const std::uint64_t count = offset < size ? std::min(size - offset, compared_at_once) : 0;
  return bytes_at(file, start + offset, count);
}

win32_error append_hashes(int undo, std::uint64_t at, int fresh, std::uint64_t new_size) {
  for (std::uint64_t offset = 0; offset < new_size; offset += compared_at_once) {
    const win32_result<std::string> content = stretch_at(fresh, 0, new_size, offset);
    if (!content) return content.error();
    std::string hashes;
    for (std::uint64_t block = 0; block < content->size(); block += disk_block) {
      append_number(hashes, hash_of(std::string_view(*content).substr(block, disk_block)), hash_size,
                    byte_order::little);
    }
    if (const int failure = write_at(undo, at, hashes); failure != 0) {
      return error_from_errno(failure, data_direction::writing);
    }
    at += hashes.size();
  }
  return win32_error::success;
}

// A stretch of the file now, of the old content, and the hashes of the new one; all start at the same offset.
struct stretch {
  std::uint64_t offset = 0;
  std::string now;
  std::string old;
  std::string new_hashes;
};

win32_result<stretch> read_stretch(int file, std::uint64_t file_size, int undo, const undo_sizes& sizes,
                                   std::uint64_t offset) {
  stretch read{offset, {}, {}, {}};
  auto now = stretch_at(file, 0, file_size, offset);
  if (!now) return now.error();
  auto old = stretch_at(undo, 0, sizes.old_size, offset);
  if (!old) return old.error();
  const std::uint64_t first = std::min(offset / disk_block, blocks_of(sizes.new_size));
  const std::uint64_t count = std::min(compared_at_once / disk_block, blocks_of(sizes.new_size) - first);
  auto hashes = bytes_at(undo, sizes.old_size + first * hash_size, count * hash_size);
  if (!hashes) return hashes.error();
  read.now = *std::move(now);
  read.old = *std::move(old);
  read.new_hashes = *std::move(hashes);
  return read;
}

bool is_zero(std::string_view bytes) { return bytes.find_first_not_of('\0') == std::string_view::npos; }

// One disk block of the stretch, or the part of it up to the end of the new content, or the part after that.
change_state state_of_block(const stretch& read, std::size_t from, std::size_t to, const undo_sizes& sizes) {
  const std::string_view now = std::string_view(read.now).substr(from, to - from);
  const std::uint64_t begin = read.offset + from;
  const std::uint64_t end = read.offset + to;
  const bool is_hashed = from % disk_block == 0 && (to % disk_block == 0 || end == sizes.new_size);
  const std::size_t hash_at = from / disk_block * hash_size;
  if (is_hashed && hash_at < read.new_hashes.size() &&
      hash_of(now) == get_little(read.new_hashes, hash_at, hash_size)) {
    return change_state::finished;
  }
  // Of a loss of power the file may have its old size, and in it new bytes up to there.
  if (end == sizes.old_size && hash_of(now) == sizes.last_block_hash) return change_state::cut_short;
  // The growth stopped within the block: nothing tells these bytes, which go again with the growth.
  if (!is_hashed && end > sizes.old_size) return change_state::cut_short;
  const std::size_t old_part = std::min<std::uint64_t>(now.size(), sizes.old_size - std::min(sizes.old_size, begin));
  const bool is_old = now.substr(0, old_part) == std::string_view(read.old).substr(old_part == 0 ? 0 : from, old_part);
  return is_old && is_zero(now.substr(old_part)) ? change_state::cut_short : change_state::someone_elses;
}

change_state state_of_stretch(const stretch& read, const undo_sizes& sizes) {
  change_state state = change_state::finished;
  for (std::size_t from = 0; from < read.now.size();) {
    std::size_t to = std::min<std::size_t>(read.now.size(), (from / disk_block + 1) * disk_block);
    const std::uint64_t border = sizes.new_size;
    if (border > read.offset + from) to = std::min<std::uint64_t>(to, border - read.offset);
    const change_state block = state_of_block(read, from, to, sizes);
    if (block == change_state::someone_elses) return block;
    if (block == change_state::cut_short) state = block;
    from = to;
  }
  return state;
}

}  // namespace

win32_result<undo_sizes> fill_undo_file(int undo, int file, int fresh) {
  const win32_result<std::uint64_t> new_size = size_of(fresh);
  if (!new_size) return new_size.error();
  win32_result<undo_trailer> trailer = trailer_for(file);
  if (!trailer) return trailer.error();
  trailer->new_size = *new_size;
  if (const int failure = copy_bytes(file, 0, undo, 0, trailer->old_size); failure != 0) {
    return error_from_errno(failure, data_direction::writing);
  }
  const win32_error hashed = append_hashes(undo, trailer->old_size, fresh, *new_size);
  if (!succeeded(hashed)) return hashed;
  const std::uint64_t last_block = trailer->old_size / disk_block * disk_block;
  const std::uint64_t shared_end = std::max(last_block, std::min(trailer->old_size, *new_size));
  const auto last_bytes = bytes_at(fresh, last_block, shared_end - last_block);
  if (!last_bytes) return last_bytes.error();
  trailer->last_block_hash = hash_of(*last_bytes);
  const std::string_view bytes(reinterpret_cast<const char*>(&*trailer), sizeof *trailer);
  int failure = write_at(undo, trailer->old_size + blocks_of(*new_size) * hash_size, bytes);
  if (failure == 0 && ::fsync(undo) != 0) failure = errno;
  if (failure != 0) return error_from_errno(failure, data_direction::writing);
  return undo_sizes{trailer->old_size, trailer->new_size, trailer->last_block_hash};
}

win32_result<undo_sizes> read_undo_file(int undo, int file) {
  const win32_result<std::uint64_t> size = size_of(undo);
  if (!size) return size.error();
  win32_result<undo_trailer> expected = trailer_for(file);
  if (!expected) return expected.error();
  if (*size < sizeof(undo_trailer)) return win32_error::not_found;
  const std::uint64_t contents = *size - sizeof(undo_trailer);
  const win32_result<std::string> bytes = bytes_at(undo, contents, sizeof(undo_trailer));
  if (!bytes) return bytes.error();
  undo_trailer trailer;
  std::memcpy(&trailer, bytes->data(), sizeof trailer);
  expected->old_size = trailer.old_size;
  expected->new_size = trailer.new_size;
  expected->last_block_hash = trailer.last_block_hash;
  const bool fits = trailer.old_size <= contents &&
                    blocks_of(trailer.new_size) == (contents - trailer.old_size) / hash_size &&
                    (contents - trailer.old_size) % hash_size == 0;
  if (trailer != *expected || !fits) return win32_error::not_found;
  return undo_sizes{trailer.old_size, trailer.new_size, trailer.last_block_hash};
}

win32_result<change_state> state_of_change(int file, int undo, const undo_sizes& sizes) {
  const win32_result<std::uint64_t> size = size_of(file);
  if (!size) return size.error();
  // At no time does a change make the file shorter or longer than both.
  const auto [shortest, longest] = std::minmax(sizes.new_size, sizes.old_size);
  if (*size < shortest || *size > longest) return change_state::someone_elses;
  change_state state = *size == sizes.new_size ? change_state::finished : change_state::cut_short;
  for (std::uint64_t offset = 0; offset < *size; offset += compared_at_once) {
    const win32_result<stretch> read = read_stretch(file, *size, undo, sizes, offset);
    if (!read) return read.error();
    const change_state part = state_of_stretch(*read, sizes);
    if (part == change_state::someone_elses) return part;
    if (part == change_state::cut_short) state = part;
  }
  return state;
}

}  // namespace platform::host
