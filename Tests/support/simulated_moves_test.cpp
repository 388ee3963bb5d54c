// What the simulated machine adds to the contract of moves and enumeration: drives, handles, and a test's hold on them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "platform/property_keys.h"
#include "support/simulated_machine.h"

namespace {

namespace attribute = platform::attribute;
using platform::access;
using platform::share;
using platform::win32_error;
using testing::ElementsAre;

const std::wstring photo = LR"(C:\folder\a.jpg)";

class simulated_moves : public testing::Test {
 protected:
  simulated_moves() { machine.write_file(photo, "content"); }

  support::scoped_machine machine;
  platform::file_system& files = machine.files;

  std::vector<std::wstring> visited(const std::wstring& folder, win32_error expected = win32_error::success) {
    std::vector<std::wstring> names;
    EXPECT_EQ(files.enumerate(folder, [&](platform::directory_entry entry) { names.push_back(std::move(entry.name)); }),
              expected);
    return names;
  }
};

TEST_F(simulated_moves, everything_comes_along_within_a_drive) {
  support::disk_entry& entry = machine.entry(photo);
  entry.attributes = attribute::hidden;
  entry.handler_values[platform::rating_key] = std::uint32_t{75};
  entry.property_set_values[platform::rating_key] = std::uint32_t{50};
  entry.created = 1;
  entry.last_written = 2;
  EXPECT_EQ(files.move_file(photo, LR"(C:\b.jpg)"), win32_error::success);
  EXPECT_EQ(&machine.entry(LR"(C:\b.jpg)"), &entry);
  EXPECT_EQ(entry.path, LR"(C:\b.jpg)");
  EXPECT_FALSE(machine.exists(photo));
}

TEST_F(simulated_moves, everything_comes_along_to_another_drive_which_gives_the_room) {
  machine.disk.drive(L"C:").free_bytes = 100;
  machine.disk.add_drive(L"D:").free_bytes = 10;
  machine.entry(photo).property_set_values[platform::rating_key] = std::uint32_t{50};
  machine.entry(photo).created = 1;
  EXPECT_EQ(files.move_file(photo, LR"(D:\a.jpg)"), win32_error::success);
  EXPECT_FALSE(machine.exists(photo));
  EXPECT_EQ(machine.read_file(LR"(D:\a.jpg)"), "content");
  EXPECT_EQ(machine.entry(LR"(D:\a.jpg)").created, 1U);
  EXPECT_EQ(machine.entry(LR"(D:\a.jpg)").property_set_values.size(), 1U);
  EXPECT_EQ(machine.disk.drive(L"C:").free_bytes, 107U);
  EXPECT_EQ(machine.disk.drive(L"D:").free_bytes, 3U);
}

TEST_F(simulated_moves, a_full_drive_refuses_and_the_file_stays) {
  machine.disk.add_drive(L"D:").free_bytes = 6;
  EXPECT_EQ(files.move_file(photo, LR"(D:\a.jpg)"), win32_error::disk_full);
  EXPECT_EQ(machine.read_file(photo), "content");
  EXPECT_FALSE(machine.exists(LR"(D:\a.jpg)"));
  EXPECT_EQ(machine.disk.drive(L"D:").free_bytes, 6U);
}

TEST_F(simulated_moves, no_drive_replaces_a_file) {
  machine.disk.add_drive(L"D:");
  machine.write_file(LR"(D:\a.jpg)", "kept");
  EXPECT_EQ(files.move_file(photo, LR"(D:\a.jpg)"), win32_error::already_exists);
  EXPECT_EQ(machine.read_file(LR"(D:\a.jpg)"), "kept");
  EXPECT_EQ(machine.read_file(photo), "content");
}

TEST_F(simulated_moves, property_sets_are_lost_on_a_drive_that_can_t_hold_them) {
  machine.disk.add_drive(L"D:").format = support::disk_format::fat;
  machine.entry(photo).handler_values[platform::rating_key] = std::uint32_t{75};
  machine.entry(photo).property_set_values[platform::rating_key] = std::uint32_t{50};
  EXPECT_EQ(files.move_file(photo, LR"(D:\a.jpg)"), win32_error::success);
  EXPECT_TRUE(machine.entry(LR"(D:\a.jpg)").property_set_values.empty());
  EXPECT_EQ(machine.entry(LR"(D:\a.jpg)").handler_values.size(), 1U);
}

TEST_F(simulated_moves, a_directory_keeps_its_drive) {
  machine.disk.add_drive(L"D:");
  EXPECT_EQ(files.move_file(LR"(C:\folder)", LR"(D:\folder)"), win32_error::access_denied);
  EXPECT_TRUE(machine.exists(photo));
}

TEST_F(simulated_moves, a_drive_that_is_missing_is_path_not_found) {
  EXPECT_EQ(files.move_file(photo, LR"(D:\a.jpg)"), win32_error::path_not_found);
  EXPECT_TRUE(machine.exists(photo));
}

TEST_F(simulated_moves, only_a_handle_that_shares_the_removal_lets_a_file_go) {
  {
    const auto reader = files.open(photo, {.access = access::read, .share = share::read | share::write});
    EXPECT_EQ(files.move_file(photo, LR"(C:\b.jpg)"), win32_error::sharing_violation);
  }
  const auto reader = files.open(photo, {.access = access::read, .share = share::read | share::remove});
  EXPECT_EQ(files.move_file(photo, LR"(C:\b.jpg)"), win32_error::success);
  EXPECT_THAT(machine.open_handles(), ElementsAre(R"(C:\b.jpg)"));
}

TEST_F(simulated_moves, a_directory_with_an_open_file_in_it_is_access_denied) {
  const auto reader = files.open(photo, {.access = access::read, .share = share::all});
  EXPECT_EQ(files.move_file(LR"(C:\folder)", LR"(C:\moved)"), win32_error::access_denied);
  EXPECT_TRUE(machine.exists(photo));
}

TEST_F(simulated_moves, a_name_may_change_its_case) {
  EXPECT_EQ(files.move_file(photo, LR"(C:\folder\A.JPG)"), win32_error::success);
  EXPECT_EQ(machine.entry(photo).path, LR"(C:\folder\A.JPG)");
}

TEST_F(simulated_moves, a_held_file_can_be_freed_after_some_tries) {
  machine.calls.refuse("move_file", photo, win32_error::sharing_violation, 2);
  EXPECT_EQ(files.move_file(photo, LR"(C:\b.jpg)"), win32_error::sharing_violation);
  EXPECT_EQ(files.move_file(photo, LR"(C:\b.jpg)"), win32_error::sharing_violation);
  EXPECT_EQ(files.move_file(photo, LR"(C:\b.jpg)"), win32_error::success);
  EXPECT_THAT(machine.calls.named({"move_file"}), testing::SizeIs(3));
  EXPECT_EQ(machine.calls.named({"move_file"}).back(), R"(move_file(C:\folder\a.jpg, C:\b.jpg))");
}

TEST_F(simulated_moves, removing_a_directory_can_be_refused) {
  machine.make_directory(LR"(C:\empty)");
  machine.calls.refuse("remove_directory", LR"(C:\empty)", win32_error::access_denied, 1);
  EXPECT_EQ(files.remove_directory(LR"(C:\empty)"), win32_error::access_denied);
  EXPECT_EQ(files.remove_directory(LR"(C:\empty)"), win32_error::success);
  EXPECT_FALSE(machine.exists(LR"(C:\empty)"));
}

// Enumeration.

TEST_F(simulated_moves, entries_are_delivered_in_the_order_in_which_they_came) {
  machine.write_file(LR"(C:\folder\z.jpg)", "");
  machine.make_directory(LR"(C:\folder\m)");
  machine.write_file(LR"(C:\folder\b.jpg)", "");
  machine.write_file(LR"(C:\folder\m\inner.jpg)", "");
  EXPECT_THAT(visited(LR"(C:\folder)"), ElementsAre(L"a.jpg", L"z.jpg", L"m", L"b.jpg"));
  ASSERT_EQ(files.move_file(photo, LR"(C:\folder\c.jpg)"), win32_error::success);
  EXPECT_THAT(visited(LR"(C:\FOLDER\)"), ElementsAre(L"z.jpg", L"m", L"b.jpg", L"c.jpg"));
}

TEST_F(simulated_moves, a_test_may_set_the_order) {
  machine.write_file(LR"(C:\folder\b.jpg)", "");
  machine.write_file(LR"(C:\folder\c.jpg)", "");
  machine.files.deliver_in_order(LR"(C:\folder)", {L"C.JPG", L"gone.jpg", L"b.jpg"});
  EXPECT_THAT(visited(LR"(C:\folder)"), ElementsAre(L"c.jpg", L"b.jpg", L"a.jpg"));
  machine.write_file(LR"(C:\other\b.jpg)", "");
  machine.write_file(LR"(C:\other\c.jpg)", "");
  EXPECT_THAT(visited(LR"(C:\other)"), ElementsAre(L"b.jpg", L"c.jpg")) << "each folder has its own order";
}

TEST_F(simulated_moves, an_enumeration_can_be_refused_at_its_start_and_in_its_middle) {
  machine.write_file(LR"(C:\folder\b.jpg)", "");
  machine.write_file(LR"(C:\folder\c.jpg)", "");
  machine.calls.refuse("enumerate", LR"(C:\folder)", win32_error::access_denied, 1);
  EXPECT_TRUE(visited(LR"(C:\folder)", win32_error::access_denied).empty());
  machine.calls.refuse("next_entry", LR"(C:\folder\b.jpg)", win32_error::read_fault, 1);
  EXPECT_THAT(visited(LR"(C:\folder)", win32_error::read_fault), ElementsAre(L"a.jpg"));
  EXPECT_THAT(visited(LR"(C:\folder)"), ElementsAre(L"a.jpg", L"b.jpg", L"c.jpg"));
  EXPECT_EQ(machine.calls.count("enumerate"), 3U);
}

TEST_F(simulated_moves, a_cloud_placeholder_is_a_regular_file) {
  machine.entry(photo).attributes |= attribute::offline | attribute::reparse_point;
  std::vector<platform::entry_kind> kinds;
  EXPECT_EQ(
      files.enumerate(LR"(C:\folder)", [&](const platform::directory_entry& entry) { kinds.push_back(entry.kind); }),
      win32_error::success);
  EXPECT_THAT(kinds, ElementsAre(platform::entry_kind::regular_file));
  EXPECT_EQ(machine.calls.count("download"), 0U);
}

// The shell.

TEST_F(simulated_moves, the_shell_is_told_of_both_paths_of_a_rename) {
  machine.shell.notify_of_rename(photo, LR"(C:\b.jpg)");
  machine.shell.notify(platform::shell_event::remove_directory, platform::shell_flush::path, LR"(C:\folder)");
  EXPECT_THAT(machine.calls.named({"notify"}), ElementsAre(R"(notify(rename_item, path, C:\folder\a.jpg, C:\b.jpg))",
                                                           R"(notify(remove_directory, path, C:\folder))"));
}

}  // namespace
