// The "Xtra" atom that Windows keeps its own properties of MPEG-4 files in. Entry after entry: size with itself (32
// bits), length of the name (32), name in ASCII, number of values (32), and for each value its size with this header
// (32), type (16) and data. These numbers are big-endian; a whole number in a value's data is little-endian.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/host/media/rating_format.h"

namespace platform::host::media {

/// What the content of an Xtra atom says of the rating.
struct xtra_rating {
  std::optional<std::uint32_t> percent;
};

/// None where the content can't be decoded to its last byte, or holds a rating that isn't one 64-bit number.
[[nodiscard]] std::optional<xtra_rating> read_xtra(std::string_view content);

/// The content with the rating in the place of the one it had, else behind the other entries; 0 takes it out. For
/// content that read_xtra() can read.
[[nodiscard]] std::string xtra_with_rating(std::string_view content, std::uint32_t percent);

}  // namespace platform::host::media
