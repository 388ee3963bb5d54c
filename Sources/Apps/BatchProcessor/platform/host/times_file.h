// A handle that sets times and nothing else.
#pragma once

#include <memory>

#include "platform/file_system.h"
#include "platform/host/path_bytes.h"

namespace platform::host {

/// For access::write_attributes alone. Nothing is opened: what is wrong with the path is met when a time is set, so
/// that a run over many files takes one system call for each.
[[nodiscard]] win32_result<std::unique_ptr<file>> open_for_times(const path_bytes& path);

}  // namespace platform::host
