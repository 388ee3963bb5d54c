// The contract of INI files, on each machine.
#include "platform/profile_strings.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/machine.h"
#include "support/contract_machines.h"
#include "support/native_capabilities.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"
#include "text/paths.h"

namespace {

using platform::win32_error;
using test_support::content_of;
using test_support::is_there;
using test_support::put_file;

const std::string byte_order_mark = "\xff\xfe";

// UTF-16 little-endian, for text of the basic plane.
std::string utf16(std::wstring_view text) {
  std::string bytes;
  for (const wchar_t c : text) {
    bytes.push_back(static_cast<char>(c & 0xff));
    bytes.push_back(static_cast<char>((c >> 8) & 0xff));
  }
  return bytes;
}

class profile_strings : public test_support::contract_test {
 protected:
  std::wstring read(const std::wstring& section, const std::wstring& key, std::size_t capacity = 4096) {
    const auto value = profiles_.read(path_, section, key, capacity);
    EXPECT_EQ(code_of(value.error()), 0U);
    return value ? *value : L"?";
  }
  void write(const std::wstring& section, const std::wstring& key, const std::wstring& value) {
    EXPECT_EQ(code_of(profiles_.write(path_, section, key, value)), 0U);
  }
  void delete_key(const std::wstring& section, const std::wstring& key) {
    EXPECT_EQ(code_of(profiles_.write(path_, section, key, std::nullopt)), 0U);
  }
  void delete_section(const std::wstring& section) { EXPECT_EQ(code_of(profiles_.delete_section(path_, section)), 0U); }

  platform::profile_strings& profiles_ = test_support::machine_under_test().profiles;
  test_support::scratch_folder scratch_;
  std::wstring path_ = scratch_ / L"desktop.ini";
};

// Reading.

TEST_P(profile_strings, what_is_missing_reads_as_an_empty_text) {
  EXPECT_EQ(read(L"section", L"key"), L"");
  EXPECT_FALSE(is_there(path_));
  put_file(path_, "[section]\r\nkey=value\r\n");
  EXPECT_EQ(read(L"section", L"other"), L"");
  EXPECT_EQ(read(L"other", L"key"), L"");
}

TEST_P(profile_strings, a_missing_folder_reads_as_an_empty_text) {
  path_ = scratch_ / L"no folder/desktop.ini";
  EXPECT_EQ(read(L"section", L"key"), L"");
}

TEST_P(profile_strings, a_folder_in_the_place_of_the_file_fails_the_read) {
  ASSERT_EQ(code_of(test_support::machine_under_test().files.create_directory(path_)), 0U);
  EXPECT_EQ(profiles_.read(path_, L"section", L"key", 100).error(), win32_error::access_denied);
}

TEST_P(profile_strings, a_file_that_another_program_keeps_to_itself_fails_the_read) {
  REQUIRE_CAPABILITY(sharing_violations);
  put_file(path_, "[section]\r\nkey=value\r\n");
  const auto other = test_support::machine_under_test().files.open(path_, {platform::access::read});
  ASSERT_TRUE(other);
  EXPECT_EQ(profiles_.read(path_, L"section", L"key", 100).error(), win32_error::sharing_violation);
}

TEST_P(profile_strings, a_key_is_read_from_its_own_section) {
  put_file(path_, "[first]\r\nkey=one\r\n[second]\r\nkey=two\r\n");
  EXPECT_EQ(read(L"first", L"key"), L"one");
  EXPECT_EQ(read(L"second", L"key"), L"two");
}

TEST_P(profile_strings, names_compare_without_case) {
  put_file(path_, "[Section]\r\nKey=value\r\n");
  EXPECT_EQ(read(L"SECTION", L"kEY"), L"value");
}

TEST_P(profile_strings, quotes_around_a_value_are_stripped) {
  put_file(path_, "[s]\r\ndouble=\"a b\"\r\nsingle='a b'\r\nopen=\"a b\r\nmixed=\"a b'\r\ninside=a \"b\" c\r\n");
  EXPECT_EQ(read(L"s", L"double"), L"a b");
  EXPECT_EQ(read(L"s", L"single"), L"a b");
  EXPECT_EQ(read(L"s", L"open"), L"\"a b");
  EXPECT_EQ(read(L"s", L"mixed"), L"\"a b'");
  EXPECT_EQ(read(L"s", L"inside"), L"a \"b\" c");
}

TEST_P(profile_strings, blanks_around_names_and_values_are_dropped) {
  put_file(path_, "[s]\r\n  key  =  a value  \r\n");
  EXPECT_EQ(read(L"s", L"key"), L"a value");
}

TEST_P(profile_strings, blanks_within_quotes_are_kept) {
  put_file(path_, "[s]\r\nkey=\"  a value  \"\r\n");
  EXPECT_EQ(read(L"s", L"key"), L"  a value  ");
}

TEST_P(profile_strings, a_value_holds_everything_behind_the_first_equals_sign) {
  put_file(path_, "[s]\r\nkey=a=b=c\r\n");
  EXPECT_EQ(read(L"s", L"key"), L"a=b=c");
}

TEST_P(profile_strings, a_value_is_cut_to_the_capacity_less_its_end_mark) {
  put_file(path_, "[s]\r\nkey=0123456789\r\n");
  EXPECT_EQ(read(L"s", L"key", 12), L"0123456789");
  EXPECT_EQ(read(L"s", L"key", 11), L"0123456789");
  EXPECT_EQ(read(L"s", L"key", 10), L"012345678");
  EXPECT_EQ(read(L"s", L"key", 2), L"0");
  EXPECT_EQ(read(L"s", L"key", 1), L"");
  EXPECT_EQ(read(L"s", L"key", 0), L"");
}

TEST_P(profile_strings, of_two_equal_keys_the_first_is_read) {
  put_file(path_, "[s]\r\nkey=one\r\nkey=two\r\n");
  EXPECT_EQ(read(L"s", L"key"), L"one");
}

TEST_P(profile_strings, lines_may_end_in_a_line_feed_alone_or_not_at_all) {
  put_file(path_, "[s]\nfirst=one\nlast=two");
  EXPECT_EQ(read(L"s", L"first"), L"one");
  EXPECT_EQ(read(L"s", L"last"), L"two");
}

TEST_P(profile_strings, utf16_text_with_a_byte_order_mark_is_read) {
  put_file(path_, byte_order_mark + utf16(L"\r\n[s]\r\nkey=\u65e5\u672c;\u00fcber\r\n"));
  EXPECT_EQ(read(L"s", L"key"), L"\u65e5\u672c;\u00fcber");
}

TEST_P(profile_strings, a_file_that_is_no_ini_file_reads_as_empty) {
  put_file(path_, std::string("\0\x01\x02[\0]=\xff\xfe\r\n\0", 12));
  EXPECT_EQ(read(L"s", L"key"), L"");
  put_file(path_, byte_order_mark + "\x41");
  EXPECT_EQ(read(L"s", L"key"), L"");
}

// Writing.

TEST_P(profile_strings, a_written_value_is_read_back) {
  write(L"s", L"key", L"value");
  EXPECT_EQ(read(L"s", L"key"), L"value");
  write(L"s", L"key", L"a longer value");
  EXPECT_EQ(read(L"s", L"key"), L"a longer value");
  write(L"s", L"key", L"short");
  EXPECT_EQ(read(L"s", L"key"), L"short");
}

TEST_P(profile_strings, a_missing_file_is_made_in_the_8_bit_form) {
  write(L"s", L"key", L"value");
  EXPECT_EQ(content_of(path_), "[s]\r\nkey=value\r\n");
}

TEST_P(profile_strings, a_missing_folder_fails_the_write) {
  const std::wstring path = scratch_ / L"no folder/desktop.ini";
  EXPECT_FALSE(succeeded(profiles_.write(path, L"s", L"key", L"value")));
  EXPECT_FALSE(is_there(path));
}

TEST_P(profile_strings, utf16_stays_utf16) {
  put_file(path_, byte_order_mark + utf16(L"\r\n"));
  write(L"s", L"key", L"\u65e5\u672c");
  EXPECT_EQ(read(L"s", L"key"), L"\u65e5\u672c");
  const std::string content = content_of(path_);
  EXPECT_TRUE(content.starts_with(byte_order_mark));
  EXPECT_TRUE(content.ends_with(utf16(L"[s]\r\nkey=\u65e5\u672c\r\n")));
  EXPECT_EQ(content.find(byte_order_mark, 1), std::string::npos);
}

TEST_P(profile_strings, eight_bit_text_stays_as_it_is) {
  put_file(path_, "[s]\r\nkey=value\r\n");
  write(L"s", L"key", L"changed");
  EXPECT_EQ(content_of(path_), "[s]\r\nkey=changed\r\n");
}

TEST_P(profile_strings, a_new_key_comes_into_its_section_behind_the_others) {
  put_file(path_, "[s]\r\nfirst=one\r\n[t]\r\nkey=value\r\n");
  write(L"s", L"second", L"two");
  EXPECT_EQ(content_of(path_), "[s]\r\nfirst=one\r\nsecond=two\r\n[t]\r\nkey=value\r\n");
}

TEST_P(profile_strings, a_new_section_comes_last) {
  put_file(path_, "[s]\r\nkey=value\r\n");
  write(L"t", L"key", L"value");
  EXPECT_EQ(content_of(path_), "[s]\r\nkey=value\r\n[t]\r\nkey=value\r\n");
}

TEST_P(profile_strings, a_key_keeps_its_place_among_comments_and_unknown_lines) {
  put_file(path_, "[s]\r\n;a comment\r\na line without a sign\r\nkey=value\r\nother=1\r\n[t]\r\n;another\r\n");
  write(L"s", L"key", L"changed");
  EXPECT_EQ(content_of(path_),
            "[s]\r\n;a comment\r\na line without a sign\r\nkey=changed\r\nother=1\r\n[t]\r\n;another\r\n");
}

TEST_P(profile_strings, lines_in_front_of_the_first_section_survive) {
  put_file(path_, ";head\r\n[s]\r\nkey=value\r\n");
  write(L"s", L"key", L"changed");
  EXPECT_EQ(content_of(path_), ";head\r\n[s]\r\nkey=changed\r\n");
}

TEST_P(profile_strings, names_are_found_without_case_when_written) {
  put_file(path_, "[Section]\r\nKey=value\r\n");
  write(L"SECTION", L"KEY", L"changed");
  EXPECT_EQ(content_of(path_), "[Section]\r\nKey=changed\r\n");
}

TEST_P(profile_strings, an_empty_value_keeps_its_key) {
  put_file(path_, "[s]\r\nkey=value\r\n");
  write(L"s", L"key", L"");
  EXPECT_EQ(content_of(path_), "[s]\r\nkey=\r\n");
}

TEST_P(profile_strings, a_long_value_is_written_whole) {
  const std::wstring value(10'000, L'x');
  write(L"s", L"key", value);
  EXPECT_EQ(read(L"s", L"key", 20'000), value);
  EXPECT_EQ(read(L"s", L"key", 4096), value.substr(0, 4095));
}

// Deleting.

TEST_P(profile_strings, a_deleted_key_leaves_its_section_and_the_other_keys) {
  put_file(path_, "[s]\r\nfirst=one\r\nsecond=two\r\n");
  delete_key(L"s", L"first");
  EXPECT_EQ(content_of(path_), "[s]\r\nsecond=two\r\n");
  delete_key(L"s", L"second");
  EXPECT_EQ(content_of(path_), "[s]\r\n");
}

TEST_P(profile_strings, deleting_what_is_not_there_changes_nothing) {
  put_file(path_, "[s]\r\nkey=value\r\n");
  delete_key(L"s", L"other");
  delete_key(L"t", L"key");
  delete_section(L"t");
  EXPECT_EQ(content_of(path_), "[s]\r\nkey=value\r\n");
}

TEST_P(profile_strings, a_deleted_section_leaves_the_others) {
  put_file(path_, "[s]\r\nkey=value\r\n[t]\r\nkey=value\r\n");
  delete_section(L"s");
  EXPECT_EQ(content_of(path_), "[t]\r\nkey=value\r\n");
  EXPECT_EQ(read(L"s", L"key"), L"");
}

TEST_P(profile_strings, sections_are_deleted_in_utf16_too) {
  put_file(path_, byte_order_mark + utf16(L"[s]\r\nkey=value\r\n[t]\r\nkey=value\r\n"));
  delete_section(L"s");
  EXPECT_EQ(content_of(path_), byte_order_mark + utf16(L"[t]\r\nkey=value\r\n"));
}

// Names of files.

TEST_P(profile_strings, a_path_over_260_characters_is_written_and_read) {
  REQUIRE_CAPABILITY(long_profile_paths);
  auto& files = test_support::machine_under_test().files;
  std::wstring folder = scratch_.path();
  for (int i = 0; i < 3; ++i) {
    folder = paths::join(folder, std::wstring(100, L'd'));
    ASSERT_EQ(code_of(files.create_directory(folder)), 0U);
  }
  path_ = paths::join(folder, L"desktop.ini");
  put_file(path_, "[s]\r\nold=1\r\n");
  write(L"s", L"key", L"value");
  EXPECT_EQ(read(L"s", L"key"), L"value");
  EXPECT_EQ(content_of(path_), "[s]\r\nold=1\r\nkey=value\r\n");
}

RUN_ON_EACH_MACHINE(profile_strings);

}  // namespace
