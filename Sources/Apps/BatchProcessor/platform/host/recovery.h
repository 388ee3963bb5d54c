// Finishing what a kill or a loss of power left of a change: the one thing to be done with a file before its bytes are
// used.
#pragma once

#include <string>

#include "platform/result.h"

namespace platform::host {

/// Puts back the content of an open file whose change was cut short, or finds that the change came to its end; true
/// where there was something to do. One system call for every other file. `path` names the file. A process of ours that
/// is at the file is waited for, some two seconds: then sharing_violation. From then on `file` has the lock
/// (file_lock.h), which it may have had before.
win32_result<bool> recover(int file, const std::string& path);

/// The same for a caller that only reads: where this user may not change the file, it is read as it is.
win32_error recover_for_reading(int file, const std::string& path);

}  // namespace platform::host
