// Copying a file.
#pragma once

#include "platform/host/path_bytes.h"

namespace platform::host {

/// Copies content, permissions, extended attributes and last-write time to a name that is free: file_exists where it
/// isn't. The name appears when the copy is complete; a failed one leaves nothing. The copy isn't synced: whoever goes
/// on to delete the source has to do that first.
win32_error copy_to_new_file(const path_bytes& from, const path_bytes& to);

}  // namespace platform::host
