// What file systems promise of a rename.
#pragma once

#include <sys/types.h>

#include <string_view>

namespace platform::host {

/// Whether the device's file system writes a file's data before a rename that puts it over another file, or loses both
/// together, so that no sync is needed in between. One look at the mounts for each device and process.
[[nodiscard]] bool orders_data_before_rename(dev_t device);

/// The same from the text of /proc/self/mountinfo. False for a device that isn't in it.
[[nodiscard]] bool orders_data_before_rename(std::string_view mounts, dev_t device);

}  // namespace platform::host
