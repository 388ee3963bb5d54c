#include "platform/host/byte_source.h"

#include <algorithm>
#include <cerrno>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"

namespace platform::host {

namespace {

// The start of most files holds all of their metadata; further on, headers are far apart.
constexpr std::uint64_t first_read_size = std::uint64_t{16} << 10;
constexpr std::uint64_t later_read_size = 512;

}  // namespace

bool file_source::fill(std::uint64_t offset, std::uint64_t count) {
  const std::uint64_t wanted = std::max(count, offset == 0 ? first_read_size : later_read_size);
  buffer_.resize(std::min(wanted, size_ - offset));
  buffer_offset_ = offset;
  errno = 0;
  if (read_at(descriptor_, offset, buffer_) == buffer_.size()) return true;
  // Shorter than it was when it was opened: someone is changing it.
  failure_ = errno == 0 ? win32_error::sharing_violation : error_from_errno(errno, data_direction::reading);
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

}  // namespace platform::host
