// The settings that all programs of the family share. This program only reads them.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "settings/common_settings_file.h"
#include "settings/settings_document.h"

namespace high_level_settings {

/// Readers may be called from any thread. Those that load pick up a change of the file at their next call.
class settings_file final : public common::setting_utilities::common_settings_file {
 public:
  settings_file();

  [[nodiscard]] std::optional<setting_value> find_value(std::string_view app_id, std::string_view key);
  [[nodiscard]] bool get_bool(std::string_view app_id, std::string_view key, bool fallback);
  [[nodiscard]] std::wstring get_string(std::string_view app_id, std::string_view key, std::wstring_view fallback);

  /// False when the section "quill-box" is disabled or nothing can be loaded.
  [[nodiscard]] bool is_enabled();

  [[nodiscard]] bool show_tags_as_icon_overlay();
  [[nodiscard]] bool show_rating_as_icon_overlay();
  [[nodiscard]] bool rounded_thumbnail_corners();
  [[nodiscard]] std::wstring rating_overlay_icon();
  [[nodiscard]] bool show_tag_completion_toast();
  [[nodiscard]] bool show_rate_completion_toast();
  [[nodiscard]] bool show_recognize_faces_completion_toast();
  [[nodiscard]] bool prompt_when_location_not_indexed();
  [[nodiscard]] bool prompt_when_people_location_not_indexed();
  [[nodiscard]] bool people_recognition_enabled();
  [[nodiscard]] bool people_recognition_consent_accepted();
  [[nodiscard]] bool write_people_tags();
  [[nodiscard]] std::vector<std::wstring> excluded_names();
  [[nodiscard]] std::wstring photo_naming_pattern();
  [[nodiscard]] std::wstring photo_placement_pattern();

  /// The three vocabularies, one behind the other. Raises a runtime error when the file, the section or one of the
  /// three keys is missing.
  [[nodiscard]] std::vector<std::wstring> auto_tag_texts();

  /// Read from the file each time: they are objects, which the flat map can't hold.
  [[nodiscard]] std::vector<organize_category> organize_categories();

 protected:
  /// A damaged file keeps what was loaded before and counts as read: the readers fall back to their defaults.
  bool read_settings() override;

 private:
  [[nodiscard]] bool enabled_and(std::string_view key);
  [[nodiscard]] bool loaded_bool(std::string_view key);

  std::wstring version_;
  app_map apps_;
  std::mutex apps_lock_;  ///< for each look-up and for the swap of what was read, never during file access
};

/// The one of this process, made on first use.
[[nodiscard]] settings_file& settings_instance();

/// Has the next settings_instance() make a new one. For tests, each of which has a machine of its own.
void forget_settings_instance();

}  // namespace high_level_settings
