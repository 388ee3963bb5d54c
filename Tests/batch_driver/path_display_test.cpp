#include "batch_driver/path_display.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using quill_box::batch_processor::error_prompt_limits;
using quill_box::batch_processor::open_failure_limits;
using quill_box::batch_processor::shorten_path;
using quill_box::batch_processor::shorten_path_for_message;

const std::wstring line_break_here(1, static_cast<wchar_t>(0x200b));

TEST(path_display, an_empty_path_stays_empty) {
  EXPECT_EQ(shorten_path_for_message(L""), L"");
  EXPECT_EQ(shorten_path(L"", error_prompt_limits), L"");
}

TEST(path_display, a_long_parent_keeps_its_first_and_last_11_characters) {
  EXPECT_EQ(shorten_path(LR"(C:\Users\somebody\Pictures\Holiday 2024\Best Of\IMG_1234.jpg)", error_prompt_limits),
            LR"(C:\Users\so...024\Best Of)" + line_break_here + LR"(\IMG_1234.jpg)");
}

TEST(path_display, a_parent_of_25_characters_is_kept_and_one_of_26_is_cut) {
  const std::wstring parent25 = LR"(C:\)" + std::wstring(22, L'p');
  EXPECT_EQ(shorten_path(parent25 + LR"(\a)", open_failure_limits), parent25 + line_break_here + LR"(\a)");
  const std::wstring parent26 = parent25 + L'q';
  EXPECT_EQ(shorten_path(parent26 + LR"(\a)", open_failure_limits),
            LR"(C:\pppppppp...ppppppppppq)" + line_break_here + LR"(\a)");
}

TEST(path_display, a_path_without_a_parent_has_no_separator) {
  EXPECT_EQ(shorten_path_for_message(L"job.json"), L"job.json");
}

TEST(path_display, a_posix_path_is_shown_in_its_own_style) {
  EXPECT_EQ(shorten_path_for_message(L"/home/u/job.json"), L"/home/u" + line_break_here + L"/job.json");
}

TEST(path_display, a_name_of_40_characters_is_kept_and_one_of_41_is_cut_in_the_open_failure) {
  const std::wstring name40 = std::wstring(36, L'n') + L".jpg";
  EXPECT_EQ(shorten_path_for_message(name40), name40);
  // K = 37 - 4 = 33: 16 characters, three dots, 17 characters, the extension.
  const std::wstring name41 = std::wstring(16, L'a') + std::wstring(4, L'x') + std::wstring(17, L'z') + L".jpg";
  EXPECT_EQ(shorten_path_for_message(name41), std::wstring(16, L'a') + L"..." + std::wstring(17, L'z') + L".jpg");
}

TEST(path_display, a_name_of_45_characters_is_kept_and_one_of_46_is_cut_in_the_error_prompt) {
  const std::wstring name45 = std::wstring(41, L'n') + L".jpg";
  EXPECT_EQ(shorten_path(name45, error_prompt_limits), name45);
  // K = 42 - 4 = 38: 19 characters on either side.
  const std::wstring name46 = std::wstring(19, L'a') + std::wstring(4, L'x') + std::wstring(19, L'z') + L".jpg";
  EXPECT_EQ(shorten_path(name46, error_prompt_limits),
            std::wstring(19, L'a') + L"..." + std::wstring(19, L'z') + L".jpg");
}

TEST(path_display, a_name_that_is_nearly_all_extension_is_cut_at_its_end) {
  const std::wstring kept_whole_extension = std::wstring(20, L's') + L"." + std::wstring(35, L'e');
  EXPECT_EQ(shorten_path_for_message(kept_whole_extension), L"...s." + std::wstring(35, L'e'));
  const std::wstring long_extension = std::wstring(20, L's') + L"." + std::wstring(36, L'e');
  EXPECT_EQ(shorten_path_for_message(long_extension), long_extension.substr(0, 40));
}

}  // namespace
