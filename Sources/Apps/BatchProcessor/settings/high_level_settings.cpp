#include "settings/high_level_settings.h"

#include <array>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

#include "files/file_functions.h"
#include "logging/log.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/formatted_runtime_error.h"

namespace high_level_settings {

namespace {

constexpr std::string_view orchid_lens_ai = "orchid-lens-ai";

// Far beyond any settings file: what is larger counts as damaged.
constexpr std::uint64_t largest_file = 64 << 20;

std::string read_file(const std::wstring& path) { return files::read_whole_file(path, largest_file).value_or(""); }

std::vector<std::wstring> wide_list(const std::vector<std::string>& utf8_list) {
  std::vector<std::wstring> wide;
  wide.reserve(utf8_list.size());
  for (const std::string& utf8 : utf8_list)
    wide.push_back(text::wide_from_utf8(utf8));
  return wide;
}

struct vocabulary {
  std::string_view key;
  const wchar_t* missing;  // one field: the settings file's path
};

constexpr std::array vocabularies = {
    vocabulary{"general.tags.text_domain",
               L"Orchid Lens AI text_domain tag 'general.tags.text_domain' settings not found in {}"},
    vocabulary{"general.tags.text_purpose",
               L"Orchid Lens AI text_purpose tag 'general.tags.text_purpose' settings not found in {}"},
    vocabulary{"general.tags.text_specific",
               L"Orchid Lens AI text_specific tag 'general.tags.text_specific' settings not found in {}"},
};

}  // namespace

settings_file::settings_file() : common_settings_file(L"High Level Settings", L"Settings") {}

bool settings_file::read_settings() {
  try {
    auto document = parse_settings(read_file(file_path()));
    if (!document) return true;
    // What was there before is destroyed after the lock is released.
    const std::lock_guard guard(apps_lock_);
    if (document->version) version_.swap(*document->version);
    if (document->apps) apps_.swap(*document->apps);
    return true;
  } catch (...) {
    return false;
  }
}

std::optional<setting_value> settings_file::find_value(std::string_view app_id, std::string_view key) {
  const std::lock_guard guard(apps_lock_);
  const auto app = apps_.find(std::string(app_id));
  if (app == apps_.end()) return std::nullopt;
  const auto value = app->second.settings.find(std::string(key));
  if (value == app->second.settings.end()) return std::nullopt;
  return value->second;
}

bool settings_file::get_bool(std::string_view app_id, std::string_view key, bool fallback) {
  const auto value = find_value(app_id, key);
  const bool* flag = value ? std::get_if<bool>(&*value) : nullptr;
  return flag == nullptr ? fallback : *flag;
}

std::wstring settings_file::get_string(std::string_view app_id, std::string_view key, std::wstring_view fallback) {
  const auto value = find_value(app_id, key);
  const std::string* utf8 = value ? std::get_if<std::string>(&*value) : nullptr;
  return utf8 == nullptr ? std::wstring(fallback) : text::wide_from_utf8(*utf8);
}

bool settings_file::is_enabled() {
  if (!load(false)) {
    logging::log(logging::level::error, "Failed to load from high level settings file {}", file_path());
    return false;
  }
  const std::lock_guard guard(apps_lock_);
  const auto section = apps_.find(std::string(quill_box_section));
  return section == apps_.end() || section->second.status != "disabled";
}

bool settings_file::enabled_and(std::string_view key) { return is_enabled() && get_bool(quill_box_section, key, true); }

bool settings_file::loaded_bool(std::string_view key) { return !load(false) || get_bool(quill_box_section, key, true); }

bool settings_file::show_tags_as_icon_overlay() { return loaded_bool("general.showTagsAsIconOverlay"); }

bool settings_file::show_rating_as_icon_overlay() { return loaded_bool("general.showRatingAsIconOverlay"); }

bool settings_file::rounded_thumbnail_corners() {
  return get_bool(quill_box_section, "general.roundedThumbnailCorners", true);
}

std::wstring settings_file::rating_overlay_icon() {
  return get_string(quill_box_section, "general.ratingOverlayIcon", LR"(\Content\Icons\rating_star.ico)");
}

bool settings_file::show_tag_completion_toast() { return enabled_and("notifications.showTagCompletionToast"); }

bool settings_file::show_rate_completion_toast() { return enabled_and("notifications.showRateCompletionToast"); }

bool settings_file::show_recognize_faces_completion_toast() {
  return enabled_and("notifications.showRecognizeFacesCompletionToast");
}

bool settings_file::prompt_when_location_not_indexed() {
  return enabled_and("notifications.promptWhenLocationNotIndexed");
}

bool settings_file::prompt_when_people_location_not_indexed() {
  return enabled_and("notifications.promptWhenPeopleLocationNotIndexed");
}

bool settings_file::people_recognition_enabled() {
  return get_bool(orchid_lens_ai, "people_recognition.enabled", false);
}

bool settings_file::people_recognition_consent_accepted() {
  return get_bool(orchid_lens_ai, "people_recognition.consent_accepted", false);
}

bool settings_file::write_people_tags() {
  return get_bool(orchid_lens_ai, "people_recognition.write_people_tags", true);
}

std::vector<std::wstring> settings_file::excluded_names() {
  static_cast<void>(load(false));  // what was read before, or nothing, will do
  const auto value = find_value(quill_box_section, "organize.excludedNames");
  const auto* names = value ? std::get_if<std::vector<std::string>>(&*value) : nullptr;
  return names == nullptr ? std::vector<std::wstring>() : wide_list(*names);
}

std::wstring settings_file::photo_naming_pattern() {
  static_cast<void>(load(false));
  return get_string(quill_box_section, "organize.photoNamingPattern",
                    L"<Date> - <Location> - <People> - <Original Filename>");
}

std::wstring settings_file::photo_placement_pattern() {
  static_cast<void>(load(false));
  return get_string(quill_box_section, "organize.photoPlacementPattern", LR"(<Date>\<Location>)");
}

std::vector<std::wstring> settings_file::auto_tag_texts() {
  if (!load(false)) throw std::runtime_error("Unable to get list of auto tags");
  app_record section;
  {
    const std::lock_guard guard(apps_lock_);
    const auto found = apps_.find(std::string(orchid_lens_ai));
    if (found == apps_.end()) throw std::runtime_error("Orchid Lens AI settings not found");
    section = found->second;
  }
  std::vector<std::wstring> texts;
  for (const vocabulary& words : vocabularies) {
    const auto entry = section.settings.find(std::string(words.key));
    if (entry == section.settings.end()) {
      throw exceptions::formatted_runtime_error(text::format(fmt::runtime(words.missing), file_path()));
    }
    const auto* list = std::get_if<std::vector<std::string>>(&entry->second);
    if (list == nullptr) continue;
    for (std::wstring& wide : wide_list(*list))
      texts.push_back(std::move(wide));
  }
  return texts;
}

std::vector<organize_category> settings_file::organize_categories() {
  static_cast<void>(load(false));
  return parse_organize_categories(read_file(file_path())).value_or(default_organize_categories());
}

namespace {
std::mutex instance_lock;
std::unique_ptr<settings_file> instance;
}  // namespace

settings_file& settings_instance() {
  const std::lock_guard guard(instance_lock);
  if (!instance) instance = std::make_unique<settings_file>();
  return *instance;
}

void forget_settings_instance() {
  const std::lock_guard guard(instance_lock);
  instance.reset();
}

}  // namespace high_level_settings
