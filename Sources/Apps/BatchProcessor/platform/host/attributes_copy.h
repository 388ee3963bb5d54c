// Extended attributes from one file to another.
#pragma once

#include <string>

namespace platform::host {

/// Copies all extended attributes of the file at `from`, access lists among them, to the open file. Those that only the
/// system itself may set are left as the system set them. 0, or the errno of the first failure.
[[nodiscard]] int copy_attributes(const std::string& from, int to);

}  // namespace platform::host
