// Renaming that never replaces anything.
#pragma once

#include <string>

namespace platform::host {

/// Gives what `from` names, a link itself or a directory too, the name `to` unless that is taken: EEXIST. 0 or an
/// errno, EXDEV between file systems. One system call where the file system knows of such a rename. Elsewhere a file
/// has both names for a moment; where no file has two names, and for a directory, an empty one keeps the name for it
/// meanwhile. A kill in that moment leaves it so; the file is whole under its old name.
[[nodiscard]] int rename_to_free_name(const std::string& from, const std::string& to);
[[nodiscard]] int rename_to_free_name(const char* from, const char* to);

}  // namespace platform::host
