#include "text/paths.h"

#include <algorithm>

namespace paths {

namespace {

constexpr bool is_drive_letter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

std::size_t skip_separators(std::wstring_view path, std::size_t at) {
  while (at < path.size() && is_separator(path[at]))
    ++at;
  return at;
}

std::size_t skip_name(std::wstring_view path, std::size_t at) {
  while (at < path.size() && !is_separator(path[at]))
    ++at;
  return at;
}

// Where the root name ends: behind "C:", behind "\\server", behind "\\?" and its like, 0 for none.
std::size_t root_name_length(std::wstring_view path) {
  if (path.size() >= 2 && is_drive_letter(path[0]) && path[1] == L':') return 2;
  const bool two_separators = path.size() >= 3 && is_separator(path[0]) && is_separator(path[1]);
  if (two_separators && !is_separator(path[2])) return skip_name(path, 2);
  return 0;
}

std::size_t root_length(std::wstring_view path) { return skip_separators(path, root_name_length(path)); }

std::size_t file_name_start(std::wstring_view path) {
  const auto behind_separator = std::find_if(path.rbegin(), path.rend(), is_separator);
  const auto start = static_cast<std::size_t>(path.rend() - behind_separator);
  return std::max(start, root_length(path));
}

std::size_t extension_start(std::wstring_view name) {
  const std::size_t dot = name.rfind(L'.');
  const bool is_parent_folder = dot == 1 && name == L"..";
  return dot == std::wstring_view::npos || dot == 0 || is_parent_folder ? name.size() : dot;
}

}  // namespace

std::wstring_view file_name(std::wstring_view path) { return path.substr(file_name_start(path)); }

std::wstring_view parent(std::wstring_view path) {
  std::size_t end = file_name_start(path);
  const std::size_t lowest = root_length(path);
  while (end > lowest && is_separator(path[end - 1]))
    --end;
  return path.substr(0, end);
}

std::wstring_view extension(std::wstring_view path) {
  const std::wstring_view name = file_name(path);
  return name.substr(extension_start(name));
}

std::wstring_view stem(std::wstring_view path) {
  const std::wstring_view name = file_name(path);
  return name.substr(0, extension_start(name));
}

std::wstring_view root(std::wstring_view path) { return path.substr(0, root_length(path)); }

wchar_t separator_of(std::wstring_view base) {
  const auto last = std::find_if(base.rbegin(), base.rend(), is_separator);
  return last == base.rend() ? L'\\' : *last;
}

std::wstring join(std::wstring_view base, std::wstring_view part) {
  std::wstring joined(base);
  if (!base.empty() && !is_separator(base.back())) joined += separator_of(base);
  joined += part;
  return joined;
}

}  // namespace paths
