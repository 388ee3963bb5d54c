// What an undo record says of a patch: the old bytes of its pieces, and what tells the new ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::host {

/// The kernel writes what lies within one such page of a file as a whole, whatever kills the writer.
inline constexpr std::uint64_t page_size = 4096;

/// Bytes that change in place, at least one, all within one page of the file.
struct patch_piece {
  std::uint64_t offset = 0;
  std::string old_bytes;
  std::string new_bytes;  ///< as many
};

/// In ascending order, one for each page.
using patch = std::vector<patch_piece>;

struct recorded_piece {
  std::uint64_t offset = 0;
  std::uint64_t new_hash = 0;
  std::string_view old_bytes;
};

struct undo_record {
  std::uint64_t file_size = 0;
  std::vector<recorded_piece> pieces;
};

/// A byte 1, the size of the file, then for each piece its offset, the hash of its new bytes, its size, and its old
/// bytes. Numbers are little-endian, of 8 bytes, a piece's size of 2.
[[nodiscard]] std::string undo_record_of(const patch& change, std::uint64_t file_size);

/// Views of the text. None for what is no record, and for pieces beyond the end of the file.
[[nodiscard]] std::optional<undo_record> parse_undo_record(std::string_view text);

/// How far the patch of a record came, by the bytes that stand in the place of each piece.
enum class patch_progress : std::uint8_t {
  cut_short,
  finished,
  someone_elses,  ///< neither the old bytes nor the new ones: another program wrote there since
};
[[nodiscard]] patch_progress progress_of(const undo_record& record, const std::vector<std::string>& bytes_now);

}  // namespace platform::host
