#include "files/file_functions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "files/family_folders.h"
#include "files/filesystem_error.h"
#include "support/allocation_faults.h"
#include "support/failure_of.h"
#include "support/fault_sweep.h"
#include "support/simulated_machine.h"

namespace {

namespace attribute = platform::attribute;
using platform::win32_error;
using support::failure_of;
using testing::ElementsAre;
using testing::IsEmpty;

class file_functions : public testing::Test {
 protected:
  support::scoped_machine machine;
};

TEST_F(file_functions, the_kind_of_what_is_there) {
  machine.write_file(LR"(C:\file)", "");
  machine.make_directory(LR"(C:\folder)").attributes |= attribute::offline;
  machine.write_file(LR"(C:\cloud)", "").attributes |= attribute::recall_on_data_access;
  EXPECT_EQ(files::kind_if_exists(LR"(C:\file)"), platform::item_kind::file);
  EXPECT_EQ(files::kind_if_exists(LR"(C:\folder)"), platform::item_kind::directory);
  EXPECT_EQ(files::kind_if_exists(LR"(C:\cloud)"), platform::item_kind::cloud_placeholder);
  EXPECT_EQ(files::kind_if_exists(LR"(C:\missing)"), std::nullopt);
}

TEST_F(file_functions, every_way_of_not_being_there_is_no_failure) {
  for (const wchar_t* path : {LR"(C:\a)", LR"(C:\missing\a)", LR"(X:\a)", LR"(\\server\share\a)", LR"(C:\a?b)", L""}) {
    EXPECT_FALSE(files::exists(path)) << testing::PrintToString(path);
  }
}

TEST_F(file_functions, a_test_that_fails_otherwise_raises_an_error_named_exists) {
  machine.calls.refuse("kind", LR"(C:\a)", win32_error::access_denied);
  EXPECT_THROW(static_cast<void>(files::exists(LR"(C:\a)")), files::filesystem_error);
  EXPECT_EQ(failure_of([] { return files::exists(LR"(C:\a)"); }), R"(exists: Access is denied.: "C:\a")");
}

TEST_F(file_functions, a_filesystem_error_keeps_its_code) {
  const files::filesystem_error error("remove", L"C:\\\u00e9", win32_error::sharing_violation);
  EXPECT_EQ(error.code(), win32_error::sharing_violation);
  EXPECT_STREQ(error.what(),
               "remove: The process cannot access the file because it is being used by another process.: "
               "\"C:\\\xc3\xa9\"");
}

TEST_F(file_functions, is_directory_is_false_for_files_and_for_failures) {
  machine.write_file(LR"(C:\a)", "");
  EXPECT_TRUE(files::is_directory(LR"(C:\)"));
  EXPECT_FALSE(files::is_directory(LR"(C:\a)"));
  EXPECT_FALSE(files::is_directory(LR"(C:\b)"));
  machine.calls.refuse("kind", LR"(C:\)", win32_error::access_denied);
  EXPECT_FALSE(files::is_directory(LR"(C:\)"));
}

TEST_F(file_functions, all_missing_parents_are_made_from_the_top) {
  files::create_directories(LR"(C:\a\b\c)");
  EXPECT_THAT(machine.calls.named({"create_directory"}),
              ElementsAre(R"(create_directory(C:\a))", R"(create_directory(C:\a\b))", R"(create_directory(C:\a\b\c))"));
  EXPECT_TRUE(files::is_directory(LR"(C:\a\b\c)"));
}

TEST_F(file_functions, a_directory_that_is_there_is_fine) {
  machine.make_directory(LR"(C:\a)");
  files::create_directories(LR"(C:\a)");
  EXPECT_THAT(machine.calls.named({"create_directory"}), IsEmpty());
}

TEST_F(file_functions, a_directory_that_another_process_makes_meanwhile_is_fine) {
  machine.calls.before("create_directory", 1, [this] { machine.make_directory(LR"(C:\a)"); });
  files::create_directories(LR"(C:\a\b)");
  EXPECT_TRUE(files::is_directory(LR"(C:\a\b)"));
}

TEST_F(file_functions, a_directory_that_cannot_be_made_raises_an_error_with_its_name) {
  machine.calls.refuse("create_directory", LR"(C:\a\b)", win32_error::access_denied);
  EXPECT_THROW(files::create_directories(LR"(C:\a\b\c)"), files::filesystem_error);
  EXPECT_EQ(failure_of([] { files::create_directories(LR"(C:\a\b\c)"); }),
            R"(create_directories: Access is denied.: "C:\a\b")");
  EXPECT_EQ(failure_of([] { files::create_directories(LR"(X:\a)"); }),
            "create_directories: The system cannot find the path specified.: \"X:\\\"");
}

TEST_F(file_functions, a_whole_file_is_read_up_to_the_limit) {
  machine.write_file(LR"(C:\a)", std::string("a\0b\n", 4));
  EXPECT_EQ(files::read_whole_file(LR"(C:\a)", 4), std::string("a\0b\n", 4));
  EXPECT_EQ(files::read_whole_file(LR"(C:\a)", 3), std::nullopt);
  machine.write_file(LR"(C:\empty)", "");
  EXPECT_EQ(files::read_whole_file(LR"(C:\empty)", 0), "");
  EXPECT_EQ(files::read_whole_file(LR"(C:\missing)", 4), std::nullopt);
  EXPECT_EQ(files::read_whole_file(LR"(C:\)", 4), std::nullopt);
}

TEST_F(file_functions, a_file_that_others_write_to_is_read) {
  machine.write_file(LR"(C:\a)", "abc");
  const auto writer = machine.files.open(LR"(C:\a)", {platform::access::write, platform::share::all});
  EXPECT_EQ(files::read_whole_file(LR"(C:\a)", 10), "abc");
}

TEST_F(file_functions, a_file_that_shrinks_while_it_is_read_is_not_taken_for_whole) {
  machine.write_file(LR"(C:\a)", "abc");
  machine.calls.before("read", 1, [this] { machine.write_file(LR"(C:\a)", "a"); });
  EXPECT_EQ(files::read_whole_file(LR"(C:\a)", 10), std::nullopt);
}

TEST_F(file_functions, a_file_that_memory_does_not_hold_gives_nothing) {
  constexpr std::size_t size = 50'000;
  machine.write_file(LR"(C:\a)", std::string(size, 'a'));
  const support::allocation_fault fault(1, size);
  EXPECT_EQ(files::read_whole_file(LR"(C:\a)", size), std::nullopt);
  EXPECT_TRUE(fault.struck());
}

TEST_F(file_functions, a_whole_file_is_read_beside_those_others_that_may_be_there) {
  machine.write_file(LR"(C:\a)", "abc");
  const auto writer = machine.files.open(LR"(C:\a)", {platform::access::write, platform::share::all});
  EXPECT_EQ(files::read_whole_file(LR"(C:\a)", 10, platform::share::read), std::nullopt);
}

TEST_F(file_functions, exactly_so_many_bytes_are_read_from_the_position_on) {
  machine.write_file(LR"(C:\a)", "abcdef");
  const auto file = *machine.files.open(LR"(C:\a)", {});
  EXPECT_EQ(files::read_exactly(*file, 2), "ab");
  EXPECT_EQ(files::read_exactly(*file, 3), "cde");
  EXPECT_EQ(files::read_exactly(*file, 2), std::nullopt);
}

TEST_F(file_functions, the_family_folder_lies_below_local_application_data) {
  EXPECT_EQ(files::family_folder(), LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit)");
}

TEST_F(file_functions, the_family_folder_is_relative_when_the_system_names_no_place) {
  machine.calls.refuse("local_app_data", {}, platform::hresult::fail);
  EXPECT_EQ(files::family_folder(), LR"(Larkspur Forge LLC\Tessel Works Kit)");
}

TEST_F(file_functions, the_system_is_asked_for_the_family_folder_once_whatever_it_says) {
  machine.calls.refuse("local_app_data", {}, platform::hresult::fail, 1);
  EXPECT_EQ(files::family_folder(), LR"(Larkspur Forge LLC\Tessel Works Kit)");
  EXPECT_EQ(files::family_folder(), LR"(Larkspur Forge LLC\Tessel Works Kit)");
  EXPECT_EQ(machine.calls.count("local_app_data"), 1U);
}

TEST(read_whole_file, a_failure_of_any_call_gives_nothing) {
  const std::array<support::fault_code, 1> codes = {win32_error::gen_failure};
  std::optional<std::string> content;
  support::for_each_fault(
      codes,
      {[](support::simulated_machine& machine) { machine.write_file(LR"(C:\a)", "abc"); },
       [&content](support::simulated_machine&) { content = files::read_whole_file(LR"(C:\a)", 10); }},
      [&content](const support::fault_round& round) {
        EXPECT_EQ(content, round.struck ? std::nullopt : std::optional<std::string>("abc"));
      });
}

}  // namespace
