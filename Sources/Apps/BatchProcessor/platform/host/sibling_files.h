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

/// Holds a new content on its way to the name `path`; worth nothing to anyone but the process that has it locked. The
/// name tells it, whatever file has that by now.
[[nodiscard]] std::string staging_path(const std::string& path);

/// Holds a complete journal of a rewrite behind the names of `inode` (rewrite_journal.h).
[[nodiscard]] std::string journal_path(const std::string& path, ino_t inode);

/// Removes a staging file unless a living process has it locked: sharing_violation then.
win32_error remove_stale_staging(const std::string& path);

/// Gives the name `path` to the open file, which may be one without a name. 0, or an errno, EEXIST among them.
[[nodiscard]] int link_open_file(int descriptor, const std::string& path);

/// The folder that holds `path`; none, and errno, where it can't be opened.
[[nodiscard]] unique_descriptor open_folder_of(const std::string& path);

/// Brings the names in an open folder to the disk. 0 or an errno.
[[nodiscard]] int sync_folder(int folder);

}  // namespace platform::host
