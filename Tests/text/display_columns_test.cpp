#include "text/display_columns.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using text::display_columns;
using text::display_prefix;

TEST(display_columns, counts_one_for_most_characters) {
  EXPECT_EQ(display_columns(L""), 0U);
  EXPECT_EQ(display_columns(L"a b~"), 4U);
  EXPECT_EQ(display_columns(L"\u00c4\u0416\u05d0\u20ac\ufffd"), 5U);
  EXPECT_EQ(display_columns(L"\u00a0\u00ad"), 2U) << "the blank that doesn't break, the soft hyphen";
}

TEST(display_columns, counts_none_for_marks_and_what_has_no_width) {
  EXPECT_EQ(display_columns(L"a\u0308e\u0301\u0323"), 2U) << "combining marks";
  EXPECT_EQ(display_columns(L"\u20dd"), 0U) << "an enclosing mark";
  EXPECT_EQ(display_columns(L"\u200b\u200c\u200d\u2060\ufeff"), 0U) << "zero-width characters";
  EXPECT_EQ(display_columns(L"\ufe0e\ufe0f\U000e0100\U000e01ef"), 0U) << "variation selectors";
}

TEST(display_columns, counts_two_for_wide_characters_and_emoji) {
  EXPECT_EQ(display_columns(L"\u4e2d\u6587"), 4U);
  EXPECT_EQ(display_columns(L"\u3042\u30a2\uac00\uff21\u3000"), 10U);
  EXPECT_EQ(display_columns(L"\uff71"), 1U) << "a half-width form";
  EXPECT_EQ(display_columns(L"\U0001f600\U0001f680\u231a"), 6U);
  EXPECT_EQ(display_columns(L"\U00020000\U0003fffd"), 4U) << "ideographs beyond U+FFFF";
}

TEST(display_columns, counts_a_hangul_syllable_made_of_its_letters_once) {
  EXPECT_EQ(display_columns(L"\u1112\u1161\u11ab"), 2U);
}

TEST(display_columns, knows_the_ends_of_its_ranges) {
  EXPECT_EQ(display_columns(L"\u02ff"), 1U);
  EXPECT_EQ(display_columns(L"\u0300"), 0U);
  EXPECT_EQ(display_columns(L"\u036f"), 0U);
  EXPECT_EQ(display_columns(L"\u0370"), 1U);
  EXPECT_EQ(display_columns(L"\U0010ffff"), 1U);
}

TEST(display_columns, counts_one_for_a_lone_surrogate) {
  const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xd83d), L'b'};
  EXPECT_EQ(display_columns({lone, 3}), 3U);
}

TEST(display_prefix, is_the_whole_text_where_it_fits) {
  EXPECT_EQ(display_prefix(L"abc", 3), L"abc");
  EXPECT_EQ(display_prefix(L"", 0), L"");
}

TEST(display_prefix, has_no_half_of_a_wide_character) {
  EXPECT_EQ(display_prefix(L"\u4e2d\u6587", 3), L"\u4e2d");
  EXPECT_EQ(display_prefix(L"\u4e2d\u6587", 1), L"");
}

TEST(display_prefix, splits_no_surrogate_pair) {
  EXPECT_EQ(display_prefix(L"a\U0001f600b", 2), L"a");
  EXPECT_EQ(display_prefix(L"a\U0001f600b", 3), L"a\U0001f600");
}

TEST(display_prefix, keeps_the_marks_of_its_last_character) {
  EXPECT_EQ(display_prefix(L"ae\u0301\u0323b", 2), L"ae\u0301\u0323");
}

}  // namespace
