// What an undo file holds: the old content, hashes of the new one, and a fixed trailer that tells whose they are.
#pragma once

#include <cstdint>

#include "platform/result.h"

namespace platform::host {

struct undo_sizes {
  std::uint64_t old_size = 0;
  std::uint64_t new_size = 0;
  std::uint64_t last_block_hash = 0;  ///< of the new bytes in the disk block that the old content ends in, up to there
};

/// Fills an empty undo file for a change of `file` to the content of `fresh`, and syncs it.
[[nodiscard]] win32_result<undo_sizes> fill_undo_file(int undo, int file, int fresh);

/// What the undo file says of the open file: not_found where it isn't a whole one for this file. The number of a file
/// comes back when the file is gone, the time of its birth doesn't; a device's number changes with a restart.
[[nodiscard]] win32_result<undo_sizes> read_undo_file(int undo, int file);

/// What the change left in the file. A kill leaves a start of new bytes and a rest of old ones, a loss of power any
/// mixture of disk blocks, and zeros where the file grew.
enum class change_state : std::uint8_t {
  cut_short,
  finished,
  someone_elses,  ///< it holds something else, which another program wrote since
};
[[nodiscard]] win32_result<change_state> state_of_change(int file, int undo, const undo_sizes& sizes);

}  // namespace platform::host
