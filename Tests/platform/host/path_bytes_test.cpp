#include "platform/host/path_bytes.h"

#include <gtest/gtest.h>

namespace {

using platform::win32_error;
using platform::host::path_bytes;
using platform::host::wide_from_bytes;

std::string bytes_of(const std::wstring& path) {
  const path_bytes bytes(path);
  EXPECT_EQ(bytes.error(), win32_error::success);
  EXPECT_EQ(bytes.c_str()[bytes.view().size()], '\0');
  return std::string(bytes.view());
}

TEST(path_bytes, keeps_an_absolute_posix_path) { EXPECT_EQ(bytes_of(L"/home/u/a.jpg"), "/home/u/a.jpg"); }

TEST(path_bytes, takes_a_backslash_for_a_separator) { EXPECT_EQ(bytes_of(LR"(/home\u\a.jpg)"), "/home/u/a.jpg"); }

TEST(path_bytes, takes_a_backslash_for_a_separator_wherever_it_stands) {
  for (const std::wstring& start : {std::wstring(L"/"), std::wstring(L"/\u00e9")}) {
    for (std::size_t length = 0; length < 40; ++length) {
      const std::wstring front = start + std::wstring(length, L'a');
      EXPECT_EQ(bytes_of(front + LR"(\b)"), bytes_of(front + L"/b"));
      EXPECT_EQ(bytes_of(front + LR"(\b\c\d and more behind it)"), bytes_of(front + L"/b/c/d and more behind it"));
    }
  }
}

TEST(path_bytes, drops_the_long_path_prefix) { EXPECT_EQ(bytes_of(LR"(\\?\/home/u\a)"), "/home/u/a"); }

TEST(path_bytes, writes_utf8_of_one_to_four_bytes) {
  EXPECT_EQ(bytes_of(L"/a\u00e9\u20ac\U0001f600"), "/a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(path_bytes, finds_nothing_at_drives_shares_and_no_path) {
  for (const wchar_t* path : {LR"(C:\a)", L"c:/a", L"C:", L"z:a", LR"(\\server\share\a)", LR"(\\?\C:\a)",
                              LR"(\\?\UNC\server\share)", LR"(\\.\C:)", LR"(\\?\)", L""}) {
    EXPECT_EQ(path_bytes(path).error(), win32_error::path_not_found) << testing::PrintToString(std::wstring(path));
  }
}

TEST(path_bytes, refuses_a_nul_as_a_name) {
  const path_bytes bytes(std::wstring(L"/a\0b", 4));
  EXPECT_EQ(bytes.error(), win32_error::invalid_name);
  EXPECT_EQ(bytes.view(), "");
  EXPECT_STREQ(bytes.c_str(), "");
  for (std::size_t length = 1; length < 100; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::wstring path(length, L'a');
      path[at] = L'\0';
      ASSERT_EQ(path_bytes(path).error(), win32_error::invalid_name) << at << " of " << length;
    }
  }
}

TEST(path_bytes, keeps_what_stands_around_a_character_wherever_it_stands) {
  for (std::size_t length = 1; length < 100; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::wstring path(length, L'a');
      path[at] = L'\u20ac';
      ASSERT_EQ(bytes_of(path), std::string(at, 'a') + "\xe2\x82\xac" + std::string(length - at - 1, 'a'));
    }
  }
}

TEST(path_bytes, refuses_characters_that_no_encoding_has) {
  for (const wchar_t c : {wchar_t{0xd800}, wchar_t{0xdbff}, wchar_t{0xdc7f}, wchar_t{0xdd00}, wchar_t{0x110000}}) {
    EXPECT_EQ(path_bytes(std::wstring(L"/a") + c).error(), win32_error::invalid_name) << static_cast<int>(c);
  }
}

TEST(path_bytes, takes_the_longest_path_of_the_system_and_no_longer) {
  EXPECT_EQ(bytes_of(std::wstring(PATH_MAX - 1, L'a')).size(), PATH_MAX - 1U);
  EXPECT_EQ(path_bytes(std::wstring(PATH_MAX, L'a')).error(), win32_error::filename_exceeds_range);
  EXPECT_EQ(path_bytes(std::wstring(100'000, L'a')).error(), win32_error::filename_exceeds_range);
  EXPECT_EQ(path_bytes(std::wstring(PATH_MAX - 2, L'a') + L"\u00e9").error(), win32_error::filename_exceeds_range);
}

TEST(path_bytes, brings_every_byte_string_back) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      if (first == '\\' || second == '\\') continue;
      const std::string bytes = {'/', static_cast<char>(first), static_cast<char>(second), 'x'};
      ASSERT_EQ(bytes_of(wide_from_bytes(bytes)), bytes) << first << ' ' << second;
    }
  }
}

TEST(path_bytes, reads_a_byte_that_is_no_utf8_as_a_lone_surrogate) {
  EXPECT_EQ(wide_from_bytes("a\xff"), (std::wstring{L'a', wchar_t{0xdcff}}));
  EXPECT_EQ(wide_from_bytes("\xc3"), (std::wstring{wchar_t{0xdcc3}}));
  EXPECT_EQ(wide_from_bytes("\xc3\xa9"), L"\u00e9");
}

TEST(path_bytes, keeps_overlong_forms_surrogates_and_values_beyond_unicode_as_bytes) {
  for (const std::string bytes : {"\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xf0\x80\x80\xaf"}) {
    const std::wstring wide = wide_from_bytes(bytes);
    EXPECT_EQ(wide.size(), bytes.size());
    EXPECT_EQ(bytes_of(wide), bytes);
  }
}

TEST(path_bytes, finds_the_parent_and_the_last_name) {
  using platform::host::last_name_of;
  using platform::host::parent_of;
  EXPECT_EQ(parent_of("/a/b"), "/a");
  EXPECT_EQ(parent_of("/a//b//"), "/a");
  EXPECT_EQ(parent_of("/a"), "/");
  EXPECT_EQ(parent_of("/"), "/");
  EXPECT_EQ(parent_of("a"), ".");
  EXPECT_EQ(parent_of("a/b"), "a");
  EXPECT_EQ(last_name_of("/a/.b//"), ".b");
  EXPECT_EQ(last_name_of("a"), "a");
  EXPECT_EQ(last_name_of("/"), "");
}

TEST(path_bytes, a_backslash_in_a_name_comes_back_as_a_backslash) {
  const std::wstring name = platform::host::wide_name_from_bytes("a\\b\xff");
  EXPECT_EQ(name, (std::wstring{L'a', wchar_t{0xdc5c}, L'b', wchar_t{0xdcff}}));
  EXPECT_EQ(path_bytes(name).view(), "a\\b\xff");
}

TEST(path_bytes, no_other_plain_character_can_come_in_disguise) {
  for (wchar_t c = 0xdc00; c < 0xdc80; ++c) {
    if (c == 0xdc5c) continue;
    EXPECT_EQ(path_bytes(std::wstring{L'a', c}).error(), win32_error::invalid_name);
  }
}

}  // namespace
