#include "batch_driver/action_types.h"

#include <algorithm>
#include <iterator>

#include "text/format.h"

namespace quill_box::action_types {

namespace {

struct action_name {
  std::wstring_view action_type;
  actions action;
};

constexpr action_name names[] = {
    {L"set_rating", actions::set_rating},
    {L"remove_rating", actions::remove_rating},
    {L"remove_tags", actions::remove_tags},
    {L"toggle_tags", actions::toggle_tags},
    {L"update_tags", actions::update_tags},
    {L"auto_tag", actions::auto_tag},
    {L"paste_as_plain_text", actions::paste_as_plain_text},
    {L"media_volume_up", actions::media_volume_up},
    {L"media_volume_down", actions::media_volume_down},
    {L"media_play_pause", actions::media_play_pause},
    {L"media_prev_track", actions::media_prev_track},
    {L"media_next_track", actions::media_next_track},
    {L"media_microphone_mute", actions::media_microphone_mute},
    {L"media_microphone_unmute", actions::media_microphone_unmute},
    {L"icon_set_builtin_icon", actions::icon_set_builtin_icon},
    {L"icon_set_custom_icon", actions::icon_set_custom_icon},
    {L"icon_set_default_icon", actions::icon_set_default_icon},
    {L"run_context_menu_command", actions::run_context_menu_command},
    {L"organize_folder", actions::organize_folder},
    {L"organize_undo", actions::organize_undo},
    {L"recognize_faces", actions::recognize_faces},
    {L"revoke_faces", actions::revoke_faces},
    {L"forget_person", actions::forget_person},
    {L"wipe_all_people", actions::wipe_all_people},
};

struct summary_words {
  actions action;
  const wchar_t* singular;
  const wchar_t* plural;       // one field: the processed count
  const wchar_t* with_errors;  // two fields: the successful count and the error count
};

constexpr summary_words summaries[] = {
    {actions::set_rating, L"Rated file", L"Rated {} files", L"Rated {} files and skipped {} due to errors"},
    {actions::remove_rating, L"Removed rating from file", L"Removed rating from {} files",
     L"Removed rating from {} files and skipped {} due to errors"},
    {actions::remove_tags, L"Removed tags from file", L"Removed tags from {} files",
     L"Removed tags from {} files and skipped {} due to errors"},
    {actions::toggle_tags, L"Toggled tag for file", L"Toggled tag for {} files",
     L"Toggled tag for {} files and skipped {} due to errors"},
    {actions::update_tags, L"Updated tags for file", L"Updated tags for {} files",
     L"Updated tags for {} files and skipped {} due to errors"},
    {actions::auto_tag, L"Automatically tagged file", L"Automatically tagged {} files",
     L"Automatically tagged {} files and skipped {} due to errors"},
    {actions::organize_folder, L"Organized folder", L"Organized {} folders",
     L"Organized {} folders and skipped {} due to errors"},
    {actions::organize_undo, L"Undid organize", L"Undid organize for {} folders",
     L"Undid organize for {} folders and skipped {} due to errors"},
    {actions::recognize_faces, L"Recognized faces in file", L"Recognized faces in {} files",
     L"Recognized faces in {} files and skipped {} due to errors"},
    {actions::revoke_faces, L"Undid people in file", L"Undid people for {} files",
     L"Undid people for {} files and skipped {} due to errors"},
    {actions::forget_person, L"Removed person from file", L"Removed person from {} files",
     L"Removed person from {} files and skipped {} due to errors"},
};

constexpr summary_words other_summary = {actions::unknown, L"Updated file", L"Updated {} files",
                                         L"Updated {} files and skipped {} due to errors"};

struct title_words {
  actions action;
  const wchar_t* title;
};

constexpr title_words titles[] = {
    {actions::toggle_tags, L"Tags updated"},
    {actions::update_tags, L"Tags updated"},
    {actions::icon_set_builtin_icon, L"Icon updated"},
    {actions::icon_set_custom_icon, L"Icon updated"},
    {actions::icon_set_default_icon, L"Icon restored"},
    {actions::organize_folder, L"Folder organized"},
    {actions::organize_undo, L"Organize undone"},
    {actions::recognize_faces, L"Faces recognized"},
    {actions::revoke_faces, L"People undone"},
    {actions::forget_person, L"Person removed"},
    {actions::wipe_all_people, L"People data deleted"},
    {actions::set_rating, L"Rating set"},
    {actions::remove_rating, L"Rating removed"},
    {actions::remove_tags, L"Tags removed"},
    {actions::auto_tag, L"Files auto tagged"},
    {actions::remove_tag, L"Tag removed"},
};

template <class Row, std::size_t Count>
const Row* find_row(const Row (&rows)[Count], actions action) {
  const Row* row =
      std::find_if(std::begin(rows), std::end(rows), [action](const Row& r) { return r.action == action; });
  return row == std::end(rows) ? nullptr : row;
}

std::wstring counted(const wchar_t* singular, const wchar_t* plural, int count) {
  return count == 1 ? std::wstring(singular) : text::format(fmt::runtime(plural), count);
}

}  // namespace

actions action_from_string(std::wstring_view action_type) {
  const action_name* name = std::find_if(std::begin(names), std::end(names),
                                         [action_type](const action_name& n) { return n.action_type == action_type; });
  return name == std::end(names) ? actions::unknown : name->action;
}

std::wstring progress_status_text(actions action, int item_count, bool write_people_tags) {
  if (action == actions::recognize_faces && write_people_tags) {
    return counted(L"Recognizing and applying people tags using local AI",
                   L"Recognizing and applying people tags in {} photos using local AI", item_count);
  }
  if (action == actions::recognize_faces) {
    return counted(L"Recognizing faces in photo using local and private AI",
                   L"Recognizing faces in {} photos using local and private AI", item_count);
  }
  if (action == actions::auto_tag) {
    return counted(L"Auto-tagging file using local and private AI", L"Auto-tagging {} files using local and private AI",
                   item_count);
  }
  return counted(L"Processing file", L"Processing {} files", item_count);
}

std::wstring result_summary_text(actions action, int processed_count, int error_count) {
  // The empty sentence is what keeps the toast of a command away.
  if (action == actions::run_context_menu_command) return {};
  const summary_words* row = find_row(summaries, action);
  const summary_words& words = row == nullptr ? other_summary : *row;
  if (error_count == 0) return counted(words.singular, words.plural, processed_count);
  return text::format(fmt::runtime(words.with_errors), processed_count - error_count, error_count);
}

std::wstring result_title_text(actions action) {
  const title_words* row = find_row(titles, action);
  return row == nullptr ? L"Files updated" : row->title;
}

}  // namespace quill_box::action_types
