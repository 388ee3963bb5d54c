// Paths as the calls on files take them.
#pragma once

#include <cstddef>
#include <string>

namespace platform::windows {

/// From this many units on, some call refuses a path without the prefix: a directory's name must leave room for
/// a short file name.
inline constexpr std::size_t prefixed_path_length = 248;

/// An absolute path with the prefix "\\?\" (on a share "\\?\UNC\"), for the file calls. They take what follows it to
/// the letter: a path may be long, a name may end in a dot or a blank and be that of a device. So the path is first
/// spelled out. Any other path comes back as it is.
[[nodiscard]] std::wstring file_call_path(const std::wstring& path);

/// As file_call_path for a long path; a shorter one comes back as it is. For the facilities above the file calls, which
/// know the plain spelling best.
[[nodiscard]] std::wstring long_call_path(const std::wstring& path);

}  // namespace platform::windows
