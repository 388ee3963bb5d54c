// The contract of moving files and directories and of removing directories, on each machine.
#include <gtest/gtest.h>

#include <span>
#include <string>

#include "platform/machine.h"
#include "support/contract_machines.h"
#include "support/native_capabilities.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace {

using platform::access;
using platform::share;
using platform::win32_error;
using test_support::content_of;
using test_support::is_there;
using test_support::put_file;
namespace attribute = platform::attribute;

class moves : public test_support::contract_test {
 protected:
  platform::file_system& files_ = test_support::machine_under_test().files;
  test_support::scratch_folder scratch_;
  std::wstring old_path_ = scratch_ / L"old.txt";
  std::wstring new_path_ = scratch_ / L"new.txt";
  std::wstring folder_ = scratch_ / L"folder";

  void make_folder(const std::wstring& path) {
    EXPECT_EQ(files_.create_directory(path), win32_error::success) << path.size();
  }
};

TEST_P(moves, a_moved_file_is_whole_under_its_new_name_and_gone_from_the_old_one) {
  put_file(old_path_, "content");
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::success);
  EXPECT_EQ(content_of(new_path_), "content");
  EXPECT_FALSE(is_there(old_path_));
}

TEST_P(moves, a_file_moves_into_another_folder_and_back) {
  make_folder(folder_);
  put_file(old_path_, "content");
  const std::wstring inside = paths::join(folder_, L"new.txt");
  EXPECT_EQ(files_.move_file(old_path_, inside), win32_error::success);
  EXPECT_EQ(content_of(inside), "content");
  EXPECT_FALSE(is_there(old_path_));
  EXPECT_EQ(files_.move_file(inside, old_path_), win32_error::success);
  EXPECT_EQ(content_of(old_path_), "content");
  EXPECT_FALSE(is_there(inside));
}

TEST_P(moves, an_empty_file_moves) {
  put_file(old_path_, "");
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::success);
  EXPECT_EQ(content_of(new_path_), "");
}

TEST_P(moves, a_file_is_never_replaced) {
  put_file(old_path_, "old");
  put_file(new_path_, "kept");
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::already_exists);
  EXPECT_EQ(content_of(new_path_), "kept");
  EXPECT_EQ(content_of(old_path_), "old");
}

TEST_P(moves, an_empty_file_is_not_replaced_either) {
  put_file(old_path_, "old");
  put_file(new_path_, "");
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::already_exists);
  EXPECT_EQ(content_of(new_path_), "");
  EXPECT_EQ(content_of(old_path_), "old");
}

TEST_P(moves, a_directory_is_never_replaced) {
  make_folder(folder_);
  put_file(old_path_, "old");
  EXPECT_EQ(files_.move_file(old_path_, folder_), win32_error::already_exists);
  const std::wstring other = scratch_ / L"other";
  make_folder(other);
  EXPECT_EQ(files_.move_file(other, folder_), win32_error::already_exists);
  EXPECT_EQ(files_.move_file(other, old_path_), win32_error::already_exists);
  EXPECT_EQ(content_of(old_path_), "old");
  EXPECT_TRUE(is_there(folder_));
  EXPECT_TRUE(is_there(other));
}

TEST_P(moves, a_move_onto_the_same_path_succeeds_and_changes_nothing) {
  put_file(old_path_, "content");
  EXPECT_EQ(files_.move_file(old_path_, old_path_), win32_error::success);
  EXPECT_EQ(content_of(old_path_), "content");
}

TEST_P(moves, a_missing_file_is_file_not_found) {
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::file_not_found);
  put_file(new_path_, "kept");
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::file_not_found);
  EXPECT_EQ(content_of(new_path_), "kept");
}

TEST_P(moves, a_missing_folder_on_either_side_is_path_not_found) {
  put_file(old_path_, "content");
  EXPECT_EQ(files_.move_file(scratch_ / L"none/old.txt", new_path_), win32_error::path_not_found);
  EXPECT_EQ(files_.move_file(old_path_, scratch_ / L"none/new.txt"), win32_error::path_not_found);
  EXPECT_EQ(files_.move_file(old_path_, paths::join(old_path_, L"new.txt")), win32_error::path_not_found);
  EXPECT_EQ(files_.move_file(L"", new_path_), win32_error::path_not_found);
  EXPECT_EQ(files_.move_file(old_path_, L""), win32_error::path_not_found);
  EXPECT_EQ(content_of(old_path_), "content");
}

TEST_P(moves, a_name_that_cant_exist_is_invalid_name) {
  REQUIRE_CAPABILITY(forbidden_characters);
  put_file(old_path_, "content");
  EXPECT_EQ(files_.move_file(old_path_, scratch_ / L"a*b.txt"), win32_error::invalid_name);
  EXPECT_EQ(content_of(old_path_), "content");
}

TEST_P(moves, a_name_is_taken_to_the_letter) {
  const std::wstring folder = scratch_ / L"Washington, D.C.";
  make_folder(folder);
  for (const auto* name : {L"a.txt", L"a.txt.", L"a.txt ", L"a.txt. .", L"CON.jpg", L"nul"}) {
    const std::wstring from = scratch_ / name;
    const std::wstring to = paths::join(folder, name);
    const std::string content = "of " + text::utf8_from_wide(name);
    put_file(from, content);
    EXPECT_EQ(files_.move_file(from, to), win32_error::success) << content;
    EXPECT_FALSE(is_there(from)) << content;
    EXPECT_EQ(content_of(to), content);
  }
  EXPECT_EQ(content_of(paths::join(folder, L"a.txt")), "of a.txt");
  EXPECT_FALSE(is_there(scratch_ / L"Washington, D.C"));
}

TEST_P(moves, a_directory_moves_with_all_that_is_in_it) {
  make_folder(folder_);
  make_folder(paths::join(folder_, L"inner"));
  put_file(paths::join(folder_, L"inner\\file.txt"), "content");
  const std::wstring moved = scratch_ / L"moved";
  EXPECT_EQ(files_.move_file(folder_, moved), win32_error::success);
  EXPECT_EQ(content_of(paths::join(moved, L"inner\\file.txt")), "content");
  EXPECT_FALSE(is_there(folder_));
}

TEST_P(moves, a_directory_cant_move_into_itself) {
  make_folder(folder_);
  put_file(paths::join(folder_, L"file.txt"), "content");
  EXPECT_NE(files_.move_file(folder_, paths::join(folder_, L"inner")), win32_error::success);
  EXPECT_EQ(content_of(paths::join(folder_, L"file.txt")), "content");
  EXPECT_FALSE(is_there(paths::join(folder_, L"inner")));
}

TEST_P(moves, attributes_and_times_come_along) {
  put_file(old_path_, "content");
  {
    auto file = files_.open(old_path_, {.access = access::write_attributes, .share = share::all});
    ASSERT_TRUE(file);
    EXPECT_EQ((*file)->set_last_write_time(130'000'000'000'000'000), win32_error::success);
  }
  ASSERT_EQ(files_.set_attributes(old_path_, attribute::hidden | attribute::system), win32_error::success);
  const auto before = files_.facts(old_path_);
  ASSERT_TRUE(before);
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::success);
  const auto after = files_.facts(new_path_);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->attributes, before->attributes);
  EXPECT_EQ(after->last_written, before->last_written);
  EXPECT_EQ(after->created, before->created);
  EXPECT_EQ(after->size, before->size);
}

TEST_P(moves, a_read_only_file_moves_and_stays_read_only) {
  put_file(old_path_, "content");
  ASSERT_EQ(files_.set_attributes(old_path_, attribute::read_only), win32_error::success);
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::success);
  const auto attributes = files_.attributes(new_path_);
  ASSERT_TRUE(attributes);
  EXPECT_NE(*attributes & attribute::read_only, 0U);
  EXPECT_EQ(files_.set_attributes(new_path_, attribute::normal), win32_error::success);
}

TEST_P(moves, a_file_that_someone_has_alone_is_a_sharing_violation_until_it_is_closed) {
  put_file(old_path_, "content");
  {
    const auto alone = files_.open(old_path_, {.access = access::read, .share = share::none});
    ASSERT_TRUE(alone);
    EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::sharing_violation);
    EXPECT_TRUE(is_there(old_path_));
    EXPECT_FALSE(is_there(new_path_));
  }
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::success);
}

TEST_P(moves, a_file_that_is_open_for_reading_and_shared_moves_under_its_reader) {
  put_file(old_path_, "content");
  const auto reader = files_.open(old_path_, {.access = access::read, .share = share::all});
  ASSERT_TRUE(reader);
  EXPECT_EQ(files_.move_file(old_path_, new_path_), win32_error::success);
  std::string bytes(7, '\0');
  const auto read = (*reader)->read(std::as_writable_bytes(std::span(bytes)));
  ASSERT_TRUE(read);
  EXPECT_EQ(bytes, "content");
}

TEST_P(moves, names_of_every_script_move) {
  const std::wstring umlaut = scratch_ / L"\u00fcber \u65e5\u672c \U0001f600.txt";
  put_file(old_path_, "content");
  EXPECT_EQ(files_.move_file(old_path_, umlaut), win32_error::success);
  EXPECT_EQ(content_of(umlaut), "content");
  EXPECT_EQ(files_.move_file(umlaut, new_path_), win32_error::success);
  EXPECT_EQ(content_of(new_path_), "content");
}

TEST_P(moves, paths_over_260_characters_are_taken_on_both_sides) {
  std::wstring deep = scratch_.path();
  while (deep.size() < 300) {
    deep = paths::join(deep, std::wstring(80, L'd'));
    make_folder(deep);
  }
  const std::wstring inside = paths::join(deep, L"file.txt");
  put_file(old_path_, "content");
  EXPECT_EQ(files_.move_file(old_path_, inside), win32_error::success);
  EXPECT_EQ(content_of(inside), "content");
  EXPECT_EQ(files_.remove_directory(deep), win32_error::dir_not_empty);
  EXPECT_EQ(files_.move_file(inside, new_path_), win32_error::success);
  EXPECT_EQ(content_of(new_path_), "content");
  EXPECT_EQ(files_.remove_directory(deep), win32_error::success);
  EXPECT_FALSE(is_there(deep));
}

// Removing directories.

TEST_P(moves, an_empty_directory_is_removed) {
  make_folder(folder_);
  EXPECT_EQ(files_.remove_directory(folder_), win32_error::success);
  EXPECT_FALSE(is_there(folder_));
}

TEST_P(moves, a_directory_with_a_file_or_a_directory_in_it_stays) {
  make_folder(folder_);
  const std::wstring inside = paths::join(folder_, L"inside");
  put_file(inside, "content");
  EXPECT_EQ(files_.remove_directory(folder_), win32_error::dir_not_empty);
  EXPECT_EQ(content_of(inside), "content");
  ASSERT_EQ(files_.delete_file(inside), win32_error::success);
  make_folder(inside);
  EXPECT_EQ(files_.remove_directory(folder_), win32_error::dir_not_empty);
  EXPECT_TRUE(is_there(inside));
}

TEST_P(moves, a_file_cant_be_removed_as_a_directory) {
  put_file(old_path_, "content");
  EXPECT_EQ(files_.remove_directory(old_path_), win32_error::directory);
  EXPECT_EQ(content_of(old_path_), "content");
}

TEST_P(moves, a_directory_that_is_missing_cant_be_removed) {
  EXPECT_EQ(files_.remove_directory(folder_), win32_error::file_not_found);
  EXPECT_EQ(files_.remove_directory(paths::join(folder_, L"inner")), win32_error::path_not_found);
  EXPECT_NE(files_.remove_directory(L""), win32_error::success);
}

TEST_P(moves, a_read_only_directory_cant_be_removed) {
  REQUIRE_CAPABILITY(directory_attributes);
  make_folder(folder_);
  ASSERT_EQ(files_.set_attributes(folder_, attribute::read_only), win32_error::success);
  EXPECT_EQ(files_.remove_directory(folder_), win32_error::access_denied);
  EXPECT_TRUE(is_there(folder_));
  EXPECT_EQ(files_.set_attributes(folder_, attribute::normal), win32_error::success);
}

RUN_ON_EACH_MACHINE(moves);

}  // namespace
