#pragma once

#include <string>
#include <vector>

namespace quill_box::batch_processor {

/// The whole program, on the machine that is installed. `arguments` starts with the program's path. Returns the
/// process's exit code. A log directory that can't be made leaves it as a files::filesystem_error, which nothing
/// catches.
int run(const std::vector<std::wstring>& arguments);

}  // namespace quill_box::batch_processor
