// Rewriting a file behind all its names: through a complete copy on disk, the journal, that any later open of the file
// finishes from.
#pragma once

#include <cstdint>
#include <string>

#include "platform/host/sibling_files.h"

namespace platform::host {

/// Gives `file` (open for reading and writing; `path` names it, of `inode`) the content of `staged`, to which the
/// journal's rest is appended. `staged` is unnamed, or has the name `staging_name`.
struct journaled_change {
  int file = -1;
  int staged = -1;
  std::string path;
  ino_t inode = 0;
  std::string staging_name;  ///< empty for an unnamed file
};

/// All or nothing: a failure leaves the old content. disk_full is met before anything is changed, except where the file
/// system writes changed bytes elsewhere, which puts the old content back.
win32_error rewrite_through_journal(const journaled_change& change);

/// Finishes an interrupted rewrite of the file, if its journal is there; waits a moment for another process that is at
/// it, then sharing_violation. A file that was changed since is left alone; the journal's content is then set aside
/// as "<path>.recovered", unless that name is taken.
win32_error finish_from_journal(const std::string& path, ino_t inode);

}  // namespace platform::host
