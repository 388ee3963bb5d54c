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

/// Room that is opened in a file, which moves what stands behind it without writing it anew.
struct opened_room {
  std::uint64_t offset = 0;     ///< of a block of the file system
  std::uint64_t file_size = 0;  ///< before
  std::string_view content;     ///< whole blocks; empty for no room
};

/// A change in place. The runs' offsets are those once the room is open.
struct in_place_writes {
  opened_room room;
  std::span<const byte_run> runs;
};

/// Opens the room and fills it, writes the new bytes of all runs, and removes the file's mark (change_mark.h). When
/// something fails, puts the old bytes back and closes the room; only if that fails too does the mark stay. To be
/// called again after a kill: the file's size tells whether there is room already. 0, or the errno of the failure;
/// EOPNOTSUPP or EINVAL where the file system can't open room.
[[nodiscard]] int write_in_place(int file, const in_place_writes& change) noexcept;

/// A part of a file whose blocks give way to others, which moves what stands behind it without writing it anew.
struct block_exchange {
  std::uint64_t offset = 0;      ///< of a block of the file system
  std::uint64_t room = 0;        ///< whole blocks, in which the new content is written before the old one goes
  std::uint64_t file_size = 0;   ///< before the exchange
  std::string_view old_content;  ///< whole blocks, or what there is up to the end of the file; at least one byte
  std::string_view new_content;  ///< fills the room, unless it ends the file
  bool needs_sync = false;       ///< the file system doesn't order data and names by itself (mount_order.h)
};

/// The most room, and the most old content, of an exchange.
inline constexpr std::uint64_t largest_exchange = 512 * 1024;

/// Opens the room in front of the old content, fills it, drops the old content in one step, and removes the file's mark
/// (change_mark.h). When something fails, closes the room; only if that fails too does the mark stay. To be called
/// again after a kill: the file's size tells how far it came. 0, or the errno of the failure; EOPNOTSUPP or EINVAL
/// where the file system has no such thing.
[[nodiscard]] int exchange_blocks(int file, const block_exchange& change) noexcept;

/// A rewrite of a file behind its names from a journal, which holds the new content and behind it the old one.
struct journaled_rewrite {
  int file = -1;
  int journal = -1;
  int folder = -1;  ///< holds the journal under `journal_name`
  const char* journal_name = nullptr;
  std::uint64_t new_size = 0;
  std::uint64_t old_size = 0;
};

/// Copies the new content over the file, syncs it, and removes its mark (change_mark.h) and the journal. When that
/// fails, puts the old content back; only if that fails too do mark and journal stay. 0, or the errno of the failure.
[[nodiscard]] int rewrite_from_journal(const journaled_rewrite& rewrite, std::span<char> buffer) noexcept;

}  // namespace platform::host
