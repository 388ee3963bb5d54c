// The segments in front of a JPEG's image data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quill_box::metadata {

struct jpeg_segment {
  std::uint8_t marker = 0;
  std::size_t start = 0;  ///< of the FF in front of the marker
  std::size_t end = 0;    ///< behind the data; never behind the bytes that are there
};

/// The marker of the segments of Exif and XMP.
inline constexpr std::uint8_t jpeg_app1 = 0xe1;

/// Marker and big-endian length, which stand in front of a segment's data.
inline constexpr std::size_t jpeg_segment_head = 4;
inline constexpr std::size_t jpeg_first_segment = 2;

/// True when the bytes start as a JPEG does: FF D8.
[[nodiscard]] bool starts_as_jpeg(std::string_view bytes);

/// The segment at `position`, behind fill bytes if there are any. None where the image data or the end of the image
/// comes next, and where the structure is damaged: no marker, a length below 2 or beyond the bytes.
[[nodiscard]] std::optional<jpeg_segment> next_jpeg_segment(std::string_view bytes, std::size_t position);

}  // namespace quill_box::metadata
