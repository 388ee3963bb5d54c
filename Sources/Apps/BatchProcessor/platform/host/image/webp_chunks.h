// The chunks of a WebP file (RFC 9649).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/host/byte_source.h"

namespace platform::host::image {

using std::string_view_literals::operator""sv;

inline constexpr std::uint64_t first_webp_chunk = 12;  ///< behind "RIFF", the size and "WEBP"
/// A file with more is taken for none: going through them would take too long.
inline constexpr std::size_t most_webp_chunks = std::size_t{4} << 20;
/// What some writers put in front of the Exif block.
inline constexpr std::string_view webp_exif_signature = "Exif\0\0"sv;

struct webp_chunk {
  std::uint64_t offset = 0;
  std::string type;
  std::uint32_t size = 0;

  [[nodiscard]] std::uint64_t data() const { return offset + 8; }
  [[nodiscard]] std::uint64_t end() const { return data() + size + size % 2; }
};

/// Nothing where the chunk's head isn't there, or where the chunk would go beyond `limit`.
[[nodiscard]] std::optional<webp_chunk> webp_chunk_at(byte_source& source, std::uint64_t offset, std::uint64_t limit);

/// The block of an EXIF chunk, without the signature that may lead it.
[[nodiscard]] byte_range webp_exif_block(byte_source& source, const webp_chunk& exif);

struct webp_canvas {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool alpha = false;
};

/// The image's size as its bitstream has it; nothing where that doesn't start as it should.
[[nodiscard]] std::optional<webp_canvas> webp_canvas_of(byte_source& source, const webp_chunk& bitstream);

}  // namespace platform::host::image
