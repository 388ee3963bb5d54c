#include "metadata/xmp_text.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using quill_box::metadata::find_from;
using quill_box::metadata::utf8_from_file_content;
using quill_box::metadata::xml_escape;
using quill_box::metadata::xml_unescape;

constexpr std::size_t none = std::string_view::npos;

TEST(find_from, gives_the_first_position_at_or_behind_the_start) {
  EXPECT_EQ(find_from("abcabc", "abc", 0), 0U);
  EXPECT_EQ(find_from("abcabc", "abc", 1), 3U);
  EXPECT_EQ(find_from("abcabc", "abc", 3), 3U);
  EXPECT_EQ(find_from("abcabc", "abc", 4), none);
}

TEST(find_from, finds_nothing_from_behind_the_end) {
  EXPECT_EQ(find_from("abc", "c", 3), none);
  EXPECT_EQ(find_from("abc", "c", 4), none);
  EXPECT_EQ(find_from("abc", "", none), none);
  EXPECT_EQ(find_from("abc", "a", none), none);
}

TEST(xml_escape, replaces_five_characters) { EXPECT_EQ(xml_escape("\"a&b'c<d>e"), "&quot;a&amp;b&apos;c&lt;d&gt;e"); }

TEST(xml_escape, escapes_what_is_an_entity_already) { EXPECT_EQ(xml_escape("&amp;"), "&amp;amp;"); }

TEST(xml_escape, leaves_other_bytes_alone) { EXPECT_EQ(xml_escape("\xc3\xa4\0\x80"sv), "\xc3\xa4\0\x80"sv); }

TEST(xml_unescape, undoes_the_five_entities) {
  EXPECT_EQ(xml_unescape("&amp;&lt;&gt;&quot;&apos;"), "&<>\"'");
  EXPECT_EQ(xml_unescape(xml_escape("\"a&b'c<d>e")), "\"a&b'c<d>e");
}

TEST(xml_unescape, goes_through_the_text_once) { EXPECT_EQ(xml_unescape("&amp;lt;"), "&lt;"); }

TEST(xml_unescape, copies_any_other_ampersand) {
  EXPECT_EQ(xml_unescape("&#38; &nbsp; & &am"), "&#38; &nbsp; & &am");
  EXPECT_EQ(xml_unescape("&"), "&");
  EXPECT_EQ(xml_unescape("&AMP;"), "&AMP;");
}

TEST(file_content, utf16_becomes_utf8_without_the_mark) {
  EXPECT_EQ(utf8_from_file_content(std::string("\xff\xfe"
                                               "a\0\xe4\0\x3d\xd8\x00\xde"sv)),
            "a\xc3\xa4\xf0\x9f\x98\x80");
}

TEST(file_content, an_odd_last_byte_of_utf16_is_left_out) {
  EXPECT_EQ(utf8_from_file_content(std::string("\xff\xfe"
                                               "a\0b"sv)),
            "a");
  EXPECT_EQ(utf8_from_file_content(std::string("\xff\xfe"
                                               "a"sv)),
            "");
  EXPECT_EQ(utf8_from_file_content(std::string("\xff\xfe"sv)), "");
}

TEST(file_content, the_mark_of_utf8_is_skipped) {
  EXPECT_EQ(utf8_from_file_content("\xef\xbb\xbf"
                                   "a"),
            "a");
}

TEST(file_content, anything_else_is_taken_as_it_is) {
  EXPECT_EQ(utf8_from_file_content("\xfe\xff\x80"), "\xfe\xff\x80");
  EXPECT_EQ(utf8_from_file_content("\xff"), "\xff");
  EXPECT_EQ(utf8_from_file_content("\xef\xbb"), "\xef\xbb");
  EXPECT_EQ(utf8_from_file_content(""), "");
}

}  // namespace
