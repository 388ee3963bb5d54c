#include "text/letter_case.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using text::compare_ignoring_case;
using text::equal_ignoring_case;
using text::to_lower;

TEST(letter_case, lowers_letters_of_every_script_that_has_two_cases) {
  EXPECT_EQ(to_lower(L"ABC xyz 0_[@`{"), L"abc xyz 0_[@`{");
  EXPECT_EQ(to_lower(L"\u00c4\u00d6\u00dc\u00c9"), L"\u00e4\u00f6\u00fc\u00e9");  // Latin
  EXPECT_EQ(to_lower(L"\u0391\u03a9"), L"\u03b1\u03c9");                          // Greek
  EXPECT_EQ(to_lower(L"\u0416\u0401"), L"\u0436\u0451");                          // Cyrillic
  EXPECT_EQ(to_lower(L"\u0531"), L"\u0561");                                      // Armenian
  EXPECT_EQ(to_lower(L"\uff21"), L"\uff41");                                      // full width
  EXPECT_EQ(to_lower(L"\u0178"), L"\u00ff");                                      // far from its lower case
}

TEST(letter_case, every_second_letter_is_upper_case_in_latin_extended) {
  EXPECT_EQ(to_lower(L"\u0100\u0101\u0102\u0103"), L"\u0101\u0101\u0103\u0103");
  EXPECT_EQ(to_lower(L"\u0139\u013a"), L"\u013a\u013a");
}

TEST(letter_case, leaves_everything_else_alone) {
  EXPECT_EQ(to_lower(L"\u00d7\u00f7\u00df\u20ac\u4e2d\u05d0"), L"\u00d7\u00f7\u00df\u20ac\u4e2d\u05d0");
  EXPECT_EQ(to_lower(L"\U00010400"), L"\U00010400") << "beyond U+FFFF";
  EXPECT_EQ(to_lower(L""), L"");
}

TEST(letter_case, lowering_twice_is_lowering_once_but_for_no_unit) {
  for (int unit = 0; unit < 0x10000; ++unit) {
    const wchar_t lower = to_lower(static_cast<wchar_t>(unit));
    ASSERT_EQ(to_lower(lower), lower) << unit;
  }
}

TEST(compare_ignoring_case, orders_by_lowered_units_with_a_prefix_first) {
  EXPECT_EQ(compare_ignoring_case(L"Beach", L"beach"), 0);
  EXPECT_LT(compare_ignoring_case(L"A", L"b"), 0);
  EXPECT_GT(compare_ignoring_case(L"b", L"A"), 0);
  EXPECT_LT(compare_ignoring_case(L"be", L"Beach"), 0);
  EXPECT_GT(compare_ignoring_case(L"Beach", L"be"), 0);
  EXPECT_LT(compare_ignoring_case(L"", L"a"), 0);
  EXPECT_EQ(compare_ignoring_case(L"", L""), 0);
  EXPECT_LT(compare_ignoring_case(L"_", L"A"), 0) << "the underscore stands between the two cases";
}

TEST(compare_ignoring_case, sorts_a_list_without_regard_to_case) {
  std::vector<std::wstring> list = {L"b", L"A", L"c"};
  std::sort(list.begin(), list.end(), [](const auto& a, const auto& b) { return compare_ignoring_case(a, b) < 0; });
  EXPECT_EQ(list, (std::vector<std::wstring>{L"A", L"b", L"c"}));
}

TEST(equal_ignoring_case, wants_the_same_length) {
  EXPECT_TRUE(equal_ignoring_case(L"\u00c4pfel", L"\u00e4PFEL"));
  EXPECT_FALSE(equal_ignoring_case(L"a", L"ab"));
  EXPECT_FALSE(equal_ignoring_case(L"\u00df", L"SS"));
}

}  // namespace
