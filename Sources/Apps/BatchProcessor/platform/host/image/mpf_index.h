// The index of a multi-picture JPEG (CIPA DC-007): where the further images stand behind the first one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/host/byte_order.h"
#include "platform/host/byte_source.h"

namespace platform::host::image {

/// The list of images in the index, and where it stands in the index's block.
struct mpf_entries {
  std::uint64_t offset = 0;
  std::string bytes;
  byte_order order = byte_order::little;
};

/// The list in the block behind the signature of an APP2 segment; nothing where there is none that can be read.
[[nodiscard]] std::optional<mpf_entries> read_mpf_entries(const byte_range& block);

/// The list after the first image grew by `growth` bytes, of which `growth_behind` were added behind the index, from
/// whose start the offsets of the other images count. Nothing where a number would leave its range.
[[nodiscard]] std::optional<std::string> moved_mpf_entries(const mpf_entries& entries, std::int64_t growth,
                                                           std::int64_t growth_behind);

}  // namespace platform::host::image
