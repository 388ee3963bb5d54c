// Rewriting a file behind all its names: through a complete copy on disk, the journal, that any later open of the file,
// by any of its names, finishes from.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/host/change_mark.h"
#include "platform/host/file_stamp.h"

namespace platform::host {

/// Gives `file` (open for reading and writing; `path` names it) the content of `staged`, to which the journal's rest is
/// appended. `staged` is unnamed, or has the name `staging_name`.
struct journaled_change {
  int file = -1;
  int staged = -1;
  std::string path;
  file_stamp before;         ///< of the content that the new one was made from
  std::string staging_name;  ///< empty for an unnamed file
};

/// All or nothing: a failure leaves the old content and no journal. disk_full is met before anything is changed, except
/// where the file system writes changed bytes elsewhere: then the old content is put back. If that fails too, the next
/// open makes the change. Refused where the file can't be marked.
win32_error rewrite_through_journal(const journaled_change& change);

/// Finishes the rewrite that the file is marked with; waits a moment for another process that is at it, then
/// sharing_violation. `path` names the file itself, `status` is what it looked like. access_denied where the journal
/// may not be read, or is another user's than the file's owner's, this one's and the superuser's. A file that was
/// changed since is left alone; the journal's content is then set aside as "<path>.recovered", unless that name is
/// taken.
win32_error finish_from_journal(const std::string& path, const struct stat& status);

}  // namespace platform::host
