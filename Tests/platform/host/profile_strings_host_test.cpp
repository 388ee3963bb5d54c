#include "platform/host/profile_strings.h"

#include <gtest/gtest.h>
#include <sys/file.h>

#include <array>

#include "platform/host/host_files.h"

namespace {

using host_test::content;
using host_test::put;
using platform::win32_error;

struct profile_strings_host_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("desktop.ini");
  std::wstring file = std::wstring(path.begin(), path.end());
  platform::profile_strings& profiles = platform::host::profile_strings_instance();

  std::wstring value(const std::wstring& section, const std::wstring& key, std::size_t capacity) {
    const auto read = profiles.read(file, section, key, capacity);
    EXPECT_EQ(read.error(), win32_error::success);
    return read ? *read : L"?";
  }
};

TEST_F(profile_strings_host_test, a_missing_file_is_created_by_a_value_only) {
  EXPECT_EQ(value(L"a", L"b", 100), L"");
  EXPECT_EQ(profiles.write(file, L"a", L"b", std::nullopt), win32_error::success);
  EXPECT_EQ(profiles.delete_section(file, L"a"), win32_error::success);
  EXPECT_TRUE(folder.names().empty());
  EXPECT_EQ(profiles.write(file, L"a", L"b", L"\u00e9"), win32_error::success);
  EXPECT_EQ(content(path), "[a]\r\nb=\xc3\xa9\r\n");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"desktop.ini"});
}

TEST_F(profile_strings_host_test, sets_reads_and_deletes) {
  EXPECT_EQ(profiles.write(file, L"QuillBox", L"Tags", L"a;b"), win32_error::success);
  EXPECT_EQ(profiles.write(file, L"QuillBox", L"Rating", L"4"), win32_error::success);
  EXPECT_EQ(value(L"quillbox", L"TAGS", 100), L"a;b");
  EXPECT_EQ(profiles.write(file, L"QuillBox", L"Tags", std::nullopt), win32_error::success);
  EXPECT_EQ(content(path), "[QuillBox]\r\nRating=4\r\n");
  EXPECT_EQ(profiles.delete_section(file, L"QuillBox"), win32_error::success);
  EXPECT_EQ(content(path), "");
}

TEST_F(profile_strings_host_test, a_value_is_cut_to_its_buffer_between_characters) {
  put(path, "[a]\nb=12345\nc=1\xf0\x9f\x98\x80");
  EXPECT_EQ(value(L"a", L"b", 6), L"12345");
  EXPECT_EQ(value(L"a", L"b", 5), L"1234");
  EXPECT_EQ(value(L"a", L"b", 1), L"");
  EXPECT_EQ(value(L"a", L"b", 0), L"");
  EXPECT_EQ(value(L"a", L"c", 3), L"1");
  EXPECT_EQ(value(L"a", L"c", 4), L"1\U0001f600");
}

TEST_F(profile_strings_host_test, attributes_and_mode_of_the_file_are_kept) {
  put(path, "[a]\nb=1\n");
  ASSERT_TRUE(host_test::set_attribute(path, "user.DOSATTRIB", "0x6"));
  ASSERT_EQ(::chmod(path.c_str(), 0604), 0);
  EXPECT_EQ(profiles.write(file, L"a", L"b", L"2"), win32_error::success);
  EXPECT_EQ(content(path), "[a]\nb=2\n");
  EXPECT_EQ(host_test::attribute(path, "user.DOSATTRIB"), "0x6");
  EXPECT_EQ(host_test::status_of(path).st_mode & 0777, 0604u);
}

TEST_F(profile_strings_host_test, a_write_that_changes_nothing_leaves_the_file_alone) {
  put(path, "[a]\nb=1\n");
  const ino_t inode = host_test::status_of(path).st_ino;
  EXPECT_EQ(profiles.write(file, L"a", L"b", L"1"), win32_error::success);
  EXPECT_EQ(profiles.write(file, L"a", L"c", std::nullopt), win32_error::success);
  EXPECT_EQ(host_test::status_of(path).st_ino, inode);
}

TEST_F(profile_strings_host_test, a_read_only_file_and_a_folder_are_refused) {
  put(path, "[a]\nb=1\n");
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(profiles.write(file, L"a", L"b", L"2"), win32_error::access_denied);
  EXPECT_EQ(content(path), "[a]\nb=1\n");
  const std::string other = folder.folder();
  EXPECT_EQ(profiles.write(std::wstring(other.begin(), other.end()), L"a", L"b", L"2"), win32_error::access_denied);
  EXPECT_EQ(profiles.read(std::wstring(other.begin(), other.end()), L"a", L"b", 10).error(),
            win32_error::access_denied);
}

TEST_F(profile_strings_host_test, paths_that_name_nothing_here_are_refused) {
  EXPECT_EQ(profiles.write(file + L"/deeper.ini", L"a", L"b", L"2"), win32_error::path_not_found);
  EXPECT_EQ(profiles.write(LR"(C:\desktop.ini)", L"a", L"b", L"2"), win32_error::path_not_found);
  EXPECT_EQ(profiles.write(L"", L"a", L"b", L"2"), win32_error::path_not_found);
  EXPECT_EQ(profiles.read(L"", L"a", L"b", 10).error(), win32_error::success);
  EXPECT_EQ(profiles.read(file + std::wstring(5000, L'x'), L"a", L"b", 10).error(),
            win32_error::filename_exceeds_range);
}

TEST_F(profile_strings_host_test, writes_of_several_processes_lose_nothing) {
  constexpr int writers = 3;
  constexpr int keys = 200;
  std::array<pid_t, writers> children{};
  for (int writer = 0; writer < writers; ++writer) {
    children[static_cast<std::size_t>(writer)] = host_test::start_child([&] {
      for (int key = 0; key < keys; ++key) {
        const std::wstring name = L"k" + std::to_wstring(writer) + L"_" + std::to_wstring(key);
        // Some to a section of their own, some to the common one.
        const std::wstring section = key % 2 == 0 ? L"common" : L"s" + std::to_wstring(writer);
        if (profiles.write(file, section, name, std::to_wstring(key)) != win32_error::success) return 1;
      }
      return 0;
    });
  }
  for (const pid_t child : children)
    EXPECT_EQ(host_test::wait_for(child), 0);
  for (int writer = 0; writer < writers; ++writer) {
    for (int key = 0; key < keys; ++key) {
      const std::wstring name = L"k" + std::to_wstring(writer) + L"_" + std::to_wstring(key);
      const std::wstring section = key % 2 == 0 ? L"common" : L"s" + std::to_wstring(writer);
      ASSERT_EQ(value(section, name, 100), std::to_wstring(key));
    }
  }
  EXPECT_EQ(folder.names(), std::vector<std::string>{"desktop.ini"});
}

TEST_F(profile_strings_host_test, nothing_is_written_through_a_link) {
  put(folder.path("victim"), "precious");
  std::filesystem::create_symlink("victim", path);
  EXPECT_EQ(profiles.write(file, L"a", L"b", L"c"), win32_error::cant_resolve_filename);
  EXPECT_EQ(content(folder.path("victim")), "precious");
}

}  // namespace
