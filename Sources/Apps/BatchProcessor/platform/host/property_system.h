// The property system of the host: a table of handlers by file type, and property sets in extended attributes.
#pragma once

#include "platform/property_system.h"

namespace platform::host {

/// Its handlers fail with class_not_registered for a type that has none, whatever else might be wrong with the file,
/// but for one that isn't there: file_not_found, path_not_found.
[[nodiscard]] platform::property_system& property_system_instance();

}  // namespace platform::host
