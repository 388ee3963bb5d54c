// The white space of an XMP packet: it takes up what an edit gains or loses, so that the bytes after it keep their
// places, and it is laid out so that the next edits find some in the same page of the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/image/xmp_packet.h"

namespace platform::host::image {

/// `text` takes the place of a range of the packet.
struct text_edit {
  text_range range;
  std::string text;
  std::size_t spacing = 0;  ///< where white space may be added or taken away, at or after the end of the range
  bool in_tag = false;      ///< between the attributes of a tag, of which two need white space between them
};

/// The edits, in ascending order, each widened by the white space that makes it keep its size; some are joined. None
/// where the packet doesn't have enough.
[[nodiscard]] std::optional<std::vector<text_edit>> spaced_out(const xmp_packet& packet,
                                                               const std::vector<text_edit>& edits);

/// Where a packet will stand, and what it may take there.
struct packet_place {
  std::uint64_t offset = 0;       ///< in the file
  std::int64_t other_growth = 0;  ///< of the file beside the packet
  std::size_t old_size = 0;       ///< 0 for a new packet
  std::size_t size_limit = 0;
};

/// The packet with its white space laid out anew: the description that holds rating and keywords lies in one page of
/// the file, with spare white space, and the file grows by whole blocks. None where that would exceed the limit, and
/// for a packet without such a description.
[[nodiscard]] std::optional<std::string> laid_out(const xmp_packet& packet, const packet_place& place);

/// White space of that size, in lines.
[[nodiscard]] std::string padding_of(std::size_t size);

}  // namespace platform::host::image
