#include "platform/host/directory_entries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "platform/host/host_files.h"
#include "platform/host/staging.h"

namespace {

using host_test::put;
using platform::entry_kind;
using platform::win32_error;
using platform::host::path_bytes;
using platform::host::wide_from_bytes;
using testing::ElementsAre;
using testing::Pair;

struct directory_entries_test : testing::Test {
  host_test::temporary_folder folder;

  static win32_error visit(const std::string& path, const platform::entry_visitor& visitor) {
    return platform::host::visit_entries(path_bytes(wide_from_bytes(path)), visitor);
  }
  std::map<std::wstring, entry_kind> entries() {
    std::map<std::wstring, entry_kind> found;
    EXPECT_EQ(visit(folder.folder(),
                    [&](platform::directory_entry entry) { found.emplace(std::move(entry.name), entry.kind); }),
              win32_error::success);
    return found;
  }
};

TEST_F(directory_entries_test, links_are_followed_to_tell_their_kind) {
  put(folder.path("file"), "content");
  std::filesystem::create_directory(folder.path("folder"));
  std::filesystem::create_symlink("file", folder.path("to file"));
  std::filesystem::create_symlink("folder", folder.path("to folder"));
  std::filesystem::create_symlink("to file", folder.path("to link"));
  std::filesystem::create_symlink("nowhere", folder.path("to nothing"));
  std::filesystem::create_symlink("to itself", folder.path("to itself"));
  EXPECT_THAT(entries(), ElementsAre(Pair(L"file", entry_kind::regular_file), Pair(L"folder", entry_kind::other),
                                     Pair(L"to file", entry_kind::regular_file), Pair(L"to folder", entry_kind::other),
                                     Pair(L"to itself", entry_kind::other), Pair(L"to link", entry_kind::regular_file),
                                     Pair(L"to nothing", entry_kind::other)));
}

TEST_F(directory_entries_test, pipes_and_devices_are_no_files) {
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/null", folder.path("to device"));
  EXPECT_THAT(entries(), ElementsAre(Pair(L"pipe", entry_kind::other), Pair(L"to device", entry_kind::other)));
}

TEST_F(directory_entries_test, names_that_are_no_utf_8_or_hold_a_backslash_lead_back_to_their_files) {
  put(folder.path("caf\xe9"), "");
  put(folder.path("a\\b"), "");
  std::filesystem::create_directory(folder.path("a"));
  put(folder.path("a/b"), "another file");
  const std::wstring prefix = wide_from_bytes(folder.folder()) + L"/";
  std::vector<std::string> paths;
  for (const auto& [name, kind] : entries()) {
    if (kind == entry_kind::regular_file) paths.emplace_back(path_bytes(prefix + name).view());
  }
  EXPECT_THAT(paths, testing::UnorderedElementsAre(folder.path("caf\xe9"), folder.path("a\\b")));
}

TEST_F(directory_entries_test, the_order_is_that_of_the_file_system) {
  for (const char* const name : {"m", "c", "z", "a", "q"})
    put(folder.path(name), "");
  std::vector<std::string> expected;
  for (const auto& entry : std::filesystem::directory_iterator(folder.folder()))
    expected.push_back(entry.path().filename());
  std::vector<std::string> found;
  EXPECT_EQ(visit(folder.folder(),
                  [&](const platform::directory_entry& entry) { found.emplace_back(path_bytes(entry.name).view()); }),
            win32_error::success);
  EXPECT_EQ(found, expected);
}

TEST_F(directory_entries_test, a_link_to_a_folder_is_enumerated_as_that_folder) {
  std::filesystem::create_directory(folder.path("folder"));
  put(folder.path("folder/file"), "");
  std::filesystem::create_directory_symlink("folder", folder.path("link"));
  int visits = 0;
  EXPECT_EQ(visit(folder.path("link"), [&](const platform::directory_entry&) { ++visits; }), win32_error::success);
  EXPECT_EQ(visits, 1);
}

TEST_F(directory_entries_test, a_folder_that_may_not_be_read_is_access_denied) {
  std::filesystem::create_directory(folder.path("closed"));
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0755));
  std::filesystem::permissions(folder.path("closed"), std::filesystem::perms(0));
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(host_test::nobody) != 0) return 2;
    const auto none = [](const platform::directory_entry&) {};
    return visit(folder.path("closed"), none) == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
}

TEST_F(directory_entries_test, a_pipe_has_no_entries_and_is_not_waited_for) {
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(visit(folder.path("pipe"), [](const platform::directory_entry&) { FAIL(); }), win32_error::directory);
}

}  // namespace
