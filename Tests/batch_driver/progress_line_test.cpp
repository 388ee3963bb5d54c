#include "batch_driver/progress_line.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using quill_box::batch_processor::progress_line;
using quill_box::batch_processor::progress_view;

progress_view detail_of(std::wstring detail) { return {0, false, false, L"", std::move(detail)}; }

TEST(progress_line, shows_bar_percent_status_and_detail) {
  EXPECT_EQ(progress_line({50, false, false, L"Processing 40 files", L"Photo 3 of 9 - a.jpg"}, 120),
            L"[============            ]  50%  Processing 40 files  Photo 3 of 9 - a.jpg");
}

TEST(progress_line, says_that_it_is_paused) {
  EXPECT_EQ(progress_line({7, true, true, L"Processing 40 files", L""}, 120),
            L"[=                       ]   7%  paused, press p to go on  Processing 40 files");
}

TEST(progress_line, says_what_the_keys_do_where_they_are_read) {
  EXPECT_EQ(progress_line({7, false, true, L"Processing 40 files", L""}, 120),
            L"[=                       ]   7%  Processing 40 files  p pauses, Ctrl-C cancels");
}

TEST(progress_line, says_what_the_keys_do_only_where_that_fits_whole) {
  const std::wstring whole = L"[=                       ]   7%  p pauses, Ctrl-C cancels";
  EXPECT_EQ(progress_line({7, false, true, L"", L""}, static_cast<int>(whole.size()) + 1), whole);
  EXPECT_EQ(progress_line({7, false, true, L"", L""}, static_cast<int>(whole.size())),
            L"[=                       ]   7%");
}

TEST(progress_line, leaves_the_last_column_free) {
  EXPECT_EQ(progress_line({7, false, false, L"", L""}, 10), L"[=       ");
}

TEST(progress_line, fits_into_no_room_at_all) {
  EXPECT_EQ(progress_line({7, false, true, L"", L""}, 0), L"");
  EXPECT_EQ(progress_line({7, false, true, L"", L""}, -5), L"");
}

TEST(progress_line, is_cut_by_columns_and_never_within_a_character) {
  const std::wstring bar = L"[                        ]   0%  ";
  const auto columns = static_cast<int>(bar.size());
  EXPECT_EQ(progress_line(detail_of(L"\u4e2d\u6587"), columns + 4), bar + L"\u4e2d");
  EXPECT_EQ(progress_line(detail_of(L"\U0001f600\U0001f600"), columns + 4), bar + L"\U0001f600");
  EXPECT_EQ(progress_line(detail_of(L"e\u0301e\u0301f"), columns + 3), bar + L"e\u0301e\u0301");
}

TEST(progress_line, keeps_control_characters_of_names_from_the_terminal) {
  EXPECT_EQ(progress_line(detail_of(L"a\x1b[2Jb\nc\u202e"), 60),
            L"[                        ]   0%  a\ufffd[2Jb\ufffdc\ufffd");
}

}  // namespace
