#include "support/native_folders.h"

#include <array>

#include "platform/windows/scoped_resources.h"

namespace test_support {

namespace {

struct find_handle_policy {
  using type = HANDLE;
  static HANDLE empty() { return INVALID_HANDLE_VALUE; }
  static void close(HANDLE handle) { FindClose(handle); }
};
using find_handle = platform::windows::scoped_handle<find_handle_policy>;

// `folder` has the long-path prefix. A link is removed, never followed.
void remove_prefixed_tree(const std::wstring& folder) {
  WIN32_FIND_DATAW entry = {};
  {
    const find_handle search(FindFirstFileW((folder + L"\\*").c_str(), &entry));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.get(), &entry) != FALSE) {
      const std::wstring name = entry.cFileName;
      if (name == L"." || name == L"..") continue;
      const std::wstring path = folder + L"\\" + name;
      SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      const bool is_folder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
      const bool is_link = (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
      if (!is_folder) {
        DeleteFileW(path.c_str());
      } else if (is_link) {
        RemoveDirectoryW(path.c_str());
      } else {
        remove_prefixed_tree(path);
      }
    }
  }
  RemoveDirectoryW(folder.c_str());
}

}  // namespace

std::wstring temporary_root() {
  std::array<wchar_t, MAX_PATH + 1> buffer = {};
  const DWORD length = GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data());
  std::wstring root(buffer.data(), length);
  while (root.ends_with(L'\\'))
    root.pop_back();
  return root;
}

void remove_tree(const std::wstring& folder) { remove_prefixed_tree(LR"(\\?\)" + folder); }

}  // namespace test_support
