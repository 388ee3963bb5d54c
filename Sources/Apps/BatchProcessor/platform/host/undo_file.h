// The third way to change a file: in place, with its old content in an undo file beside it meanwhile. For a file with
// several names, and one whose owner, attributes or flags this user can't give to a new file.
#pragma once

#include <string>

#include "platform/host/file_stamp.h"
#include "platform/result.h"

namespace platform::host {

/// Gives `file` (open for reading and writing, locked; `path` names it) the content of `fresh`, once the undo file and
/// the attribute that names it are on the disk. All or nothing: a failure puts the old content back, and if that fails
/// too, the next open does. disk_full is met before anything is changed, except where the file system writes changed
/// bytes elsewhere. `read_from` is the stamp of the content that the new one was made from: sharing_violation if the
/// file has moved on. Refused where the file can't carry the attribute.
win32_error change_with_undo_file(int file, int fresh, const std::string& path, const file_stamp& read_from);

/// Puts back the content of a file whose change was cut short; or finds that it came to its end. `file` is open for
/// reading and writing, locked; `path` names it, `undo_path` is the value of its attribute. A file that another program
/// changed since is left alone; its old content is then set aside as "<path>.recovered", unless that name is taken.
/// access_denied where the undo file may not be read, or belongs to another user than the file's owner, this one and
/// the superuser.
win32_error recover_from_undo_file(int file, const std::string& path, const std::string& undo_path);

}  // namespace platform::host
