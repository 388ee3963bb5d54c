// The first image directory (IFD0) of an Exif block or a TIFF file: reading single fields, and changing them without
// moving anything that exists (TIFF 6.0, Exif 2.32).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/host/byte_order.h"
#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"

namespace platform::host::image {

enum class tiff_tag : std::uint16_t {
  image_width = 256,
  image_height = 257,
  orientation = 274,
  xmp = 700,
  iptc = 33723,
  photoshop = 34377,
  rating = 0x4746,          ///< stars, SHORT
  rating_percent = 0x4749,  ///< SHORT
  keywords = 0x9c9e,        ///< XPKeywords: UTF-16LE with NUL, joined by ";", BYTE
  padding = 0xea1c,         ///< room for changes; its value starts with the bytes 1C EA
  mp_entry = 0xb002,        ///< the images of a multi-picture file
  exif_directory = 0x8769,  ///< where the directory of the next two is
  date_time_original = 0x9003,
  date_time_digitized = 0x9004,
  gps_directory = 0x8825,  ///< where the directory of those below is
  gps_latitude_ref = 1,
  gps_latitude = 2,
  gps_longitude_ref = 3,
  gps_longitude = 4,
};

enum class tiff_type : std::uint16_t {
  byte = 1,
  ascii = 2,
  unsigned_short = 3,
  unsigned_long = 4,
  rational = 5,
  undefined = 7,
  directory = 13
};

struct tiff_entry {
  std::uint16_t tag = 0;
  std::uint16_t type = 0;
  std::uint32_t count = 0;
  std::string value;  ///< the 4 bytes of the value, or of its offset
};

/// IFD0 in its block. Offsets count from the block's start, the byte order mark.
struct tiff_directory {
  byte_order order = byte_order::little;
  std::uint32_t offset = 0;  ///< 0 for a block that has no directory yet
  std::vector<tiff_entry> entries;
  std::uint32_t next = 0;

  [[nodiscard]] const tiff_entry* find(tiff_tag tag) const;
  /// The bytes that the directory takes, its count and link included.
  [[nodiscard]] std::uint64_t size() const { return 2 + 12 * std::uint64_t{entries.size()} + 4; }
};

struct tiff_block {
  byte_range range;
  tiff_directory directory;
};

/// Nothing where there is no classic TIFF header, or where the directory reaches beyond the block. For reading only.
[[nodiscard]] std::optional<tiff_block> read_first_tiff_directory(const byte_range& range);

/// The same, and nothing where the value of a field that we write reaches beyond the block, into its header or into
/// the directory, or where such a field is there twice.
[[nodiscard]] std::optional<tiff_block> read_tiff_block(const byte_range& range);

/// The directory at an offset of the block; nothing where it reaches beyond the block.
[[nodiscard]] std::optional<tiff_directory> read_tiff_directory(const byte_range& range, byte_order order,
                                                                std::uint32_t offset);

/// The bytes of an entry's value, in the block's order; nothing for unknown types and values beyond the block.
[[nodiscard]] std::optional<std::string> tiff_value(const byte_range& range, const tiff_directory& directory,
                                                    const tiff_entry& entry);
[[nodiscard]] inline std::optional<std::string> tiff_value(const tiff_block& block, const tiff_entry& entry) {
  return tiff_value(block.range, block.directory, entry);
}

/// The number in an entry of one BYTE, SHORT or LONG.
[[nodiscard]] std::optional<std::uint32_t> tiff_number(const tiff_block& block, tiff_tag tag);

/// Whether the type is one whose values have a known size.
[[nodiscard]] bool tiff_type_is_known(std::uint16_t type);

/// Where an entry's value stands if that is outside of the entry; nothing otherwise, or for an unknown type.
struct tiff_area {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};
[[nodiscard]] std::optional<tiff_area> tiff_value_area(const tiff_directory& directory, const tiff_entry& entry);

/// A field's new value: nothing removes it, a number is stored as one SHORT, bytes as they are.
struct tiff_change {
  tiff_tag tag{};
  std::variant<std::monostate, std::uint16_t, std::string> value;
};

/// Changes of existing bytes, and bytes to add behind the block.
struct tiff_edit {
  edit_plan patches;  ///< offsets in the block, each keeps its size
  std::string appended;
};

/// What happens to a new field for which the block's own room doesn't suffice.
enum class tiff_growth {
  at_end,          ///< the directory moves to the block's end, with room for the next time
  at_end_in_page,  ///< the same, also where the room would do but the change reaches over several pages of the file
  none,            ///< a new field is left out; where an old one no longer fits, nothing can be done
};

/// A block may be as long as `size_limit`: the room left for the next time shrinks to keep it. Nothing where even that
/// doesn't suffice.
[[nodiscard]] std::optional<tiff_edit> edit_tiff_block(const tiff_block& block, std::span<const tiff_change> changes,
                                                       tiff_growth growth, std::uint64_t size_limit);

/// A little-endian Exif block of these fields alone, of which there is at least one to set.
[[nodiscard]] std::string new_tiff_block(std::span<const tiff_change> changes);

}  // namespace platform::host::image
