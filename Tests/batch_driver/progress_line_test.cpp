#include "batch_driver/progress_line.h"

#include <gtest/gtest.h>

namespace {

using quill_box::batch_processor::progress_line;

TEST(progress_line, shows_bar_percent_status_and_detail) {
  EXPECT_EQ(progress_line(50, false, L"Processing 40 files", L"Photo 3 of 9 - a.jpg", 120),
            L"[============            ]  50%  Processing 40 files  Photo 3 of 9 - a.jpg");
}

TEST(progress_line, says_that_it_is_paused) {
  EXPECT_EQ(progress_line(7, true, L"Processing 40 files", L"", 120),
            L"[=                       ]   7%  paused, press p to go on  Processing 40 files");
}

TEST(progress_line, leaves_the_last_column_free) { EXPECT_EQ(progress_line(7, false, L"", L"", 10), L"[=       "); }

TEST(progress_line, fits_into_no_room_at_all) {
  EXPECT_EQ(progress_line(7, false, L"", L"", 0), L"");
  EXPECT_EQ(progress_line(7, false, L"", L"", -5), L"");
}

TEST(progress_line, keeps_control_characters_of_names_from_the_terminal) {
  EXPECT_EQ(progress_line(0, false, L"", L"a\x1b[2Jb\nc", 60), L"[                        ]   0%  a?[2Jb?c");
}

}  // namespace
