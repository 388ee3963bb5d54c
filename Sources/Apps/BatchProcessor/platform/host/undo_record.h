// What an undo record says of a patch: the old bytes that it changes, and what tells the new ones.
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

/// Bytes of a piece that differ.
struct recorded_run {
  std::uint64_t offset = 0;
  std::string_view old_bytes;
  std::string_view tell;  ///< the new bytes, or where they are more than 8 their hash
};

struct undo_record {
  std::uint64_t file_size = 0;
  std::vector<recorded_run> runs;
};

/// A byte 1, the size of the file, then for each run its distance from the end of the one before, its size, its old
/// bytes, and what tells the new ones. Numbers are little-endian base 128 (LEB128). So the record of a rating fits into
/// the inode of most files.
[[nodiscard]] std::string undo_record_of(const patch& change, std::uint64_t file_size);

/// Views of the text. None for what is no record, and for runs beyond the end of the file.
[[nodiscard]] std::optional<undo_record> parse_undo_record(std::string_view text);

/// How far the patch of a record came, by the bytes that stand in the place of each run.
enum class patch_progress : std::uint8_t {
  cut_short,
  finished,
  someone_elses,  ///< neither the old bytes nor the new ones: another program wrote there since
};
[[nodiscard]] patch_progress progress_of(const undo_record& record, const std::vector<std::string>& bytes_now);

}  // namespace platform::host
