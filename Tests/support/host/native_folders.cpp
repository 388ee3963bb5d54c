#include "support/native_folders.h"

#include <filesystem>
#include <system_error>

namespace test_support {

std::wstring temporary_root() { return std::filesystem::temp_directory_path().wstring(); }

void remove_tree(const std::wstring& folder) {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace test_support
