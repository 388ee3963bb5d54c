// Reading and writing at places of an open file, whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace platform::host {

/// How many bytes were read: fewer than asked for at the end of the file, and on a failure, which errno then tells.
[[nodiscard]] std::size_t read_at(int file, std::uint64_t offset, std::span<char> bytes);

/// Writes all bytes. 0 or an errno.
[[nodiscard]] int write_at(int file, std::uint64_t offset, std::string_view bytes);

/// Copies `size` bytes within the kernel where it can, which shares them on file systems that know how. 0 or an errno;
/// EIO where `from` ends too soon.
[[nodiscard]] int copy_bytes(int from, std::uint64_t from_offset, int to, std::uint64_t to_offset, std::uint64_t size);

}  // namespace platform::host
