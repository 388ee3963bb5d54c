// The row of image resources ("8BIM") in which JPEG and TIFF files carry an IPTC block.
#pragma once

#include <cstdint>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::host::image {

struct photoshop_resource {
  std::uint16_t id = 0;
  std::string_view head;  ///< signature, id and name
  std::string_view value;
  std::string_view bytes;  ///< all of it, with length and padding
};

inline constexpr std::uint16_t photoshop_iptc = 0x0404;
inline constexpr std::uint16_t photoshop_iptc_digest = 0x0425;  ///< MD5 of the IPTC block

/// The resources, as views into `stream`. Nothing where one is cut, or something else stands between or behind them.
[[nodiscard]] std::optional<std::vector<photoshop_resource>> list_photoshop_resources(std::string_view stream);

/// The first resource with this number.
[[nodiscard]] const photoshop_resource* find_resource(const std::vector<photoshop_resource>& resources,
                                                      std::uint16_t id);

/// The stream with another IPTC block in the first resource that holds one, without the others, and with the digest of
/// that where it has one. A digest that doesn't fit makes readers distrust the block.
[[nodiscard]] std::string with_iptc_block(std::string_view stream, std::string_view block);

}  // namespace platform::host::image
