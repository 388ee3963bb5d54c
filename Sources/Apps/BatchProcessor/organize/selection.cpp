#include "organize/selection.h"

#include <algorithm>
#include <array>
#include <utility>

#include "organize/undo_journal.h"
#include "platform/machine.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace quill_box::organize {

namespace {

constexpr std::wstring_view other = L"Other";
constexpr std::array<std::wstring_view, 3> skipped_names = {L"desktop.ini", L"thumbs.db", journal_name};
constexpr std::array<std::wstring_view, 2> skipped_endings = {L".lnk", L".url"};
// The folder icons that this program leaves in folders.
constexpr std::wstring_view icon_beginning = L"qb_folder_";
constexpr std::wstring_view icon_ending = L".ico";

bool ends_with_ignoring_case(std::wstring_view text, std::wstring_view end) {
  return text.size() >= end.size() && text::equal_ignoring_case(text.substr(text.size() - end.size()), end);
}

bool starts_with_ignoring_case(std::wstring_view text, std::wstring_view start) {
  return text.size() >= start.size() && text::equal_ignoring_case(text.substr(0, start.size()), start);
}

std::wstring map_key(std::wstring_view extension) {
  std::wstring key = text::to_lower(extension);
  if (key.starts_with(L'.')) key.erase(0, 1);
  return key;
}

}  // namespace

bool is_always_skipped(std::wstring_view file_name) {
  return std::any_of(skipped_names.begin(), skipped_names.end(),
                     [file_name](std::wstring_view name) { return text::equal_ignoring_case(file_name, name); }) ||
         std::any_of(skipped_endings.begin(), skipped_endings.end(),
                     [file_name](std::wstring_view end) { return ends_with_ignoring_case(file_name, end); }) ||
         (starts_with_ignoring_case(file_name, icon_beginning) && ends_with_ignoring_case(file_name, icon_ending));
}

bool is_excluded(std::wstring_view file_name, std::span<const std::wstring> patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [file_name](std::wstring_view pattern) {
    if (pattern.starts_with(L"*.")) return ends_with_ignoring_case(file_name, pattern.substr(1));
    return text::equal_ignoring_case(file_name, pattern);
  });
}

bool is_photo_file(std::wstring_view path) {
  static const extension_map photo_extensions = [] {
    const auto& categories = high_level_settings::default_organize_categories();
    return build_extension_map(std::span(categories).first(1));
  }();
  return photo_extensions.contains(map_key(paths::extension(path)));
}

std::vector<std::wstring> select_files(const std::wstring& folder, std::span<const std::wstring> excluded,
                                       const std::function<bool(std::wstring_view path)>& is_wanted) {
  namespace attribute = platform::attribute;
  platform::file_system& files = platform::current().files;
  std::vector<std::wstring> selected;
  const auto visit = [&](const platform::directory_entry& entry) {
    if (entry.kind != platform::entry_kind::regular_file) return;
    std::wstring path = paths::join(folder, entry.name);
    if (!is_wanted(path) || is_always_skipped(entry.name) || is_excluded(entry.name, excluded)) return;
    const auto attributes = files.attributes(path);
    if (attributes && (*attributes & (attribute::hidden | attribute::system)) != 0) return;
    selected.push_back(std::move(path));
  };
  // What was found before a failure is organized all the same.
  static_cast<void>(files.enumerate(folder, visit));
  return selected;
}

extension_map build_extension_map(std::span<const organize_category> categories) {
  extension_map map;
  for (const organize_category& category : categories) {
    if (!category.enabled) continue;
    const std::wstring folder = sanitize_category_name(category.name);
    for (const std::wstring& extension : category.extensions)
      map.insert_or_assign(map_key(extension), folder);
  }
  return map;
}

std::wstring_view category_for(std::wstring_view extension, const extension_map& map) {
  const auto found = map.find(map_key(extension));
  return found == map.end() ? other : found->second;
}

std::wstring sanitize_category_name(std::wstring_view name) {
  constexpr std::wstring_view forbidden = LR"(\/:*?"<>|)";
  constexpr const wchar_t* blanks = L" \t\r\n";
  std::wstring kept(name);
  std::erase_if(kept, [forbidden](wchar_t c) { return forbidden.find(c) != std::wstring_view::npos; });
  const std::size_t first = kept.find_first_not_of(blanks);
  if (first == std::wstring::npos) return std::wstring(other);
  return kept.substr(first, kept.find_last_not_of(blanks) - first + 1);
}

}  // namespace quill_box::organize
