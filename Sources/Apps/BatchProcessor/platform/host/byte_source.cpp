#include "platform/host/byte_source.h"

#include <algorithm>
#include <cerrno>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"

namespace platform::host {

namespace {

// Behind the start, headers are far apart.
constexpr std::uint64_t later_read_size = 512;

}  // namespace

bool file_source::fill(stretch& part, std::uint64_t offset, std::uint64_t count) {
  part.bytes.resize(std::min(count, size_ - offset));
  part.offset = offset;
  errno = 0;
  if (read_at(descriptor_, offset, part.bytes) == part.bytes.size()) return true;
  // Shorter than it was when it was opened: someone is changing it.
  failure_ = errno == 0 ? win32_error::sharing_violation : error_from_errno(errno, data_direction::reading);
  part.bytes.clear();
  return false;
}

std::optional<std::string> file_source::read(std::uint64_t offset, std::uint64_t count) {
  if (offset > size_ || count > size_ - offset) return std::nullopt;
  const bool is_at_start = offset + count <= start_size_;
  stretch& part = is_at_start ? start_ : later_;
  if (!part.holds(offset, count)) {
    const bool filled = is_at_start ? fill(part, 0, start_size_) : fill(part, offset, std::max(count, later_read_size));
    if (!filled) return std::nullopt;
  }
  return part.bytes.substr(offset - part.offset, count);
}

std::optional<std::string> memory_source::read(std::uint64_t offset, std::uint64_t count) {
  if (offset > bytes_.size() || count > bytes_.size() - offset) return std::nullopt;
  return std::string(bytes_.substr(offset, count));
}

}  // namespace platform::host
