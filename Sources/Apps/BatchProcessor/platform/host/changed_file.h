// An existing file that is read and changed through a handle.
#pragma once

#include <memory>

#include "platform/file_system.h"
#include "platform/host/path_bytes.h"

namespace platform::host {

/// Opens for writing, or for reading and writing. Every write and every new end is a change of its own, all or nothing
/// (file_rewrite.h); its bytes are in memory as a whole, so an end far beyond the content is not for it. A change is a
/// sharing_violation where the file was changed since the handle was opened, or somebody has it open for writing.
/// access_denied for what is no regular file, and for a file with the read-only attribute. Sharing is that of
/// open_regular (opening.h).
[[nodiscard]] win32_result<std::unique_ptr<file>> open_changed_file(const path_bytes& path,
                                                                    const open_request& request);

}  // namespace platform::host
