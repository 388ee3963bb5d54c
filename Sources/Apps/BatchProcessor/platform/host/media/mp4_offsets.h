// Where a QuickTime or MPEG-4 file names positions in itself, counted from its start.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/media/mp4_atoms.h"

namespace platform::host::media {

/// Numbers at regular distances, each a position in the file.
struct offset_table {
  std::uint64_t position = 0;  ///< of the first number
  std::uint64_t count = 1;
  std::uint32_t stride = 0;
  std::uint8_t width = 4;
  std::uint64_t base = 0;  ///< to be added to each number
  /// The length of what is there, where the table says so.
  std::uint64_t length = 0;
  /// What is there is the base of further distances, so it moves only if it stands behind the change.
  bool is_base = false;
};

/// A segment index: the distance from its own end to the material that it describes.
struct segment_index {
  atom self;
  std::uint64_t first_offset_position = 0;
  std::uint8_t width = 4;
  std::uint64_t first_offset = 0;
  std::uint64_t length = 0;  ///< of all the material
};

struct offset_map {
  std::vector<offset_table> tables;
  std::vector<segment_index> indexes;
  bool moof_before_moov = false;
  /// False where the file has something that may hold positions too, for all that is known here.
  bool complete = true;
};

/// None where a table contradicts its atom.
[[nodiscard]] std::optional<offset_map> read_offsets(byte_source& source, const std::vector<atom>& file_atoms);

/// Bytes [begin, end) of the file change their place among each other, or go; everything from `end` on moves on by
/// `growth`.
struct displacement {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::uint64_t growth = 0;
};

/// Adds the splices that keep every position pointing at the same bytes, in no order. False where that can't be done
/// or judged: a position within [begin, end), one that would not fit its field, an incomplete map when things move.
[[nodiscard]] bool move_offsets(byte_source& source, const offset_map& map, const displacement& moved, edit_plan& plan);

}  // namespace platform::host::media
