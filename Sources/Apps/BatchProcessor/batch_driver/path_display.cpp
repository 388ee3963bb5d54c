#include "batch_driver/path_display.h"

#include <string_view>

#include "text/paths.h"

namespace quill_box::batch_processor {

namespace {

constexpr std::size_t kept_end_of_parent = 11;
constexpr std::wstring_view ellipsis = L"...";
constexpr wchar_t zero_width_space = 0x200b;

std::wstring shorten_parent(std::wstring_view parent, std::size_t longest) {
  if (parent.size() <= longest) return std::wstring(parent);
  std::wstring shortened(parent.substr(0, kept_end_of_parent));
  shortened += ellipsis;
  shortened += parent.substr(parent.size() - kept_end_of_parent);
  return shortened;
}

std::wstring shorten_name(std::wstring_view path, const path_display_limits& limits) {
  const std::wstring_view name = paths::file_name(path);
  if (name.size() < limits.shortest_cut_name) return std::wstring(name);
  const std::wstring_view extension = paths::extension(path);
  if (extension.size() + ellipsis.size() >= limits.longest_extension) {
    return std::wstring(name.substr(0, limits.longest_extension));
  }
  const std::wstring_view stem = paths::stem(path);
  const std::size_t kept = limits.kept_with_extension - extension.size();
  const std::size_t kept_end = kept - kept / 2;
  std::wstring shortened(stem.substr(0, kept / 2));
  shortened += ellipsis;
  shortened += stem.substr(stem.size() - kept_end);
  shortened += extension;
  return shortened;
}

// Windows shows a backslash whatever the caller wrote; a path that starts with "/" keeps its own style.
wchar_t shown_separator(std::wstring_view path) { return path.starts_with(L'/') ? L'/' : L'\\'; }

}  // namespace

std::wstring shorten_path(const std::wstring& path, const path_display_limits& limits) {
  const std::wstring parent = shorten_parent(paths::parent(path), limits.longest_parent);
  std::wstring name = shorten_name(path, limits);
  if (parent.empty()) return name;
  return parent + zero_width_space + shown_separator(path) + name;
}

std::wstring shorten_path_for_message(const std::wstring& path) { return shorten_path(path, open_failure_limits); }

}  // namespace quill_box::batch_processor
