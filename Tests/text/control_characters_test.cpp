#include "text/control_characters.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using text::line_feeds;
using text::without_control_characters;

std::wstring in_a_line(std::wstring_view wide) { return without_control_characters(wide, line_feeds::replaced); }

TEST(control_characters, are_replaced_one_for_one) {
  EXPECT_EQ(in_a_line(L"a\x1b[2J\rb\nc\td"), L"a\ufffd[2J\ufffdb\ufffdc\ufffdd");
  EXPECT_EQ(in_a_line(std::wstring(1, L'\0') + L"\x1f\x7f\x80\x9b\x9f"), std::wstring(6, L'\ufffd'));
}

TEST(control_characters, that_turn_the_direction_are_replaced) {
  EXPECT_EQ(in_a_line(L"\u202a\u202b\u202c\u202d\u202e"), std::wstring(5, L'\ufffd'));
  EXPECT_EQ(in_a_line(L"\u2066\u2067\u2068\u2069"), std::wstring(4, L'\ufffd'));
}

TEST(control_characters, have_neighbours_that_stay) {
  const std::wstring text = L" ~\u00a0\u200b\u2029\u202f\u2065\u206a\U0001f600";
  EXPECT_EQ(in_a_line(text), text);
}

TEST(control_characters, that_end_a_line_stay_where_wanted) {
  EXPECT_EQ(without_control_characters(L"a\n\nb\r\nc", line_feeds::kept), L"a\n\nb\nc");
  EXPECT_EQ(without_control_characters(L"a\rb\x1b\r", line_feeds::kept), L"a\ufffdb\ufffd\ufffd");
}

}  // namespace
