#include "organize/geo/byte_reader.h"

#include <algorithm>

namespace quill_box::organize {

namespace {

// Holds the longest string, with the rest of the block before.
constexpr std::size_t block_size = std::size_t{128} << 10;

}  // namespace

byte_reader::byte_reader(platform::file& file, std::uint64_t size) : file_(&file), unread_(size), block_(block_size) {}

void byte_reader::refill(std::size_t wanted) {
  if (unread_ > 0) {
    std::copy(rest_.begin(), rest_.end(), block_.begin());
    const auto room = std::span(block_).subspan(rest_.size());
    const auto part = room.first(static_cast<std::size_t>(std::min<std::uint64_t>(room.size(), unread_)));
    const auto read = file_->read(std::as_writable_bytes(part));
    const std::size_t count = read ? *read : 0;
    unread_ = count == part.size() ? unread_ - count : 0;
    rest_ = {block_.data(), rest_.size() + count};
  }
  if (wanted <= rest_.size()) return;
  is_past_end_ = true;
  rest_ = {};
}

void byte_reader::copy_to(std::span<std::byte> room) {
  while (!room.empty()) {
    if (rest_.empty()) refill(1);
    if (is_past_end_) return;
    const std::string_view part = bytes(std::min(room.size(), rest_.size()));
    std::ranges::copy(std::as_bytes(std::span(part)), room.begin());
    room = room.subspan(part.size());
  }
}

}  // namespace quill_box::organize
