// The hidden files beside a file that is being rewritten: their names, and getting rid of what a kill left.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "platform/host/unique_descriptor.h"
#include "platform/result.h"

namespace platform::host {

/// A path whose last part is no symbolic link, with what is there.
struct resolved_path {
  std::string path;
  std::optional<struct stat> status;  ///< none where nothing is
};

/// Follows symbolic links in the last part of a path, also to a target that isn't there.
[[nodiscard]] win32_result<resolved_path> resolve_links(const std::string& path);

/// How many names there are for each kind of hidden file: where something else has one, the next is taken.
inline constexpr int most_sibling_names = 8;

/// A name beside `path`.
[[nodiscard]] std::string sibling_of(std::string_view path, std::string_view name);

/// Whether the last part of a path is a symbolic link. What this program writes for itself beside a file goes through
/// none: another user of the folder may have put it there.
[[nodiscard]] bool is_link(const std::string& path);

/// Holds a new content on its way to the name `path`; worth nothing to anyone but the process that has it locked. The
/// name tells it, whatever file has that by now.
[[nodiscard]] std::string staging_path(std::string_view path, int attempt = 0);

/// Holds the old content of the file with that number (undo_file.h). All names of a file's start with the first one.
[[nodiscard]] std::string undo_file_path(std::string_view path, ino_t inode, int attempt = 0);

/// Removes what a killed run of this user left under such a name: sharing_violation while a living one has it, or may
/// have it. Whatever else has the name stays.
win32_error remove_leftover(const std::string& path);

/// Removes the new contents that killed runs left anywhere in the folder of `path`. Once for each folder and process.
void remove_staging_leftovers_beside(const std::string& path);

/// Gives the name `path` to the open file, which may be one without a name. 0, or an errno, EEXIST among them.
[[nodiscard]] int link_open_file(int descriptor, const std::string& path);

/// The folder that holds `path`; none, and errno, where it can't be opened.
[[nodiscard]] unique_descriptor open_folder_of(const std::string& path);

/// Brings the names in an open folder to the disk. 0 or an errno.
[[nodiscard]] int sync_folder(int folder);

}  // namespace platform::host
