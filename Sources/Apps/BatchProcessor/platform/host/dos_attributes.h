// The extended attribute that holds the Windows attribute bits of a file, as other programs keep it too.
//
// Three forms are in use. Plain text: "0x6". A record: a text that may be empty and ends in a NUL, then, each aligned
// to its size, a 16-bit version, the version again, 32 bits of flags (bit 0: the attribute bits are valid), the 32
// attribute bits and the times and sizes of the version; all little-endian. A record with the text holds the bits
// twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform::host {

inline constexpr const char* dos_attributes_name = "user.DOSATTRIB";

/// More than any form needs; what is longer is none of them.
inline constexpr std::size_t dos_attributes_capacity = 256;

/// The attribute bits of a stored value; 0 for one that can't be read.
[[nodiscard]] std::uint32_t dos_attributes_from(std::string_view value);

/// The value that takes the place of `old`, with the hidden, system and archive bits from `attributes` and all other
/// bits as they are. None when nothing is left to be stored. The text never gets the read-only bit, which is the
/// file's mode; a record keeps its form and its read-only bit in step with the mode.
[[nodiscard]] std::optional<std::string> updated_dos_attributes(std::string_view old, std::uint32_t attributes);

}  // namespace platform::host
