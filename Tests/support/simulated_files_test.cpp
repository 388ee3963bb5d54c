#include "support/simulated_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>

#include "support/simulated_machine.h"

namespace {

namespace attribute = platform::attribute;
using platform::access;
using platform::disposition;
using platform::open_request;
using platform::share;
using platform::win32_error;
using testing::ElementsAre;

class simulated_files : public testing::Test {
 protected:
  support::scoped_machine machine;
  platform::file_system& files = machine.files;

  win32_error open_error(const std::wstring& path, const open_request& request) {
    return files.open(path, request).error();
  }
  static std::size_t write(platform::file& file, std::string_view bytes) {
    return *file.write(std::as_bytes(std::span(bytes)));
  }
};

constexpr open_request read_shared = {access::read, share::all};
constexpr open_request write_alone = {access::write, share::none};

TEST_F(simulated_files, a_missing_file_is_told_from_a_missing_folder) {
  machine.make_directory(LR"(C:\folder)");
  EXPECT_EQ(files.attributes(LR"(C:\folder\a)").error(), win32_error::file_not_found);
  EXPECT_EQ(files.attributes(LR"(C:\missing\a)").error(), win32_error::path_not_found);
  EXPECT_EQ(files.attributes(LR"(D:\a)").error(), win32_error::path_not_found);
  EXPECT_EQ(files.attributes(LR"(\\server\share\a)").error(), win32_error::bad_netpath);
  EXPECT_EQ(files.attributes(L"").error(), win32_error::path_not_found);
}

TEST_F(simulated_files, a_file_is_no_folder_for_other_names) {
  machine.write_file(LR"(C:\a.txt)", "");
  EXPECT_EQ(files.attributes(LR"(C:\a.txt\b)").error(), win32_error::path_not_found);
  EXPECT_EQ(files.attributes(LR"(C:\a.txt\)").error(), win32_error::invalid_name);
}

TEST_F(simulated_files, names_that_windows_forbids_are_invalid) {
  for (const wchar_t* path : {LR"(C:\a?.txt)", LR"(C:\a*)", LR"(C:\<a>)", LR"(C:\a|b)", L"C:\\a\nb", LR"(C:\a"b)"}) {
    EXPECT_EQ(files.attributes(path).error(), win32_error::invalid_name) << testing::PrintToString(path);
  }
  EXPECT_EQ(files.attributes(LR"(C:\)" + std::wstring(256, L'a')).error(), win32_error::invalid_name);
  EXPECT_EQ(files.attributes(std::wstring(100'000, L'a')).error(), win32_error::filename_exceeds_range);
}

TEST_F(simulated_files, names_are_compared_without_case_and_with_either_separator) {
  machine.write_file(LR"(C:\Folder\A.txt)", "x");
  EXPECT_TRUE(files.attributes(LR"(c:/folder/a.TXT)"));
  EXPECT_TRUE(files.attributes(LR"(\\?\C:\Folder\.\..\FOLDER\a.txt)"));
  EXPECT_TRUE(files.attributes(LR"(C:\Folder\)"));
  EXPECT_TRUE(files.attributes(std::wstring(L"C:\\Folder\\A.txt\0rest", 20)));
}

TEST_F(simulated_files, another_drive_or_share_can_be_added) {
  machine.disk.add_drive(L"D:");
  machine.disk.add_drive(LR"(\\server\share)");
  machine.write_file(LR"(D:\a)", "");
  machine.write_file(LR"(\\server\share\folder\a)", "");
  EXPECT_TRUE(files.attributes(LR"(d:\a)"));
  EXPECT_TRUE(files.attributes(LR"(\\?\UNC\server\share\folder\a)"));
}

TEST_F(simulated_files, attributes_keep_the_bits_that_cannot_be_set) {
  machine.write_file(LR"(C:\a)", "").attributes = attribute::offline | attribute::archive;
  EXPECT_EQ(files.set_attributes(LR"(C:\a)", attribute::hidden | attribute::read_only | attribute::directory),
            win32_error::success);
  EXPECT_EQ(*files.attributes(LR"(C:\a)"), attribute::offline | attribute::hidden | attribute::read_only);
  EXPECT_EQ(files.set_attributes(LR"(C:\a)", attribute::normal), win32_error::success);
  EXPECT_EQ(*files.attributes(LR"(C:\a)"), attribute::offline);
  machine.entry(LR"(C:\a)").attributes = 0;
  EXPECT_EQ(*files.attributes(LR"(C:\a)"), attribute::normal);
}

TEST_F(simulated_files, directory_attributes_persist) {
  machine.make_directory(LR"(C:\folder)");
  EXPECT_EQ(files.set_attributes(LR"(C:\folder)", attribute::read_only), win32_error::success);
  EXPECT_EQ(*files.attributes(LR"(C:\folder)"), attribute::read_only | attribute::directory);
}

TEST_F(simulated_files, a_directory_cannot_be_opened) {
  EXPECT_EQ(open_error(LR"(C:\)", read_shared), win32_error::access_denied);
  EXPECT_EQ(open_error(LR"(C:\Users)", {access::write, share::none, disposition::create_always}),
            win32_error::access_denied);
}

TEST_F(simulated_files, dispositions_follow_windows) {
  machine.write_file(LR"(C:\there)", "old");
  EXPECT_EQ(open_error(LR"(C:\there)", {access::write, share::none, disposition::create_new}),
            win32_error::file_exists);
  EXPECT_EQ(open_error(LR"(C:\new)", {access::write, share::none, disposition::open_existing}),
            win32_error::file_not_found);
  EXPECT_EQ(open_error(LR"(C:\new)", {access::write, share::none, disposition::rewrite_existing}),
            win32_error::file_not_found);
  EXPECT_TRUE(files.open(LR"(C:\there)", {access::write, share::none, disposition::open_always}));
  EXPECT_EQ(machine.read_file(LR"(C:\there)"), "old");
  EXPECT_TRUE(files.open(LR"(C:\there)", {access::write, share::none, disposition::create_always}));
  EXPECT_EQ(machine.read_file(LR"(C:\there)"), "");
  EXPECT_TRUE(files.open(LR"(C:\1)", {access::write, share::none, disposition::open_always}));
  EXPECT_TRUE(files.open(LR"(C:\2)", {access::write, share::none, disposition::create_always}));
  EXPECT_TRUE(files.open(LR"(C:\3)", {access::write, share::none, disposition::create_new, attribute::hidden}));
  EXPECT_EQ(*files.attributes(LR"(C:\3)"), attribute::hidden | attribute::archive);
  EXPECT_EQ(open_error(LR"(C:\missing\a)", {access::write, share::none, disposition::create_always}),
            win32_error::path_not_found);
}

TEST_F(simulated_files, a_hidden_or_system_file_is_replaced_only_by_one_of_its_kind) {
  machine.write_file(LR"(C:\hidden)", "old").attributes = attribute::hidden;
  machine.write_file(LR"(C:\system)", "old").attributes = attribute::system;
  const open_request replace = {access::write, share::none, disposition::create_always};
  EXPECT_EQ(open_error(LR"(C:\hidden)", replace), win32_error::access_denied);
  EXPECT_EQ(open_error(LR"(C:\system)", replace), win32_error::access_denied);
  EXPECT_EQ(machine.read_file(LR"(C:\hidden)"), "old");
  EXPECT_TRUE(files.open(LR"(C:\hidden)", {access::write, share::none, disposition::create_always, attribute::hidden}));
  EXPECT_EQ(machine.read_file(LR"(C:\hidden)"), "");
}

TEST_F(simulated_files, a_read_only_file_is_neither_written_nor_replaced_nor_deleted) {
  machine.write_file(LR"(C:\a)", "old").attributes = attribute::read_only;
  EXPECT_EQ(open_error(LR"(C:\a)", write_alone), win32_error::access_denied);
  EXPECT_EQ(open_error(LR"(C:\a)", {access::append, share::all}), win32_error::access_denied);
  EXPECT_EQ(open_error(LR"(C:\a)", {access::write, share::none, disposition::create_always}),
            win32_error::access_denied);
  EXPECT_EQ(files.delete_file(LR"(C:\a)"), win32_error::access_denied);
  EXPECT_TRUE(files.open(LR"(C:\a)", {access::write_attributes, share::all}));
  EXPECT_TRUE(files.open(LR"(C:\a)", read_shared));
}

TEST_F(simulated_files, sharing_is_checked_both_ways) {
  machine.write_file(LR"(C:\a)", "");
  {
    const auto reader = files.open(LR"(C:\a)", {access::read, share::read});
    EXPECT_EQ(open_error(LR"(C:\a)", {access::write, share::all}), win32_error::sharing_violation);
    EXPECT_EQ(open_error(LR"(C:\a)", {access::read, share::write}), win32_error::sharing_violation);
    EXPECT_TRUE(files.open(LR"(C:\a)", {access::read, share::read}));
    EXPECT_TRUE(files.open(LR"(C:\a)", {access::write_attributes, share::none}));
    EXPECT_EQ(open_error(LR"(C:\a)", {access::read, share::all, disposition::create_always}),
              win32_error::sharing_violation);
  }
  EXPECT_TRUE(files.open(LR"(C:\a)", {access::write, share::none}));
}

TEST_F(simulated_files, a_closed_file_is_free_and_of_no_more_use) {
  machine.write_file(LR"(C:\a)", "");
  const auto file = files.open(LR"(C:\a)", write_alone);
  EXPECT_THAT(machine.open_handles(), ElementsAre(R"(C:\a)"));
  EXPECT_EQ((*file)->close(), win32_error::success);
  EXPECT_EQ((*file)->close(), win32_error::success);
  EXPECT_THAT(machine.open_handles(), ElementsAre());
  EXPECT_EQ((*file)->size().error(), win32_error::invalid_handle);
  EXPECT_EQ(machine.calls.count("close"), 1);
}

TEST_F(simulated_files, reading_stops_at_the_end) {
  machine.write_file(LR"(C:\a)", "abcde");
  const auto file = *files.open(LR"(C:\a)", read_shared);
  std::string buffer(3, ' ');
  const auto bytes = std::as_writable_bytes(std::span(buffer));
  EXPECT_EQ(*file->read(bytes), 3);
  EXPECT_EQ(buffer, "abc");
  EXPECT_EQ(*file->read(bytes), 2);
  EXPECT_EQ(*file->read(bytes), 0);
  EXPECT_EQ(*file->size(), 5);
  EXPECT_EQ(file->write(std::as_bytes(std::span(buffer))).error(), win32_error::access_denied);
}

TEST_F(simulated_files, writing_overwrites_extends_and_cuts) {
  machine.write_file(LR"(C:\a)", "abcde");
  const auto file = *files.open(LR"(C:\a)", {access::read | access::write, share::none});
  EXPECT_EQ(write(*file, "XY"), 2);
  EXPECT_EQ(machine.read_file(LR"(C:\a)"), "XYcde");
  EXPECT_EQ(file->seek(7), win32_error::success);
  EXPECT_EQ(write(*file, "Z"), 1);
  EXPECT_EQ(machine.read_file(LR"(C:\a)"), std::string("XYcde\0\0Z", 8));
  EXPECT_EQ(file->seek(1), win32_error::success);
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(machine.read_file(LR"(C:\a)"), "X");
}

TEST_F(simulated_files, a_change_moves_the_time_and_sets_the_archive_bit) {
  support::disk_entry& entry = machine.write_file(LR"(C:\a)", "");
  entry.attributes = 0;
  const platform::file_time created = entry.created;
  machine.clock.advance(std::chrono::seconds(1));
  const auto file = *files.open(LR"(C:\a)", write_alone);
  write(*file, "x");
  EXPECT_EQ(files.facts(LR"(C:\a)")->last_written, created + support::ticks_per_second);
  EXPECT_EQ(files.facts(LR"(C:\a)")->created, created);
  EXPECT_EQ(files.facts(LR"(C:\a)")->attributes, attribute::archive);
  EXPECT_EQ(files.facts(LR"(C:\a)")->size, 1);
  EXPECT_EQ(file->set_last_write_time(5), win32_error::success);
  EXPECT_EQ(files.facts(LR"(C:\a)")->last_written, 5);
}

TEST_F(simulated_files, appending_goes_to_the_end_whatever_others_wrote) {
  const open_request request = {access::append, share::all, disposition::open_always};
  const auto one = *files.open(LR"(C:\log)", request);
  const auto two = *files.open(LR"(C:\log)", request);
  write(*one, "1");
  write(*two, "2");
  write(*one, "3");
  EXPECT_EQ(machine.read_file(LR"(C:\log)"), "123");
  EXPECT_EQ(one->set_end(), win32_error::access_denied);
}

TEST_F(simulated_files, a_full_disk_takes_what_fits_and_then_nothing) {
  machine.disk.drive(L"C:").free_bytes = 3;
  const auto file = *files.open(LR"(C:\a)", {access::write, share::none, disposition::create_new});
  EXPECT_EQ(write(*file, "abcde"), 3);
  EXPECT_EQ(file->write(std::as_bytes(std::span(std::string_view("x")))).error(), win32_error::disk_full);
  EXPECT_EQ(machine.read_file(LR"(C:\a)"), "abc");
  EXPECT_EQ(file->seek(0), win32_error::success);
  EXPECT_EQ(write(*file, "ABC"), 3) << "overwriting needs no room";
  EXPECT_EQ(file->seek(4), win32_error::success);
  EXPECT_EQ(file->set_end(), win32_error::disk_full);
  EXPECT_EQ(file->seek(1), win32_error::success);
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(write(*file, "xyz"), 2) << "what was cut off is free again";
}

TEST_F(simulated_files, create_directory_wants_a_parent_and_a_free_name) {
  EXPECT_EQ(files.create_directory(LR"(C:\a\b)"), win32_error::path_not_found);
  EXPECT_EQ(files.create_directory(LR"(C:\a)"), win32_error::success);
  EXPECT_EQ(files.create_directory(LR"(C:\a\b)"), win32_error::success);
  EXPECT_EQ(files.create_directory(LR"(C:\A)"), win32_error::already_exists);
  machine.write_file(LR"(C:\file)", "");
  EXPECT_EQ(files.create_directory(LR"(C:\file)"), win32_error::already_exists);
  EXPECT_EQ(*files.attributes(LR"(C:\a\b)"), attribute::directory);
}

TEST_F(simulated_files, copy_never_replaces_and_takes_everything_along) {
  support::disk_entry& source = machine.write_file(LR"(C:\a)", "abc");
  source.attributes = attribute::hidden;
  source.last_written = 7;
  EXPECT_EQ(*files.copy_file(LR"(C:\a)", LR"(C:\b)"), true);
  EXPECT_EQ(machine.read_file(LR"(C:\b)"), "abc");
  EXPECT_EQ(files.facts(LR"(C:\b)")->last_written, 7);
  EXPECT_EQ(*files.attributes(LR"(C:\b)"), attribute::hidden | attribute::archive);
  EXPECT_EQ(files.copy_file(LR"(C:\a)", LR"(C:\b)").error(), win32_error::file_exists);
  EXPECT_EQ(files.copy_file(LR"(C:\x)", LR"(C:\c)").error(), win32_error::file_not_found);
  EXPECT_EQ(files.copy_file(LR"(C:\a)", LR"(C:\x\c)").error(), win32_error::path_not_found);
}

TEST_F(simulated_files, a_copy_that_does_not_fit_leaves_nothing) {
  machine.write_file(LR"(C:\a)", "abc");
  machine.disk.drive(L"C:").free_bytes = 2;
  EXPECT_EQ(files.copy_file(LR"(C:\a)", LR"(C:\b)").error(), win32_error::disk_full);
  EXPECT_FALSE(machine.exists(LR"(C:\b)"));
  EXPECT_EQ(machine.disk.drive(L"C:").free_bytes, 2);
}

TEST_F(simulated_files, a_file_in_use_is_deleted_only_when_its_users_let_it_go) {
  machine.write_file(LR"(C:\a)", "abc");
  {
    const auto holder = files.open(LR"(C:\a)", {access::read, share::read});
    EXPECT_EQ(files.delete_file(LR"(C:\a)"), win32_error::sharing_violation);
  }
  const auto holder = *files.open(LR"(C:\a)", read_shared);
  EXPECT_EQ(files.delete_file(LR"(C:\a)"), win32_error::success);
  EXPECT_FALSE(machine.exists(LR"(C:\a)"));
  EXPECT_EQ(*holder->size(), 3) << "the open handle keeps the content";
  EXPECT_EQ(files.delete_file(LR"(C:\a)"), win32_error::file_not_found);
  EXPECT_EQ(files.delete_file(LR"(C:\Users)"), win32_error::access_denied);
}

TEST_F(simulated_files, reading_a_cloud_placeholder_downloads_it_once) {
  machine.write_file(LR"(C:\a)", "abc").attributes = attribute::recall_on_data_access;
  const auto file = *files.open(LR"(C:\a)", read_shared);
  EXPECT_EQ(machine.calls.count("download"), 0);
  std::byte one[1];
  EXPECT_EQ(*file->read(one), 1);
  EXPECT_EQ(*file->read(one), 1);
  EXPECT_EQ(machine.calls.count("download"), 1);
  EXPECT_EQ(*files.attributes(LR"(C:\a)"), attribute::normal);
}

TEST_F(simulated_files, calls_are_recorded_in_order_with_their_arguments) {
  machine.write_file(LR"(C:\a.jpg)", "abc");
  {
    const auto file = *files.open(LR"(C:\a.jpg)", {access::read | access::write, share::none});
    EXPECT_EQ(file->seek(1), win32_error::success);
    write(*file, "x");
  }
  EXPECT_EQ(files.set_attributes(LR"(C:\a.jpg)", attribute::hidden | attribute::system), win32_error::success);
  EXPECT_THAT(machine.calls.all(),
              ElementsAre(R"(open(C:\a.jpg, read|write, share none, open_existing))", R"(seek(C:\a.jpg, 1))",
                          R"(write(C:\a.jpg, 1))", R"(close(C:\a.jpg))", R"(set_attributes(C:\a.jpg, hidden|system))"));
  EXPECT_THAT(machine.calls.named({"seek", "close"}), ElementsAre(R"(seek(C:\a.jpg, 1))", R"(close(C:\a.jpg))"));
}

TEST_F(simulated_files, a_refused_call_fails_as_often_as_asked) {
  machine.write_file(LR"(C:\a)", "");
  machine.write_file(LR"(C:\b)", "");
  machine.calls.refuse("open", LR"(C:\a)", win32_error::lock_violation, 2);
  EXPECT_EQ(open_error(LR"(C:\a)", read_shared), win32_error::lock_violation);
  EXPECT_TRUE(files.open(LR"(C:\b)", read_shared));
  EXPECT_EQ(open_error(LR"(c:\A)", read_shared), win32_error::lock_violation);
  EXPECT_TRUE(files.open(LR"(C:\a)", read_shared));
}

TEST_F(simulated_files, an_action_can_wait_for_a_call) {
  machine.calls.before("attributes", 2, [this] { machine.write_file(LR"(C:\late)", ""); });
  EXPECT_FALSE(files.attributes(LR"(C:\late)"));
  EXPECT_TRUE(files.attributes(LR"(C:\late)"));
}

}  // namespace
