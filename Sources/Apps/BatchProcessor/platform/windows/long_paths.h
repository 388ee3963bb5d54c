// Paths as the file calls take them.
#pragma once

#include <cstddef>
#include <string>

namespace platform::windows {

/// From this many units on, some call refuses a path without the prefix: a directory's name must leave room for
/// a short file name.
inline constexpr std::size_t prefixed_path_length = 248;

/// The path with the prefix "\\?\" (for a share "\\?\UNC\") where it is absolute and long. The system takes what
/// follows the prefix to the letter, so the path is first spelled out: backslashes only, no "." and "..", no empty
/// parts. Any other path comes back as it is.
[[nodiscard]] std::wstring file_call_path(const std::wstring& path);

}  // namespace platform::windows
