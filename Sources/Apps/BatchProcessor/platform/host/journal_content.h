// What a journal of a rewrite behind names holds: the new content, behind it the old one, and at its end a fixed
// trailer that tells whose they are and their sizes.
#pragma once

#include <cstdint>

#include "platform/result.h"

namespace platform::host {

struct journal_sizes {
  std::uint64_t new_size = 0;
  std::uint64_t old_size = 0;
};

/// Completes a journal, which holds the new content so far, with the old one of `file`, and syncs it.
[[nodiscard]] win32_result<journal_sizes> complete_journal(int journal, int file);

/// What the journal says of the open file: not_found where it isn't a whole one for this file. The number of a file
/// comes back when it is gone, the time of its birth doesn't; a device's number changes with a restart.
[[nodiscard]] win32_result<journal_sizes> read_journal(int journal, int file);

/// Whether the file can be what an interrupted rewrite left. A kill leaves a start of new bytes and a rest of old ones,
/// a loss of power any mixture of disk blocks, and zeros where the file grew. Whatever else it holds was written by
/// someone since.
[[nodiscard]] win32_result<bool> is_torn_or_whole(int file, int journal, const journal_sizes& sizes);

}  // namespace platform::host
