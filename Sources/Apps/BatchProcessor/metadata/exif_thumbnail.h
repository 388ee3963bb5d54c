// The preview that a JPEG's Exif block may hold in a second image directory. After a change it can show something else
// than the image, so the link to that directory is cut; the preview's bytes stay.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quill_box::metadata {

/// The Exif block is looked for in this much of a file (256 KiB).
inline constexpr std::size_t thumbnail_search_size = 0x40000;

/// The offset of the 32-bit link, which isn't zero, in a JPEG's first bytes; none when there is nothing to cut.
[[nodiscard]] std::optional<std::size_t> thumbnail_link_offset(std::string_view bytes);

/// Sets the link of a JPEG to zero in place. False when there was nothing to cut or the file couldn't be changed;
/// raises nothing.
bool drop_embedded_exif_thumbnail(const std::wstring& path);

}  // namespace quill_box::metadata
