// Moving files and directories.
#pragma once

#include "platform/host/path_bytes.h"

namespace platform::host {

/// As file_system::move_file.
win32_error move_to_free_name(const path_bytes& from, const path_bytes& to);

}  // namespace platform::host
