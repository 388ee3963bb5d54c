#include "platform/windows/long_paths.h"

#include <algorithm>
#include <string_view>

#include "platform/windows/windows_headers.h"

namespace platform::windows {

namespace {

constexpr std::wstring_view prefix = LR"(\\?\)";
constexpr std::wstring_view share_prefix = LR"(\\?\UNC\)";
constexpr std::wstring_view device_prefix = LR"(\\.\)";
constexpr std::wstring_view share_start = LR"(\\)";

bool is_drive_letter(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); }

bool starts_at_drive_root(std::wstring_view path) {
  return path.size() >= 3 && is_drive_letter(path[0]) && path[1] == L':' && path[2] == L'\\';
}

// As the call itself reads a path without the prefix; the path unchanged where the system can't say.
std::wstring spelled_out(const std::wstring& path) {
  const DWORD capacity = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring full(capacity, L'\0');
  const DWORD length = GetFullPathNameW(path.c_str(), capacity, full.data(), nullptr);
  if (length == 0 || length >= capacity) return path;
  full.resize(length);
  return full;
}

}  // namespace

std::wstring file_call_path(const std::wstring& path) {
  if (path.size() < prefixed_path_length) return path;
  std::wstring backslashed = path;
  std::replace(backslashed.begin(), backslashed.end(), L'/', L'\\');
  if (backslashed.starts_with(prefix) || backslashed.starts_with(device_prefix)) return path;

  if (starts_at_drive_root(backslashed)) return std::wstring(prefix).append(spelled_out(backslashed));
  if (backslashed.starts_with(share_start)) {
    return std::wstring(share_prefix).append(spelled_out(backslashed), share_start.size());
  }
  return path;
}

}  // namespace platform::windows
