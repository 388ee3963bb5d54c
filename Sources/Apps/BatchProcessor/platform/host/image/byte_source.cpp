#include "platform/host/image/byte_source.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace platform::host::image {

namespace {

// The start of most files holds all of their metadata; further on, headers are far apart.
constexpr std::uint64_t first_read_size = std::uint64_t{16} << 10;
constexpr std::uint64_t later_read_size = 512;

bool read_fully(int descriptor, std::uint64_t offset, std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got =
        ::pread(descriptor, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace

bool file_source::fill(std::uint64_t offset, std::uint64_t count) {
  const std::uint64_t wanted = std::max(count, offset == 0 ? first_read_size : later_read_size);
  buffer_.resize(std::min(wanted, size_ - offset));
  buffer_offset_ = offset;
  if (read_fully(descriptor_, offset, buffer_)) return true;
  buffer_.clear();
  return false;
}

std::optional<std::string> file_source::read(std::uint64_t offset, std::uint64_t count) {
  if (offset > size_ || count > size_ - offset) return std::nullopt;
  const bool buffered = offset >= buffer_offset_ && offset - buffer_offset_ <= buffer_.size() &&
                        count <= buffer_.size() - (offset - buffer_offset_);
  if (!buffered && !fill(offset, count)) return std::nullopt;
  return buffer_.substr(offset - buffer_offset_, count);
}

std::optional<std::string> memory_source::read(std::uint64_t offset, std::uint64_t count) {
  if (offset > bytes_.size() || count > bytes_.size() - offset) return std::nullopt;
  return std::string(bytes_.substr(offset, count));
}

}  // namespace platform::host::image
