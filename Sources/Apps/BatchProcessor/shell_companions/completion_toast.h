#pragma once

#include "batch_driver/action_types.h"

namespace toast_utilities {

/// Tells the user by a toast what a finished run did. This build shows no toasts yet: the call stands where a run has
/// it and does nothing.
void show_completion_toast_as_needed(quill_box::action_types::actions action, int processed_count, int error_count,
                                     int unidentified_face_count);

}  // namespace toast_utilities
