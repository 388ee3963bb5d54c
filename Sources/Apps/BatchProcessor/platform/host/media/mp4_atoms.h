// The atoms (boxes) of QuickTime and MPEG-4 files (ISO/IEC 14496-12): size, type, content; big-endian throughout.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/byte_source.h"

namespace platform::host::media {

struct atom {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;  ///< with its header
  std::uint32_t type = 0;
  std::uint8_t header = 8;   ///< 16 where the size has 64 bits
  bool to_file_end = false;  ///< its stored size is 0: it reaches to the end of the file

  [[nodiscard]] std::uint64_t content() const { return offset + header; }
  [[nodiscard]] std::uint64_t content_size() const { return size - header; }
  [[nodiscard]] std::uint64_t end() const { return offset + size; }
};

[[nodiscard]] constexpr std::uint32_t atom_type(const char (&name)[5]) {
  std::uint32_t type = 0;
  for (int i = 0; i < 4; ++i)
    type = type << 8 | static_cast<unsigned char>(name[i]);
  return type;
}

/// A header of 8 bytes and the content. The whole must stay below 4 GiB.
[[nodiscard]] std::string atom_bytes(std::uint32_t type, std::string_view content);

/// The atoms of the file. None where they don't fill it to its last byte.
[[nodiscard]] std::optional<std::vector<atom>> list_file_atoms(byte_source& source);

/// The atoms within [begin, end) of the file; `end` must not lie beyond it. None where they don't fill the range,
/// except for up to 7 zero bytes behind the last: some writers end a user data atom with a zero of 32 bits.
[[nodiscard]] std::optional<std::vector<atom>> list_atoms(byte_source& source, std::uint64_t begin, std::uint64_t end);

/// The atoms within another.
[[nodiscard]] inline std::optional<std::vector<atom>> list_children(byte_source& source, const atom& parent) {
  return list_atoms(source, parent.content(), parent.end());
}

/// The first atom of a type; null without one.
[[nodiscard]] const atom* find_atom(const std::vector<atom>& atoms, std::uint32_t type);
[[nodiscard]] std::size_t count_atoms(const std::vector<atom>& atoms, std::uint32_t type);

}  // namespace platform::host::media
