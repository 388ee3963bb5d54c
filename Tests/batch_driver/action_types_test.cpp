#include "batch_driver/action_types.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace quill_box::action_types;

actions action_of(int number) { return static_cast<actions>(number); }

std::wstring with_number(std::wstring text, int number) {
  const std::size_t field = text.find(L"{}");
  if (field != std::wstring::npos) text.replace(field, 2, std::to_wstring(number));
  return text;
}

struct name_row {
  int number;
  const wchar_t* name;
};

constexpr name_row names[] = {
    {0, L"set_rating"},
    {1, L"remove_rating"},
    {2, L"remove_tags"},
    {3, L"toggle_tags"},
    {4, L"update_tags"},
    {5, L"auto_tag"},
    {9, L"paste_as_plain_text"},
    {10, L"media_volume_up"},
    {11, L"media_volume_down"},
    {12, L"media_play_pause"},
    {13, L"media_prev_track"},
    {14, L"media_next_track"},
    {15, L"media_microphone_mute"},
    {16, L"media_microphone_unmute"},
    {17, L"icon_set_builtin_icon"},
    {18, L"icon_set_default_icon"},
    {19, L"icon_set_custom_icon"},
    {20, L"run_context_menu_command"},
    {21, L"organize_folder"},
    {22, L"organize_undo"},
    {23, L"recognize_faces"},
    {24, L"revoke_faces"},
    {25, L"forget_person"},
    {26, L"wipe_all_people"},
};

TEST(action_from_string, every_name_has_its_number) {
  for (const name_row& row : names) {
    EXPECT_EQ(action_from_string(row.name), action_of(row.number)) << row.number;
  }
}

TEST(action_from_string, any_other_text_is_the_unknown_action) {
  for (const wchar_t* text : {L"", L"Set_Rating", L" set_rating", L"set_rating ", L"set_ratings", L"set_ratin",
                              L"remove_tag", L"unknown", L"0", L"set_rating\n"}) {
    EXPECT_EQ(action_from_string(text), action_of(27)) << testing::PrintToString(text);
  }
}

TEST(action_from_string, a_name_with_a_nul_behind_it_is_not_that_name) {
  EXPECT_EQ(action_from_string(std::wstring_view(L"set_rating\0x", 12)), actions::unknown);
}

struct status_row {
  int number;
  bool write_people_tags;
  const wchar_t* singular;
  const wchar_t* plural;
};

constexpr status_row special_statuses[] = {
    {23, true, L"Recognizing and applying people tags using local AI",
     L"Recognizing and applying people tags in {} photos using local AI"},
    {23, false, L"Recognizing faces in photo using local and private AI",
     L"Recognizing faces in {} photos using local and private AI"},
    {5, true, L"Auto-tagging file using local and private AI", L"Auto-tagging {} files using local and private AI"},
    {5, false, L"Auto-tagging file using local and private AI", L"Auto-tagging {} files using local and private AI"},
};

void expect_status(const status_row& row) {
  const actions action = action_of(row.number);
  EXPECT_EQ(progress_status_text(action, 1, row.write_people_tags), row.singular) << row.number;
  for (const int count : {0, 2, 1000000}) {
    EXPECT_EQ(progress_status_text(action, count, row.write_people_tags), with_number(row.plural, count)) << row.number;
  }
}

TEST(progress_status_text, the_ai_actions_have_texts_of_their_own) {
  for (const status_row& row : special_statuses)
    expect_status(row);
}

TEST(progress_status_text, every_other_action_processes_files) {
  for (int number = 0; number <= 27; ++number) {
    if (number == 5 || number == 23) continue;
    for (const bool write_people_tags : {false, true}) {
      expect_status({number, write_people_tags, L"Processing file", L"Processing {} files"});
    }
  }
}

TEST(progress_status_text, zero_items_take_the_plural) {
  EXPECT_EQ(progress_status_text(actions::set_rating, 0, true), L"Processing 0 files");
}

struct summary_row {
  int number;
  const wchar_t* singular;
  const wchar_t* plural;  // the text with errors is this and " and skipped {} due to errors"
};

constexpr summary_row special_summaries[] = {
    {0, L"Rated file", L"Rated {} files"},
    {1, L"Removed rating from file", L"Removed rating from {} files"},
    {2, L"Removed tags from file", L"Removed tags from {} files"},
    {3, L"Toggled tag for file", L"Toggled tag for {} files"},
    {4, L"Updated tags for file", L"Updated tags for {} files"},
    {5, L"Automatically tagged file", L"Automatically tagged {} files"},
    {21, L"Organized folder", L"Organized {} folders"},
    {22, L"Undid organize", L"Undid organize for {} folders"},
    {23, L"Recognized faces in file", L"Recognized faces in {} files"},
    {24, L"Undid people in file", L"Undid people for {} files"},
    {25, L"Removed person from file", L"Removed person from {} files"},
};

void expect_summary(const summary_row& row) {
  const actions action = action_of(row.number);
  EXPECT_EQ(result_summary_text(action, 1, 0), row.singular) << row.number;
  EXPECT_EQ(result_summary_text(action, 0, 0), with_number(row.plural, 0)) << row.number;
  EXPECT_EQ(result_summary_text(action, 12, 0), with_number(row.plural, 12)) << row.number;
  EXPECT_EQ(result_summary_text(action, 12, 3), with_number(row.plural, 9) + L" and skipped 3 due to errors")
      << row.number;
  EXPECT_EQ(result_summary_text(action, 2, 1), with_number(row.plural, 1) + L" and skipped 1 due to errors")
      << row.number;
}

TEST(result_summary_text, each_action_with_a_sentence_has_its_three_forms) {
  for (const summary_row& row : special_summaries)
    expect_summary(row);
}

TEST(result_summary_text, actions_6_to_19_and_26_and_27_update_files) {
  for (int number = 6; number <= 27; ++number) {
    if (number >= 20 && number <= 25) continue;
    expect_summary({number, L"Updated file", L"Updated {} files"});
  }
}

TEST(result_summary_text, a_command_has_none_whatever_the_counts) {
  for (const int processed : {0, 1, 7}) {
    for (const int errors : {0, 1}) {
      EXPECT_EQ(result_summary_text(actions::run_context_menu_command, processed, errors), L"");
    }
  }
}

TEST(result_summary_text, the_processed_count_includes_the_failed_items) {
  EXPECT_EQ(result_summary_text(actions::set_rating, 5, 2), L"Rated 3 files and skipped 2 due to errors");
  EXPECT_EQ(result_summary_text(actions::set_rating, 1, 1), L"Rated 0 files and skipped 1 due to errors");
}

TEST(result_summary_text, wiping_people_has_no_sentence_of_its_own) {
  EXPECT_EQ(result_summary_text(actions::wipe_all_people, 1, 0), L"Updated file");
}

TEST(result_title_text, every_action_has_its_title) {
  constexpr const wchar_t* titles[] = {
      L"Rating set",           // 0
      L"Rating removed",       // 1
      L"Tags removed",         // 2
      L"Tags updated",         // 3
      L"Tags updated",         // 4
      L"Files auto tagged",    // 5
      L"Tag removed",          // 6
      L"Files updated",        // 7
      L"Files updated",        // 8
      L"Files updated",        // 9
      L"Files updated",        // 10
      L"Files updated",        // 11
      L"Files updated",        // 12
      L"Files updated",        // 13
      L"Files updated",        // 14
      L"Files updated",        // 15
      L"Files updated",        // 16
      L"Icon updated",         // 17
      L"Icon restored",        // 18
      L"Icon updated",         // 19
      L"Files updated",        // 20
      L"Folder organized",     // 21
      L"Organize undone",      // 22
      L"Faces recognized",     // 23
      L"People undone",        // 24
      L"Person removed",       // 25
      L"People data deleted",  // 26
      L"Files updated",        // 27
  };
  for (int number = 0; number <= 27; ++number) {
    EXPECT_EQ(result_title_text(action_of(number)), titles[number]) << number;
  }
}

}  // namespace
