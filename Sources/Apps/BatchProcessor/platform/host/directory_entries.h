// The entries of a folder.
#pragma once

#include "platform/file_system.h"
#include "platform/host/path_bytes.h"

namespace platform::host {

/// As file_system::enumerate, in the order of readdir. One system call for some hundred entries; one more for each that
/// is a link, and for each on a file system that doesn't tell kinds along with names.
win32_error visit_entries(const path_bytes& folder, const entry_visitor& visit);

}  // namespace platform::host
