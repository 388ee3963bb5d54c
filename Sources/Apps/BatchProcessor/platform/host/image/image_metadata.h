// Rating and keywords of an image: what stands where in its metadata blocks, as the shell's own handlers keep them.
//
//                      rating                                            keywords
//   XMP                xmp:Rating (stars), MicrosoftPhoto:Rating (percent)   dc:subject, MicrosoftPhoto:LastKeywordXMP
//   Exif, TIFF         0x4746 (stars), 0x4749 (percent)                  0x9C9E
//   IPTC, if any                                                         2:25, MicrosoftPhoto:LastKeywordIPTC
//
// XMP is made where there is none, an Exif block only in JPEG, an IPTC block nowhere.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/host/image/image_container.h"

namespace platform::host::image {

/// The percent value of the property, from XMP, else from Exif; in a block the percent field counts more than the
/// stars, unless the stars in XMP say something else: then another program changed them alone. Stars become 0, 1, 25,
/// 50, 75 or 99, those below 0 ("rejected") 0, those above 5 the property's 500. Nothing where the image has no rating.
[[nodiscard]] std::optional<std::uint32_t> read_rating(const metadata_blocks& blocks);

/// Those of dc:subject in the order stored, and after them those that stand in IPTC or in Exif only; nothing where the
/// image has none.
[[nodiscard]] std::optional<std::vector<std::wstring>> read_keywords(const metadata_blocks& blocks);

/// New values; what is absent stays.
struct image_change {
  std::optional<std::uint32_t> percent;               ///< 0 removes the rating
  std::optional<std::vector<std::wstring>> keywords;  ///< none remove them
};

/// Brings the values into every block that carries them; an empty plan where they are there already. Nothing where the
/// container can't hold them.
[[nodiscard]] std::optional<edit_plan> plan_change(const image_container& container, const image_change& change);

/// XMP fields alone, in place: nothing where the packet has no room for them, or the image no packet.
[[nodiscard]] std::optional<edit_plan> plan_xmp_in_place(const image_container& container,
                                                         std::span<const xmp_change> changes);

}  // namespace platform::host::image
