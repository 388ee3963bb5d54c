// The shared settings file as data.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace high_level_settings {

/// This program's section.
inline constexpr std::string_view quill_box_section = "quill-box";

/// Strings are UTF-8.
using setting_value = std::variant<bool, std::string, std::int32_t, std::vector<std::string>>;

/// The section of one program of the family.
struct app_record {
  std::string app_id;
  std::wstring name;
  std::wstring version;
  std::string status;                             ///< "disabled" switches the section off
  std::map<std::string, setting_value> settings;  ///< by dotted key
};

using app_map = std::map<std::string, app_record>;

struct settings_document {
  std::optional<std::wstring> version;  ///< none when it isn't a string
  std::optional<app_map> apps;          ///< none when "apps" is missing or isn't an array
};

/// None when the text isn't a JSON object. Objects in a section's settings are flattened by one level: {"a":{"b":1}}
/// and {"a.b":1} are the same entry.
[[nodiscard]] std::optional<settings_document> parse_settings(std::string_view json);

struct organize_category {
  std::wstring name;
  std::vector<std::wstring> extensions;  ///< without the dot
  bool enabled = true;

  bool operator==(const organize_category&) const = default;
};

/// The array "organize.categories" of the section "quill-box", disabled categories included and nameless ones left
/// out; none when the text has no such array or nothing of it is kept. The dotted name is taken literally here.
[[nodiscard]] std::optional<std::vector<organize_category>> parse_organize_categories(std::string_view json);

/// The categories in use when the settings give none.
[[nodiscard]] const std::vector<organize_category>& default_organize_categories();

}  // namespace high_level_settings
