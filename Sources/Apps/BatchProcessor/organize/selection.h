// Which files of a folder an organize run touches, and where they go by their type.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "settings/settings_document.h"

namespace quill_box::organize {

using high_level_settings::organize_category;

/// Files that belong where they are: the shell's own, this program's, and links.
[[nodiscard]] bool is_always_skipped(std::wstring_view file_name);

/// A pattern "*.ext" of two or more characters matches the end of a name, any other the whole name; a star elsewhere
/// means nothing. Without regard to case.
[[nodiscard]] bool is_excluded(std::wstring_view file_name, std::span<const std::wstring> patterns);

/// Images by the default categories, whatever the settings say.
[[nodiscard]] bool is_photo_file(std::wstring_view path);

/// The full paths of the regular files directly in the folder, in the order in which the file system delivers them,
/// without those of the two rules above and those that are hidden or of the system. An entry that can't be examined is
/// left out, and a folder that fails to be read counts as read to its end.
[[nodiscard]] std::vector<std::wstring> select_files(const std::wstring& folder, std::span<const std::wstring> excluded,
                                                     const std::function<bool(std::wstring_view path)>& is_wanted);

/// The folder's name by an extension in lower case, without its dot.
using extension_map = std::unordered_map<std::wstring, std::wstring>;

/// Of two enabled categories that claim an extension the later one has it.
[[nodiscard]] extension_map build_extension_map(std::span<const organize_category> categories);

/// "Other" for what the map doesn't know. The extension may have its dot. Valid as long as the map is.
[[nodiscard]] std::wstring_view category_for(std::wstring_view extension, const extension_map& map);

/// The category's name without the characters that no folder can have; "Other" where nothing is left of it.
[[nodiscard]] std::wstring sanitize_category_name(std::wstring_view name);

}  // namespace quill_box::organize
