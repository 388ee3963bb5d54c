// A file whose whole content is written anew: the old content stays until the new one is complete.
#pragma once

#include <memory>

#include "platform/file_system.h"
#include "platform/host/path_bytes.h"

namespace platform::host {

/// Opens for create_always or rewrite_existing. An existing file is opened by open_to_change; create_always
/// refuses a symbolic link (cant_resolve_filename). The content takes
/// the name when the file is closed or destroyed, unless a write failed, which close() then tells once more. What
/// rewrite_existing wrote takes the name only after set_end(). An exception under way drops the content.
[[nodiscard]] win32_result<std::unique_ptr<file>> open_staged(const path_bytes& path, const open_request& request);

}  // namespace platform::host
