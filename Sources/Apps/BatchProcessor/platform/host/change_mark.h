// What stands on a file while it is changed in place, so that a change that was cut short can be taken back.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/host/guarded_writes.h"
#include "platform/result.h"

namespace platform::host {

/// The extended attribute of a file whose change has begun: the absolute path of a journal (rewrite_journal.h), or a
/// change mark, which starts as no path does.
inline constexpr const char* rewrite_mark = "user.quill_box.rewrite";

/// As long as an attribute may be. Few file systems hold so much; a change whose mark is refused is made another way.
inline constexpr std::size_t longest_change_mark = 60'000;

/// The mark of a change made by write_in_place. A byte 1; the room's offset and size and the size of the file before;
/// then for each piece of a run that lies within one page its offset, its size, a hash of its new bytes, and its old
/// bytes. Numbers have 8 bytes, little-endian. None where that is too long, and for room without a run, which nothing
/// would tell from room that isn't filled yet.
[[nodiscard]] std::optional<std::string> change_mark_of(const in_place_writes& change);

/// The mark of a change made by exchange_blocks: a byte 2 and five such numbers: the offset and size of the room, the
/// size of the old content, that of the file, and a hash of the old content's first 4,096 bytes.
[[nodiscard]] std::string change_mark_of(const block_exchange& change);

[[nodiscard]] bool is_change_mark(std::string_view value);

/// What the file is marked with: not_found without a mark, and where this user may not know of it.
[[nodiscard]] win32_result<std::string> rewrite_mark_of(int file);
/// The same of what the path itself names.
[[nodiscard]] win32_result<std::string> rewrite_mark_of(const std::string& path);

/// Takes back the change that the open file is marked with, unless it came to its end, and removes the mark. A file
/// that was changed by someone since only loses its mark. Where the change can't be taken back now, the mark stays.
/// `path` names the file. Waits a moment for a process of ours that is at the file, then sharing_violation; from then
/// on `file` has the lock (opening.h), which it may have had before.
win32_error settle_change(int file, const std::string& path);
/// The same for a file that isn't open.
win32_error settle_change(const std::string& path);

}  // namespace platform::host
