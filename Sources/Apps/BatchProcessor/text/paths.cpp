#include "text/paths.h"

#include <algorithm>
#include <vector>

#include "text/letter_case.h"

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

// On a machine without drives "a:b" is a name like any other.
bool stands_on_one_root(std::wstring_view path) { return root_name_length(path) == 0 && root_length(path) > 0; }

using names_view = std::vector<std::wstring_view>;

bool stands_on_share(std::wstring_view path) { return root_name_length(path) > 2; }

// The names behind the root, without "." and without those that a ".." takes back. The name of a share is no folder's:
// nothing takes it back.
names_view names_of(std::wstring_view path) {
  const bool is_rooted = root_length(path) > 0;
  const std::size_t lowest = stands_on_share(path) ? 1 : 0;
  names_view names;
  for (std::size_t at = root_length(path); at < path.size(); at = skip_separators(path, at)) {
    const std::size_t end = skip_name(path, at);
    const std::wstring_view name = path.substr(at, end - at);
    at = end;
    if (name == L".") continue;
    const bool leads_up = name == L"..";
    if (leads_up && names.size() > lowest && names.back() != L"..") {
      names.pop_back();
    } else if (!leads_up || !is_rooted) {  // there is nothing above a root
      names.push_back(name);
    }
  }
  return names;
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

std::wstring_view root_name(std::wstring_view path) { return path.substr(0, root_name_length(path)); }

wchar_t separator_of(std::wstring_view base) {
  const auto last = std::find_if(base.rbegin(), base.rend(), is_separator);
  return last == base.rend() ? L'\\' : *last;
}

std::wstring join(std::wstring_view base, std::wstring_view part) {
  std::wstring joined;
  joined.reserve(base.size() + 1 + part.size());
  joined += base;
  if (!base.empty() && !is_separator(base.back())) joined += separator_of(base);
  joined += part;
  return joined;
}

bool is_absolute_beside(std::wstring_view base, std::wstring_view part) {
  const std::wstring_view name = root_name(part);
  if (name.empty()) return stands_on_one_root(base) && !root(part).empty();
  return name.back() != L':' || root(part).size() > name.size();
}

std::wstring resolve(std::wstring_view base, std::wstring_view part) {
  std::wstring spelled(part);
  std::replace_if(spelled.begin(), spelled.end(), is_separator, separator_of(base));
  if (is_absolute_beside(base, part)) return spelled;
  if (stands_on_one_root(base)) return join(base, spelled);
  const std::wstring_view name = root_name(part);
  if (!name.empty() && !text::equal_ignoring_case(name, root_name(base))) return spelled;
  if (root(part).size() > name.size()) return std::wstring(root_name(base)) + spelled;
  return join(base, std::wstring_view(spelled).substr(name.size()));
}

std::wstring spelled_out(std::wstring_view path) {
  std::wstring spelled(root_name(path));
  std::replace(spelled.begin(), spelled.end(), L'/', L'\\');
  if (root(path).size() > spelled.size()) spelled += L'\\';
  const std::size_t start = spelled.size();
  for (const std::wstring_view name : names_of(path)) {
    if (spelled.size() > start) spelled += L'\\';
    spelled += name;
  }
  if (spelled.size() > start && is_separator(path.back())) spelled += L'\\';
  return spelled;
}

std::wstring relative(std::wstring_view path, std::wstring_view base) {
  const std::wstring_view path_root = root_name(path);
  if (!text::equal_ignoring_case(path_root, root_name(base)) || root(path).empty() != root(base).empty()) return {};
  const names_view from = names_of(base);
  const names_view to = names_of(path);
  const auto same = [case_counts = path_root.empty()](std::wstring_view a, std::wstring_view b) {
    return case_counts ? a == b : text::equal_ignoring_case(a, b);
  };
  // No way leads out of a share: the system takes none of a path's ".." above it.
  if (stands_on_share(path) && (from.empty() || to.empty() || !same(from.front(), to.front()))) return {};
  const auto [base_rest, path_rest] = std::mismatch(from.begin(), from.end(), to.begin(), to.end(), same);
  std::wstring way;
  const auto add = [&way](std::wstring_view name) {
    if (!way.empty()) way += L'\\';
    way += name;
  };
  std::for_each(base_rest, from.end(), [&add](std::wstring_view) { add(L".."); });
  std::for_each(path_rest, to.end(), add);
  return way.empty() ? L"." : way;
}

}  // namespace paths
