// People regions as XMP text. Each set is written twice over in one block, in the region schema of Microsoft Photo 1.2
// and in that of the Metadata Working Group (Guidelines for Handling Image Metadata 2.0); only the first is read. There
// is no XML parser here: blocks are found and cut by fixed byte strings.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "metadata/people_region.h"
#include "platform/imaging.h"

namespace quill_box::metadata {

/// The rdf:Description of the named ones of `regions`, with the marker that it is ours; lines end in LF. `size` is the
/// image's; a side of zero is unknown, and the block then says nothing of the size. An empty set has empty lists.
[[nodiscard]] std::string build_region_block(std::span<const people_region> regions, platform::image_size size);

/// A whole packet with this block alone.
[[nodiscard]] std::string build_region_packet(std::span<const people_region> regions, platform::image_size size);

/// The text without our blocks, and without the region elements of the two schemas, whoever wrote them. Half an
/// element ends the removal of its kind.
[[nodiscard]] std::string strip_region_blocks(std::string text);

/// The text with our block as the last of its properties, in place of all region blocks that it has; a packet of its
/// own where nothing has an end to stand in front of.
[[nodiscard]] std::string with_region_block(std::string text, std::span<const people_region> regions,
                                            platform::image_size size);

/// Appends each region of the first Microsoft block in `text`, which may be any bytes. What isn't found in a region
/// stays empty or zero, as does a number that isn't one. False when there is no region.
[[nodiscard]] bool parse_region_info(std::string_view text, std::vector<people_region>& out);

/// The unescaped value of a property such as "MPReg:Rectangle", whether it stands as an element or as an attribute.
[[nodiscard]] bool read_xmp_value(std::string_view text, std::string_view property, std::string& out);

/// A number between 0 and 1, into which any other is brought, with six decimals and a point in every locale.
[[nodiscard]] std::string fraction_text(double value);

}  // namespace quill_box::metadata
