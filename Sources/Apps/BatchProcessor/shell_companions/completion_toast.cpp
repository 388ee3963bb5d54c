#include "shell_companions/completion_toast.h"

#include "settings/high_level_settings.h"

namespace toast_utilities {

using quill_box::action_types::actions;

bool wants_completion_toast(actions action) {
  switch (action) {
    case actions::set_rating:
    case actions::remove_rating:
      return high_level_settings::settings_instance().show_rate_completion_toast();
    case actions::remove_tags:
    case actions::toggle_tags:
    case actions::remove_tag:
      return high_level_settings::settings_instance().show_tag_completion_toast();
    case actions::recognize_faces:
      return high_level_settings::settings_instance().show_recognize_faces_completion_toast();
    default:
      return true;
  }
}

void show_completion_toast_as_needed(actions /*action*/, int /*processed_count*/, int /*error_count*/,
                                     int /*unidentified_face_count*/) {}

}  // namespace toast_utilities
