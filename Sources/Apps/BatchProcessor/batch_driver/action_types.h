// Everything that the program can be asked to do, and the words for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quill_box::action_types {

/// The numbers are compared and masked, so they are part of the design, gaps included. 6 is known to the texts
/// although no job can name it; 7 and 8 are reserved.
enum class actions : std::uint8_t {
  set_rating = 0,
  remove_rating = 1,
  remove_tags = 2,
  toggle_tags = 3,
  update_tags = 4,
  auto_tag = 5,
  remove_tag = 6,
  paste_as_plain_text = 9,
  media_volume_up = 10,
  media_volume_down = 11,
  media_play_pause = 12,
  media_prev_track = 13,
  media_next_track = 14,
  media_microphone_mute = 15,
  media_microphone_unmute = 16,
  icon_set_builtin_icon = 17,
  icon_set_default_icon = 18,
  icon_set_custom_icon = 19,
  run_context_menu_command = 20,
  organize_folder = 21,
  organize_undo = 22,
  recognize_faces = 23,
  revoke_faces = 24,
  forget_person = 25,
  wipe_all_people = 26,
  unknown = 27,
};

/// The action of a job's action_type: the whole string, with its case. Any other text is the unknown action.
[[nodiscard]] actions action_from_string(std::wstring_view action_type);

/// The status line of a run that opens its window. `write_people_tags` matters for recognize_faces only.
[[nodiscard]] std::wstring progress_status_text(actions action, int item_count, bool write_people_tags);

/// The sentence of the completion toast. `processed_count` counts the failed items too. Empty for commands, which
/// report nothing.
[[nodiscard]] std::wstring result_summary_text(actions action, int processed_count, int error_count);

/// The title of the completion toast.
[[nodiscard]] std::wstring result_title_text(actions action);

}  // namespace quill_box::action_types
