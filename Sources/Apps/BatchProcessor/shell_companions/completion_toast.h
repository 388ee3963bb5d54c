#pragma once

#include "batch_driver/action_types.h"

namespace toast_utilities {

/// What the settings say about the toast of an action. Actions without a setting of their own, update_tags and auto_tag
/// among them, always want one.
[[nodiscard]] bool wants_completion_toast(quill_box::action_types::actions action);

/// Tells the user by a toast what a finished run did. This build shows no toasts yet: the call stands where a run has
/// it and does nothing.
void show_completion_toast_as_needed(quill_box::action_types::actions action, int processed_count, int error_count,
                                     int unidentified_face_count);

}  // namespace toast_utilities
