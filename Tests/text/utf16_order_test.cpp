#include <gtest/gtest.h>

#include <string>

#include "text/conversions.h"
#include "text/letter_case.h"

namespace {

TEST(utf16_order, a_character_beyond_the_first_plane_stands_before_the_end_of_that_plane) {
  EXPECT_LT(text::compare_ignoring_case(L"\U0001F600", L"\uFF21"), 0);
  EXPECT_GT(text::compare_ignoring_case(L"\uFF21", L"\U0001F600"), 0);
  EXPECT_GT(text::compare_ignoring_case(L"\U0001F600", L"z"), 0);
  EXPECT_LT(text::compare_ignoring_case(L"\U0001F600", L"\U0001F601"), 0);
}

TEST(wide_from_utf16le, reads_characters_of_one_unit_and_of_two) {
  using namespace std::string_view_literals;
  EXPECT_EQ(text::wide_from_utf16le("A\0\xe4\0\x3d\xd8\x00\xde"sv), L"A\u00e4\U0001F600");
  EXPECT_EQ(text::wide_from_utf16le(""sv), L"");
}

TEST(wide_from_utf16le, leaves_out_an_odd_last_byte) {
  using namespace std::string_view_literals;
  EXPECT_EQ(text::wide_from_utf16le("A\0B"sv), L"A");
  EXPECT_EQ(text::wide_from_utf16le("A"sv), L"");
}

TEST(wide_from_utf16le, replaces_each_half_of_a_pair_that_stands_alone) {
  using namespace std::string_view_literals;
  EXPECT_EQ(text::wide_from_utf16le("\x3d\xd8"sv), L"\uFFFD");
  EXPECT_EQ(text::wide_from_utf16le("\x3d\xd8"
                                    "A\0"sv),
            L"\uFFFDA");
  EXPECT_EQ(text::wide_from_utf16le("\x00\xde\x3d\xd8"sv), L"\uFFFD\uFFFD");
  EXPECT_EQ(text::wide_from_utf16le("\x3d\xd8\x3d\xd8\x00\xde"sv), L"\uFFFD\U0001F600");
}

}  // namespace
