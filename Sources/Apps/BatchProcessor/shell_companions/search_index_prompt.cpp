#include "shell_companions/search_index_prompt.h"

#include <exception>

#include "logging/log.h"
#include "settings/high_level_settings.h"

namespace quill_box::search_index_prompt {

namespace {

bool writes_tags_or_ratings(action_types::actions action) {
  return action <= action_types::actions::update_tags || action == action_types::actions::remove_tag;
}

}  // namespace

void prompt_to_index_folders_as_needed(std::span<const std::wstring> /*folders*/, std::wstring_view /*subject*/) {}

void check_changed_folders(action_types::actions action, std::span<const std::wstring> changed_folders) {
  const bool people = action == action_types::actions::recognize_faces;
  if (!people && !writes_tags_or_ratings(action)) return;
  try {
    high_level_settings::settings_file& settings = high_level_settings::settings_instance();
    if (!(people ? settings.prompt_when_people_location_not_indexed() : settings.prompt_when_location_not_indexed())) {
      return;
    }
    prompt_to_index_folders_as_needed(changed_folders, people ? L"people names" : L"tags and ratings");
  } catch (const std::exception& failure) {
    logging::log(logging::level::error, "Exception during add-to-index prompt: {}", failure.what());
  }
}

}  // namespace quill_box::search_index_prompt
