#include "platform/windows/long_paths.h"

#include <string_view>

#include "text/paths.h"

namespace platform::windows {

std::wstring file_call_path(const std::wstring& path) {
  const std::wstring_view root_name = paths::root_name(path);
  const bool is_absolute = paths::root(path).size() > root_name.size() && !root_name.empty();
  const bool has_prefix = root_name.size() == 3 && (root_name.back() == L'?' || root_name.back() == L'.');
  if (!is_absolute || has_prefix) return path;
  const bool is_share = root_name.back() != L':';
  const std::wstring spelled = paths::spelled_out(path);
  return is_share ? LR"(\\?\UNC)" + spelled.substr(1) : LR"(\\?\)" + spelled;
}

std::wstring long_call_path(const std::wstring& path) {
  return path.size() < prefixed_path_length ? path : file_call_path(path);
}

}  // namespace platform::windows
