// What ships with the program.
#pragma once

#include <string>

namespace files {

/// The folder "Content" beside the executable. When the system can't name that, the path is relative.
[[nodiscard]] std::wstring content_folder();

}  // namespace files
