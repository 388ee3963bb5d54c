// The first way to change a file: pieces of it are written over, in place.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/host/byte_source.h"
#include "platform/host/edit_plan.h"
#include "platform/host/undo_record.h"
#include "platform/result.h"

namespace platform::host {

/// The pieces that a plan changes. None where it is no patch: it moves bytes, or splices that only make sense together
/// differ in several pages. `source` is the file's content; a failure to read it counts as no patch.
[[nodiscard]] std::optional<patch> patch_from(byte_source& source, const edit_plan& plan);

/// Writes the pieces into the open file. Several carry an undo record in an attribute of the file meanwhile. A failure
/// puts the old bytes back; only if that fails too does the record stay, and the next open puts them back. False, with
/// nothing written, where the file can't carry the record.
win32_result<bool> write_patch(int file, const patch& change, std::uint64_t file_size);

}  // namespace platform::host
