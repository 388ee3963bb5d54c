#include "platform/host/ini_text.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

using platform::host::ini_value;
using platform::host::with_ini_value;
using platform::host::without_ini_key;
using platform::host::without_ini_section;

// UTF-16 with its mark, from ASCII.
std::string utf16(std::string_view ascii) {
  std::string bytes = "\xff\xfe";
  for (const char c : ascii)
    bytes.append({c, '\0'});
  return bytes;
}

constexpr std::string_view sample =
    "; made by hand\r\n"
    "\r\n"
    "[ .ShellClassInfo ]\r\n"
    "  IconResource = \"C:\\icons\\a b.ico\",3 \r\n"
    "Quoted='one'\r\n"
    "Half=\"one\r\n"
    ";Key=no\r\n"
    "line without a sign\r\n"
    "\r\n"
    "[Other]\r\n"
    "Key=first\r\n"
    "key=second\r\n"
    "[OTHER]\r\n"
    "Late=never\r\n";

TEST(ini_text, reads_names_without_case_and_blanks) {
  EXPECT_EQ(ini_value(sample, L".shellclassinfo", L"ICONRESOURCE"), L"\"C:\\icons\\a b.ico\",3");
  EXPECT_EQ(ini_value(sample, L" Other ", L" key "), L"first");
}

TEST(ini_text, strips_one_pair_of_quotes) {
  EXPECT_EQ(ini_value(sample, L".ShellClassInfo", L"Quoted"), L"one");
  EXPECT_EQ(ini_value(sample, L".ShellClassInfo", L"Half"), L"\"one");
  EXPECT_EQ(ini_value("[a]\nb=\"\"c\"\"", L"a", L"b"), L"\"c\"");
  EXPECT_EQ(ini_value("[a]\nb=\"", L"a", L"b"), L"\"");
  EXPECT_EQ(ini_value("[a]\nb=\" c \" ", L"a", L"b"), L" c ");
  EXPECT_EQ(ini_value("[a]\nb='c\"", L"a", L"b"), L"'c\"");
}

TEST(ini_text, passes_over_comments_and_lines_without_a_sign) {
  EXPECT_EQ(ini_value(sample, L".ShellClassInfo", L";Key"), std::nullopt);
  EXPECT_EQ(ini_value(sample, L".ShellClassInfo", L"line without a sign"), std::nullopt);
}

TEST(ini_text, takes_the_first_section_and_the_first_key_of_a_name) {
  EXPECT_EQ(ini_value(sample, L"other", L"KEY"), L"first");
  EXPECT_EQ(ini_value(sample, L"other", L"Late"), std::nullopt);
}

TEST(ini_text, has_no_value_for_missing_names_and_an_empty_one_for_a_bare_sign) {
  EXPECT_EQ(ini_value("", L"a", L"b"), std::nullopt);
  EXPECT_EQ(ini_value("b=1\n[c]\nb=2", L"a", L"b"), std::nullopt);
  EXPECT_EQ(ini_value("[a]\nb=", L"a", L"b"), L"");
}

TEST(ini_text, ends_lines_at_lf_cr_and_both) {
  EXPECT_EQ(ini_value("[a]\rb=1\rc=2\nd=3\r\ne=4", L"a", L"c"), L"2");
  EXPECT_EQ(ini_value("[a]\rb=1\rc=2\nd=3\r\ne=4", L"a", L"e"), L"4");
}

TEST(ini_text, reads_bytes_as_utf8_and_others_as_windows_1252) {
  EXPECT_EQ(ini_value("[a]\nb=\xc3\xa9t\xc3\xa9", L"a", L"b"), L"\u00e9t\u00e9");
  EXPECT_EQ(ini_value("[a]\nb=\xe9t\xe9 \x80\x81", L"a", L"b"), L"\u00e9t\u00e9 \u20ac\u0081");
  EXPECT_EQ(ini_value("[\xc3\x89T\xc3\x89]\nb=1", L"\u00e9t\u00e9", L"b"), L"1");
}

TEST(ini_text, reads_behind_a_utf8_mark) { EXPECT_EQ(ini_value("\xef\xbb\xbf[a]\nb=1", L"a", L"b"), L"1"); }

TEST(ini_text, reads_utf16) {
  EXPECT_EQ(ini_value(utf16("\r\n[a]\r\nb = 1 \r\n"), L"A", L"B"), L"1");
  // U+0D0A and U+0A5B hold the bytes of line ends and signs, but are neither.
  const std::string bytes = utf16("[a]\r\nb=") + "\x0a\x0d\x5b\x0a";
  EXPECT_EQ(ini_value(bytes, L"a", L"b"), L"\u0d0a\u0a5b");
}

TEST(ini_text, sets_a_value_in_its_place_and_keeps_every_other_byte) {
  EXPECT_EQ(with_ini_value("; \xe9\n[a]\n b =1 \nc=2", L"A", L"B", L"x"), "; \xe9\n[a]\n b =x\nc=2");
  std::string expected(sample);
  expected.replace(expected.find("first"), 5, "new");
  EXPECT_EQ(with_ini_value(sample, L"other", L"key", L"new"), expected);
}

TEST(ini_text, adds_a_key_in_front_of_the_blank_lines_at_its_section_s_end) {
  std::string expected(sample);
  const std::string line = "line without a sign\r\n";
  expected.insert(expected.find(line) + line.size(), "New=1\r\n");
  EXPECT_EQ(with_ini_value(sample, L".ShellClassInfo", L"New", L"1"), expected);
  EXPECT_EQ(with_ini_value("[a]\n\n\n", L"a", L"b", L"1"), "[a]\nb=1\n\n\n");
}

TEST(ini_text, adds_a_key_behind_a_last_line_without_an_end) {
  EXPECT_EQ(with_ini_value("[a]\nb=1", L"a", L"c", L"2"), "[a]\nb=1\nc=2\n");
  EXPECT_EQ(with_ini_value("[a]", L"a", L"c", L"2"), "[a]\r\nc=2\r\n");
}

TEST(ini_text, adds_a_section_at_the_end) {
  EXPECT_EQ(with_ini_value("", L"a", L"b", L"1"), "[a]\r\nb=1\r\n");
  EXPECT_EQ(with_ini_value("[x]\ny=1", L"a", L"b", L"2"), "[x]\ny=1\n[a]\nb=2\n");
  EXPECT_EQ(with_ini_value("[x]\ry=1\r", L"a", L"b", L"2"), "[x]\ry=1\r[a]\rb=2\r");
}

TEST(ini_text, keeps_utf16) {
  EXPECT_EQ(with_ini_value(utf16("\r\n"), L"a", L"b", L"1"), utf16("\r\n[a]\r\nb=1\r\n"));
  EXPECT_EQ(with_ini_value(utf16("[a]\r\nb=1\r\n"), L"a", L"b", L"22"), utf16("[a]\r\nb=22\r\n"));
  const std::string wide = with_ini_value(utf16(""), L"a", L"b", L"\u00e9\U0001f600");
  EXPECT_EQ(wide,
            utf16("[a]\r\nb=") + "\xe9" + '\0' + "\x3d\xd8" + std::string("\x00\xde", 2) + utf16("\r\n").substr(2));
  EXPECT_EQ(ini_value(wide, L"a", L"b"), L"\u00e9\U0001f600");
}

TEST(ini_text, half_a_unit_at_the_end_does_not_shift_what_is_added) {
  EXPECT_EQ(with_ini_value(utf16("[a]\r\n") + "x", L"a", L"b", L"1"), utf16("[a]\r\nb=1\r\n"));
  EXPECT_EQ(ini_value(std::string("\xff\xfe") + "x", L"a", L"b"), std::nullopt);
}

TEST(ini_text, a_line_end_in_a_value_can_not_start_a_line) {
  EXPECT_EQ(with_ini_value("", L"a", L"b", L"1\r\n[c]"), "[a]\r\nb=1  [c]\r\n");
  EXPECT_EQ(with_ini_value("", L"a", L"b", std::wstring(L"1\0z", 3)), "[a]\r\nb=1\r\n");
}

TEST(ini_text, removes_the_first_line_of_a_key) {
  std::string expected(sample);
  const std::string line = "Key=first\r\n";
  expected.erase(expected.find(line), line.size());
  EXPECT_EQ(without_ini_key(sample, L"Other", L"KEY"), expected);
  EXPECT_EQ(without_ini_key(sample, L"Other", L"missing"), sample);
  EXPECT_EQ(without_ini_key(sample, L"missing", L"key"), sample);
}

TEST(ini_text, removes_a_section_up_to_the_next) {
  EXPECT_EQ(without_ini_section("; x\n[a]\nb=1\n;c\n\n[d]\ne=2\n", L"A"), "; x\n[d]\ne=2\n");
  EXPECT_EQ(without_ini_section("[d]\ne=2\n[a]\nb=1", L"a"), "[d]\ne=2\n");
  EXPECT_EQ(without_ini_section(sample, L"missing"), sample);
}

TEST(ini_text, files_of_nuls_stay_what_they_are) {
  const std::string nuls(1000, '\0');
  EXPECT_EQ(ini_value(nuls, L"a", L"b"), std::nullopt);
  EXPECT_EQ(with_ini_value(nuls, L"a", L"b", L"1"), nuls + "\r\n[a]\r\nb=1\r\n");
  const std::string mixed("[a]\nx\0y=1\nb\0=2\n", 15);
  EXPECT_EQ(with_ini_value(mixed, L"a", L"c", L"3"), mixed + "c=3\n");
}

TEST(ini_text, ten_megabytes_take_linear_time) {
  constexpr std::size_t size = 10'000'000;
  std::string lines = "[a]\n";
  while (lines.size() < size)
    lines += "some key=some value\n";
  const std::string one_line = "[a]\nb=" + std::string(size, '[');
  const std::string heads(size, '[');
  const std::clock_t start = std::clock();
  EXPECT_EQ(with_ini_value(lines, L"a", L"c", L"1"), lines + "c=1\n");
  EXPECT_EQ(ini_value(one_line, L"a", L"b")->size(), size);
  EXPECT_EQ(ini_value(heads, L"a", L"b"), std::nullopt);
  EXPECT_EQ(ini_value(utf16(lines), L"a", L"some key"), L"some value");
  // Seconds of processor time even with the sanitizers; far beyond this where it grows with the square of the size.
  EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 60);
}

}  // namespace
