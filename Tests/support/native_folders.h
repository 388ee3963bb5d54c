// What the tests need of the native machine's folders beyond the seam; each machine has its own implementation.
#pragma once

#include <string>

namespace test_support {

/// The folder for temporary files, without a separator at its end.
[[nodiscard]] std::wstring temporary_root();

/// Removes a folder with everything in it, read-only files and long paths too. What can't be removed stays.
void remove_tree(const std::wstring& folder);

}  // namespace test_support
