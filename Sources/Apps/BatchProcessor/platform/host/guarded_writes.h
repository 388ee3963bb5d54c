// The writes that the write guard makes. They run in a process that was forked off a thread other than the main one:
// nothing here allocates, locks or throws, all memory is given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace platform::host {

/// Bytes that change in place; both views have the same size.
struct byte_run {
  std::uint64_t offset = 0;
  std::string_view old_bytes;
  std::string_view new_bytes;
};

/// Writes the new bytes of all runs. When one fails, puts the old bytes back. 0, or the errno of the failure.
[[nodiscard]] int write_runs(int file, std::span<const byte_run> runs) noexcept;

/// Room that is opened in the middle of a file, which moves what stands behind it without writing it anew, and what is
/// then written from there on.
struct growth {
  std::uint64_t offset = 0;    ///< like `size`, a multiple of the file system's blocks
  std::uint64_t size = 0;      ///< of the room
  std::uint64_t old_size = 0;  ///< of the file
  std::string_view old_bytes;  ///< from `offset` on; at least one
  std::string_view new_bytes;  ///< in their place: as many more as there is room
};

/// Opens the room and writes the new bytes; when a write fails, puts the old ones back and closes the room. To be
/// called again after a kill: the file's size tells whether there is room already. 0, or the errno of the failure;
/// EOPNOTSUPP or EINVAL, with the file untouched, where the file system has no such thing.
[[nodiscard]] int grow(int file, const growth& change) noexcept;

/// A rewrite of a file behind its names from a journal, which holds the new content and behind it the old one.
struct journaled_rewrite {
  int file = -1;
  int journal = -1;
  int folder = -1;  ///< holds the journal under `journal_name`
  const char* journal_name = nullptr;
  std::uint64_t new_size = 0;
  std::uint64_t old_size = 0;
};

/// Copies the new content over the file, syncs it, and removes its mark (rewrite_journal.h) and the journal. When that
/// fails, puts the old content back; only if that fails too do mark and journal stay. 0, or the errno of the failure.
[[nodiscard]] int rewrite_from_journal(const journaled_rewrite& rewrite, std::span<char> buffer) noexcept;

}  // namespace platform::host
