// Moving a file or a link from one file system to another.
#pragma once

#include <string>

#include "platform/errors.h"

namespace platform::host {

/// Moves what `from` names. `source` has it open for reading, locked, with no rewrite of it cut short; -1 for a link.
///
/// Owner as far as this user may give it, permissions, extended attributes, access lists and times come along. What the
/// other file system can't hold of the user's attributes refuses the move (not_supported), so that nothing is lost in
/// passing. The copy gets the name when it is complete, on the disk and read back; only then does the old file go. A
/// kill leaves at worst the whole file under both names. A failure leaves the old file only, also when it is the old
/// file that can't be removed. sharing_violation when it was changed meanwhile or is open for writing, already_exists
/// where `to` is taken, access_denied for a directory, a device, or a file that may not be read.
win32_error move_to_other_volume(int source, const std::string& from, const std::string& to);

}  // namespace platform::host
