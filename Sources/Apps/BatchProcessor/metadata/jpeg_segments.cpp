#include "metadata/jpeg_segments.h"

namespace quill_box::metadata {

namespace {

constexpr std::uint8_t marker_start = 0xff;
constexpr std::uint8_t end_of_image = 0xd9;
constexpr std::uint8_t start_of_scan = 0xda;

std::uint8_t byte_at(std::string_view bytes, std::size_t offset) { return static_cast<std::uint8_t>(bytes[offset]); }

}  // namespace

bool starts_as_jpeg(std::string_view bytes) { return bytes.starts_with("\xff\xd8"); }

std::optional<jpeg_segment> next_jpeg_segment(std::string_view bytes, std::size_t position) {
  for (; bytes.size() >= jpeg_segment_head && position <= bytes.size() - jpeg_segment_head; ++position) {
    if (byte_at(bytes, position) != marker_start) return std::nullopt;
    const std::uint8_t marker = byte_at(bytes, position + 1);
    if (marker == marker_start) continue;  // a fill byte
    if (marker == end_of_image || marker == start_of_scan) return std::nullopt;
    const std::size_t length =
        static_cast<std::size_t>(byte_at(bytes, position + 2)) << 8 | byte_at(bytes, position + 3);
    if (length < 2 || length > bytes.size() - position - 2) return std::nullopt;
    return jpeg_segment{marker, position, position + 2 + length};
  }
  return std::nullopt;
}

}  // namespace quill_box::metadata
