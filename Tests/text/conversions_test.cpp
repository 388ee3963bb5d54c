#include "text/conversions.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

using text::utf8_from_wide;
using text::wide_from_utf8;

// One character of each length in UTF-8.
struct character {
  const wchar_t* wide;
  const char* utf8;
};
constexpr character characters[] = {
    {L"A", "A"},
    {L"\u00e9", "\xc3\xa9"},
    {L"\u20ac", "\xe2\x82\xac"},
    {L"\U0001f600", "\xf0\x9f\x98\x80"},
    {L"\U0010ffff", "\xf4\x8f\xbf\xbf"},
    {L"\uffff", "\xef\xbf\xbf"},
};

const std::wstring replacement = L"\ufffd";
const std::string utf8_replacement = "\xef\xbf\xbd";

TEST(conversions, characters_of_every_length_go_both_ways) {
  for (const character& c : characters) {
    EXPECT_EQ(utf8_from_wide(c.wide), c.utf8);
    EXPECT_EQ(wide_from_utf8(c.utf8), c.wide);
  }
}

TEST(conversions, a_character_changes_nothing_around_it_wherever_it_stands) {
  for (const character& c : characters) {
    for (std::size_t length = 0; length < 100; ++length) {
      for (std::size_t at = 0; at <= length; ++at) {
        const std::wstring wide = std::wstring(at, L'a') + c.wide + std::wstring(length - at, L'b');
        const std::string utf8 = std::string(at, 'a') + c.utf8 + std::string(length - at, 'b');
        ASSERT_EQ(utf8_from_wide(wide), utf8);
        ASSERT_EQ(wide_from_utf8(utf8), wide);
      }
    }
  }
}

TEST(conversions, empty_stays_empty) {
  EXPECT_EQ(utf8_from_wide(L""), "");
  EXPECT_EQ(wide_from_utf8(""), L"");
}

TEST(conversions, a_nul_is_a_character_like_any_other) {
  EXPECT_EQ(utf8_from_wide(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(wide_from_utf8(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(conversions, a_lone_surrogate_becomes_the_replacement_character) {
  const std::array<wchar_t, 3> high = {L'a', static_cast<wchar_t>(0xd83d), L'b'};
  const std::array<wchar_t, 3> low = {L'a', static_cast<wchar_t>(0xde00), L'b'};
  EXPECT_EQ(utf8_from_wide(std::wstring(high.begin(), high.end())), "a" + utf8_replacement + "b");
  EXPECT_EQ(utf8_from_wide(std::wstring(low.begin(), low.end())), "a" + utf8_replacement + "b");
  EXPECT_EQ(utf8_from_wide(std::wstring(high.begin(), high.begin() + 2)), "a" + utf8_replacement);
}

TEST(conversions, bytes_that_are_no_utf8_become_replacement_characters) {
  EXPECT_EQ(wide_from_utf8("a\xff z"), L"a" + replacement + L" z");
  EXPECT_EQ(wide_from_utf8("\x80"), replacement) << "a continuation byte on its own";
  EXPECT_EQ(wide_from_utf8("\xe2\x82"), replacement) << "a sequence cut at the end";
  EXPECT_EQ(wide_from_utf8("\xe2\x82z"), replacement + L"z") << "a sequence cut by another character";
  EXPECT_EQ(wide_from_utf8("\xe2\xe2\x82\xac"), replacement + L"\u20ac") << "a sequence cut by another one";
}

TEST(conversions, overlong_forms_surrogates_and_values_beyond_unicode_are_refused_byte_by_byte) {
  const std::wstring two = replacement + replacement;
  EXPECT_EQ(wide_from_utf8("\xc0\xaf"), two) << "\"/\" in two bytes";
  EXPECT_EQ(wide_from_utf8("\xe0\x80\xaf"), two + replacement) << "\"/\" in three bytes";
  EXPECT_EQ(wide_from_utf8("\xf0\x80\x80\xaf"), two + two) << "\"/\" in four bytes";
  EXPECT_EQ(wide_from_utf8("\xed\xa0\xbd"), two + replacement) << "a surrogate";
  EXPECT_EQ(wide_from_utf8("\xf4\x90\x80\x80"), two + two) << "U+110000";
  EXPECT_EQ(wide_from_utf8("\xf5\x80\x80\x80"), two + two);
}

TEST(conversions, every_pair_of_bytes_gives_text_that_survives_a_round_trip) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
      const std::wstring wide = wide_from_utf8(bytes);
      ASSERT_EQ(wide_from_utf8(utf8_from_wide(wide)), wide) << first << " " << second;
    }
  }
}

TEST(conversions, appending_keeps_what_is_there) {
  std::string utf8 = "a";
  text::append_utf8(utf8, L"\u00e9");
  EXPECT_EQ(utf8, "a\xc3\xa9");
}

TEST(is_unicode, holds_for_what_survives_the_way_to_utf8_and_back) {
  for (const wchar_t* text : {L"", L"a", L"\u00e9\uffff", L"\U0001F600", L"\ufffd"}) {
    EXPECT_TRUE(text::is_unicode(text));
  }
  for (const std::wstring& text : {std::wstring(L"a\xd800"), std::wstring(L"\xdc80z"), std::wstring(L"\xdc5c")}) {
    EXPECT_FALSE(text::is_unicode(text));
  }
}

TEST(utf16_from_wide, gives_the_units_that_text_is_ordered_by) {
  EXPECT_EQ(text::utf16_from_wide(L""), u"");
  EXPECT_EQ(text::utf16_from_wide(L"a\u20ac\uffff"), u"a\u20ac\uffff");
  EXPECT_EQ(text::utf16_from_wide(L"\U00010000\U0001f600\U0010ffff"), u"\U00010000\U0001f600\U0010ffff");
  EXPECT_LT(text::utf16_from_wide(L"\U0001f600"), text::utf16_from_wide(L"\uff21"));
}

TEST(utf16_length, counts_units_and_not_characters) {
  EXPECT_EQ(text::utf16_length(L""), 0);
  EXPECT_EQ(text::utf16_length(L"a\u20ac"), 2);
  EXPECT_EQ(text::utf16_length(L"a\U0001f600b"), 4);
}

TEST(utf16_prefix, takes_as_many_units_as_fit) {
  EXPECT_EQ(text::utf16_prefix(L"abc", 0), L"");
  EXPECT_EQ(text::utf16_prefix(L"abc", 2), L"ab");
  EXPECT_EQ(text::utf16_prefix(L"abc", 3), L"abc");
  EXPECT_EQ(text::utf16_prefix(L"abc", 100), L"abc");
}

TEST(utf16_prefix, splits_no_character) {
  EXPECT_EQ(text::utf16_prefix(L"a\U0001f600b", 2), L"a");
  EXPECT_EQ(text::utf16_prefix(L"a\U0001f600b", 3), L"a\U0001f600");
  EXPECT_EQ(text::utf16_prefix(L"a\U0001f600b", 4), L"a\U0001f600b");
}

TEST(conversions, characters_of_long_text_stay_whole_wherever_they_stand) {
  for (std::size_t before = 250; before < 260; ++before) {
    const std::string utf8 = std::string(before, 'a') + "\U0001F600\u00e9" + std::string(600, 'b') + "\U0001F600";
    EXPECT_EQ(text::utf8_from_wide(text::wide_from_utf8(utf8)), utf8) << before;
  }
}

}  // namespace
