// The chunks of a PNG file (ISO 15948).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/host/byte_source.h"

namespace platform::host::image {

inline constexpr std::uint64_t png_signature_size = 8;
/// A file with more is taken for none: going through them would take too long.
inline constexpr std::size_t most_png_chunks = std::size_t{4} << 20;

struct png_chunk {
  std::uint64_t offset = 0;
  std::string type;
  std::uint32_t size = 0;

  [[nodiscard]] std::uint64_t data() const { return offset + 8; }
  [[nodiscard]] std::uint64_t end() const { return offset + 12 + size; }  ///< length, type and CRC are beside the data
};

/// Nothing where the chunk would leave the file.
[[nodiscard]] std::optional<png_chunk> png_chunk_at(byte_source& source, std::uint64_t offset);

}  // namespace platform::host::image
