#include "platform/host/file_bytes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace platform::host {

namespace {

constexpr std::size_t copied_at_once = 256 * 1024;

int copy_through_memory(int from, std::uint64_t from_offset, int to, std::uint64_t to_offset, std::uint64_t size) {
  std::vector<char> buffer(std::min<std::uint64_t>(size, copied_at_once));
  while (size != 0) {
    const auto piece = std::span(buffer).first(std::min<std::uint64_t>(size, buffer.size()));
    errno = 0;
    if (read_at(from, from_offset, piece) != piece.size()) return errno == 0 ? EIO : errno;
    if (const int failure = write_at(to, to_offset, {piece.data(), piece.size()}); failure != 0) return failure;
    from_offset += piece.size();
    to_offset += piece.size();
    size -= piece.size();
  }
  return 0;
}

// File systems that can share blocks between files do so for whole blocks that stand at the same place within one in
// both; what comes before the first of them is copied by itself.
std::uint64_t bytes_before_sharing(std::uint64_t from_offset, std::uint64_t to_offset, std::uint64_t size) {
  constexpr std::uint64_t block = 4096;
  const std::uint64_t into_block = from_offset % block;
  if (into_block == 0 || into_block != to_offset % block || size < 2 * block) return 0;
  return block - into_block;
}

}  // namespace

std::size_t read_at(int file, std::uint64_t offset, std::span<char> bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = ::pread(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

int write_at(int file, std::uint64_t offset, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    if (written == 0) return EIO;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return 0;
}

int copy_bytes(int from, std::uint64_t from_offset, int to, std::uint64_t to_offset, std::uint64_t size) {
  auto in = static_cast<off_t>(from_offset);
  auto out = static_cast<off_t>(to_offset);
  std::uint64_t first = bytes_before_sharing(from_offset, to_offset, size);
  while (size != 0) {
    const std::uint64_t wanted = first != 0 ? std::exchange(first, 0) : size;
    const ssize_t copied = ::copy_file_range(from, &in, to, &out, wanted, 0);
    if (copied < 0 && errno == EINTR) continue;
    if (copied < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO)) return errno;
    // Not between these two files, or a file of a kind that pretends to be empty: the plain way tells.
    if (copied <= 0) break;
    size -= static_cast<std::uint64_t>(copied);
  }
  return copy_through_memory(from, static_cast<std::uint64_t>(in), to, static_cast<std::uint64_t>(out), size);
}

}  // namespace platform::host
