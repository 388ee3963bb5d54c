// Where two contents of the same size differ.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/host/guarded_writes.h"

namespace platform::host {

/// Appends the runs of bytes that differ between the contents of a range of a file that starts at `offset`. Equal bytes
/// are left out, save short stretches between two differences, which cost less to write than one more call. The runs
/// are views into the two contents.
void append_byte_runs(std::vector<byte_run>& runs, std::uint64_t offset, std::string_view old_bytes,
                      std::string_view new_bytes);

}  // namespace platform::host
