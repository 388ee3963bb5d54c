// Room in the middle of a file, which some file systems can open up and close without moving the bytes behind it.
#pragma once

#include <cstdint>

namespace platform::host {

/// The size of the blocks that room consists of, on a file system that can open it up; 0 for all others.
[[nodiscard]] std::uint64_t room_block_size(int file);

/// Whether the file's disk has space for so many bytes, with some to spare for the file system's own.
[[nodiscard]] bool has_space(int file, std::uint64_t size);

}  // namespace platform::host
