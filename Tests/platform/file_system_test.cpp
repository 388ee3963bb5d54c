// The contract of paths, attributes and directories, on each machine.
#include <gtest/gtest.h>

#include <algorithm>
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
namespace attribute = platform::attribute;

class file_system : public test_support::contract_test {
 protected:
  platform::file_system& files_ = test_support::machine_under_test().files;
  test_support::scratch_folder scratch_;
  std::wstring path_ = scratch_ / L"file.txt";
  std::wstring missing_ = scratch_ / L"missing.txt";
  std::wstring without_folder_ = scratch_ / L"no folder/file.txt";

  // The bits of `mask` that the path has.
  std::uint32_t attributes_of(const std::wstring& path, std::uint32_t mask) {
    const auto attributes = files_.attributes(path);
    EXPECT_EQ(code_of(attributes.error()), 0U);
    return attributes ? *attributes & mask : 0xffffffff;
  }
};

// Attributes and facts.

TEST_P(file_system, only_a_directory_has_the_directory_bit) {
  put_file(path_, "content");
  EXPECT_EQ(attributes_of(path_, attribute::directory), 0U);
  EXPECT_EQ(attributes_of(scratch_.path(), attribute::directory), attribute::directory);
}

TEST_P(file_system, a_directory_may_be_named_with_a_separator_at_its_end) {
  EXPECT_EQ(attributes_of(scratch_.path() + L"/", attribute::directory), attribute::directory);
  EXPECT_EQ(attributes_of(scratch_.path() + L"\\", attribute::directory), attribute::directory);
}

TEST_P(file_system, a_missing_file_is_file_not_found) {
  EXPECT_EQ(files_.attributes(missing_).error(), win32_error::file_not_found);
  EXPECT_EQ(files_.facts(missing_).error(), win32_error::file_not_found);
  EXPECT_EQ(files_.set_attributes(missing_, attribute::hidden), win32_error::file_not_found);
  EXPECT_EQ(files_.delete_file(missing_), win32_error::file_not_found);
  EXPECT_EQ(files_.copy_file(missing_, path_).error(), win32_error::file_not_found);
}

TEST_P(file_system, a_missing_folder_is_path_not_found) {
  put_file(path_, "content");
  EXPECT_EQ(files_.attributes(without_folder_).error(), win32_error::path_not_found);
  EXPECT_EQ(files_.facts(without_folder_).error(), win32_error::path_not_found);
  EXPECT_EQ(files_.set_attributes(without_folder_, attribute::hidden), win32_error::path_not_found);
  EXPECT_EQ(files_.delete_file(without_folder_), win32_error::path_not_found);
  EXPECT_EQ(files_.create_directory(without_folder_), win32_error::path_not_found);
  EXPECT_EQ(files_.copy_file(without_folder_, missing_).error(), win32_error::path_not_found);
  EXPECT_EQ(files_.copy_file(path_, without_folder_).error(), win32_error::path_not_found);
}

TEST_P(file_system, a_file_in_a_folders_place_is_path_not_found) {
  put_file(path_, "content");
  const std::wstring below = paths::join(path_, L"below.txt");
  EXPECT_EQ(files_.attributes(below).error(), win32_error::path_not_found);
  EXPECT_EQ(files_.open(below, {}).error(), win32_error::path_not_found);
}

TEST_P(file_system, an_empty_path_is_path_not_found) {
  EXPECT_EQ(files_.attributes(L"").error(), win32_error::path_not_found);
  EXPECT_EQ(files_.open(L"", {}).error(), win32_error::path_not_found);
}

TEST_P(file_system, a_name_that_cant_exist_is_invalid_name) {
  REQUIRE_CAPABILITY(forbidden_characters);
  EXPECT_EQ(files_.attributes(scratch_ / L"a*b.txt").error(), win32_error::invalid_name);
}

TEST_P(file_system, a_path_of_a_hundred_thousand_characters_fails) {
  const std::wstring endless = scratch_ / std::wstring(100'000, L'a');
  EXPECT_FALSE(files_.attributes(endless));
  EXPECT_FALSE(files_.open(endless, {}));
  std::wstring deep = scratch_.path();
  for (int i = 0; i < 10'000; ++i)
    deep += L"\\directory";
  EXPECT_FALSE(files_.attributes(deep));
}

TEST_P(file_system, facts_tell_size_and_times) {
  platform::clock& clock = test_support::machine_under_test().clock;
  constexpr platform::file_time slack = 10'000'000;  // one second: file systems round, and clocks are cached
  const platform::file_time before = clock.now() - slack;
  put_file(path_, "0123456789");
  const platform::file_time after = clock.now() + slack;
  const auto facts = files_.facts(path_);
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->size, 10U);
  EXPECT_GE(facts->last_written, before);
  EXPECT_LE(facts->last_written, after);
  EXPECT_GE(facts->created, before);
  EXPECT_LE(facts->created, after);
  EXPECT_EQ(facts->attributes, *files_.attributes(path_));
}

TEST_P(file_system, facts_of_a_directory_have_the_directory_bit) {
  const auto facts = files_.facts(scratch_.path());
  ASSERT_TRUE(facts);
  EXPECT_NE(facts->attributes & attribute::directory, 0U);
}

TEST_P(file_system, attributes_of_a_file_come_back_in_every_combination) {
  constexpr std::uint32_t mask = attribute::read_only | attribute::hidden | attribute::system;
  put_file(path_, "content");
  for (std::uint32_t bits = 0; bits <= mask; ++bits) {
    const std::uint32_t wanted = bits == 0 ? attribute::normal : bits;
    EXPECT_EQ(files_.set_attributes(path_, wanted), win32_error::success);
    EXPECT_EQ(attributes_of(path_, mask), bits);
    EXPECT_EQ(files_.facts(path_)->attributes & mask, bits);
  }
  EXPECT_EQ(files_.set_attributes(path_, attribute::normal), win32_error::success);
  EXPECT_EQ(content_of(path_), "content");
}

TEST_P(file_system, the_archive_attribute_is_set_and_cleared) {
  REQUIRE_CAPABILITY(archive_attribute);
  put_file(path_, "content");
  EXPECT_EQ(files_.set_attributes(path_, attribute::archive), win32_error::success);
  EXPECT_EQ(attributes_of(path_, attribute::archive), attribute::archive);
  EXPECT_EQ(files_.set_attributes(path_, attribute::normal), win32_error::success);
  EXPECT_EQ(attributes_of(path_, attribute::archive), 0U);
}

TEST_P(file_system, attributes_of_a_directory_come_back) {
  REQUIRE_CAPABILITY(directory_attributes);
  constexpr std::uint32_t mask = attribute::hidden | attribute::system;
  const std::wstring folder = scratch_ / L"folder";
  ASSERT_EQ(files_.create_directory(folder), win32_error::success);
  for (const std::uint32_t bits : {attribute::hidden, attribute::system, mask}) {
    EXPECT_EQ(files_.set_attributes(folder, bits), win32_error::success);
    EXPECT_EQ(attributes_of(folder, mask | attribute::directory), bits | attribute::directory);
  }
}

TEST_P(file_system, a_directory_stays_one_whatever_attributes_are_set) {
  const std::wstring folder = scratch_ / L"folder";
  ASSERT_EQ(files_.create_directory(folder), win32_error::success);
  EXPECT_EQ(files_.set_attributes(folder, attribute::normal), win32_error::success);
  EXPECT_EQ(attributes_of(folder, attribute::directory), attribute::directory);
  EXPECT_EQ(files_.set_attributes(folder, attribute::directory | attribute::archive), win32_error::success);
  EXPECT_EQ(attributes_of(folder, attribute::directory), attribute::directory);
}

// Directories, copies, deletion.

TEST_P(file_system, a_new_directory_holds_files) {
  const std::wstring folder = scratch_ / L"folder";
  EXPECT_EQ(files_.create_directory(folder), win32_error::success);
  put_file(paths::join(folder, L"file.txt"), "content");
  EXPECT_EQ(content_of(paths::join(folder, L"file.txt")), "content");
}

TEST_P(file_system, a_taken_name_is_already_exists_for_a_directory) {
  put_file(path_, "content");
  EXPECT_EQ(files_.create_directory(scratch_.path()), win32_error::already_exists);
  EXPECT_EQ(files_.create_directory(path_), win32_error::already_exists);
  EXPECT_EQ(content_of(path_), "content");
}

TEST_P(file_system, a_copy_has_the_content_and_leaves_the_source) {
  const std::wstring copy = scratch_ / L"copy.txt";
  put_file(path_, "content");
  const auto copied = files_.copy_file(path_, copy);
  ASSERT_TRUE(copied);
  EXPECT_TRUE(*copied);
  EXPECT_EQ(content_of(copy), "content");
  EXPECT_EQ(content_of(path_), "content");
}

TEST_P(file_system, a_copy_never_replaces_a_file) {
  const std::wstring taken = scratch_ / L"taken.txt";
  put_file(path_, "content");
  put_file(taken, "kept");
  EXPECT_EQ(files_.copy_file(path_, taken).error(), win32_error::file_exists);
  EXPECT_EQ(content_of(taken), "kept");
}

TEST_P(file_system, a_directory_cant_be_copied) {
  EXPECT_EQ(files_.copy_file(scratch_.path(), missing_).error(), win32_error::access_denied);
  EXPECT_FALSE(is_there(missing_));
}

TEST_P(file_system, a_deleted_file_is_gone) {
  put_file(path_, "content");
  EXPECT_EQ(files_.delete_file(path_), win32_error::success);
  EXPECT_FALSE(is_there(path_));
}

TEST_P(file_system, a_directory_cant_be_deleted_as_a_file) {
  const std::wstring folder = scratch_ / L"folder";
  ASSERT_EQ(files_.create_directory(folder), win32_error::success);
  EXPECT_EQ(files_.delete_file(folder), win32_error::access_denied);
  EXPECT_TRUE(is_there(folder));
}

TEST_P(file_system, a_read_only_file_cant_be_deleted) {
  REQUIRE_CAPABILITY(read_only_deletion);
  put_file(path_, "content");
  ASSERT_EQ(files_.set_attributes(path_, attribute::read_only), win32_error::success);
  EXPECT_EQ(files_.delete_file(path_), win32_error::access_denied);
  EXPECT_TRUE(is_there(path_));
}

// Names.

TEST_P(file_system, both_separators_lead_to_the_same_file) {
  ASSERT_EQ(files_.create_directory(scratch_ / L"folder"), win32_error::success);
  put_file(scratch_ / L"folder\\file.txt", "content");
  EXPECT_EQ(content_of(scratch_ / L"folder/file.txt"), "content");
}

TEST_P(file_system, names_of_every_script_are_kept_apart) {
  const std::wstring umlaut = scratch_ / L"\u00fcber \u65e5\u672c.txt";
  const std::wstring beyond_16_bits = scratch_ / L"\U0001f600.txt";
  put_file(umlaut, "one");
  put_file(beyond_16_bits, "two");
  EXPECT_EQ(content_of(umlaut), "one");
  EXPECT_EQ(content_of(beyond_16_bits), "two");
}

// Long paths.

class long_paths : public file_system {
 protected:
  // Makes folders below `folder` until the last one's path has `length` characters.
  std::wstring folder_of_length(std::wstring folder, std::size_t length) {
    constexpr std::size_t longest_part = 100;
    while (folder.size() < length) {
      std::size_t part = std::min(longest_part, length - folder.size() - 1);
      // At least two characters must be left for the next separator and name.
      const std::size_t left = length - folder.size() - 1 - part;
      if (left == 1) --part;
      folder = paths::join(folder, std::wstring(part, L'd'));
      EXPECT_EQ(code_of(files_.create_directory(folder)), 0U) << folder.size();
    }
    EXPECT_EQ(folder.size(), length);
    return folder;
  }
};

TEST_P(long_paths, directories_of_every_length_around_the_limits_can_be_made_and_filled) {
  for (const std::size_t length : {246U, 247U, 248U, 249U, 258U, 259U, 260U, 261U, 400U}) {
    const test_support::scratch_folder own;
    const std::wstring folder = folder_of_length(own.path(), length);
    const std::wstring file = paths::join(folder, L"f.txt");
    put_file(file, "content");
    EXPECT_EQ(content_of(file), "content") << length;
    EXPECT_EQ(files_.delete_file(file), win32_error::success) << length;
  }
}

TEST_P(long_paths, every_operation_takes_a_path_over_260_characters) {
  const std::wstring folder = folder_of_length(scratch_.path(), 300);
  const std::wstring file = paths::join(folder, L"file.txt");
  const std::wstring copy = paths::join(folder, L"copy.txt");
  put_file(file, "content");
  EXPECT_EQ(attributes_of(folder, attribute::directory), attribute::directory);
  EXPECT_EQ(files_.facts(file)->size, 7U);
  EXPECT_EQ(files_.set_attributes(file, attribute::hidden), win32_error::success);
  EXPECT_EQ(attributes_of(file, attribute::hidden), attribute::hidden);
  EXPECT_TRUE(files_.copy_file(file, copy));
  EXPECT_EQ(content_of(copy), "content");
  EXPECT_EQ(files_.delete_file(copy), win32_error::success);
  EXPECT_FALSE(is_there(copy));
  EXPECT_EQ(files_.attributes(copy).error(), win32_error::file_not_found);
  EXPECT_EQ(files_.attributes(paths::join(folder, L"none/file.txt")).error(), win32_error::path_not_found);
}

TEST_P(long_paths, a_long_path_means_what_a_short_one_means) {
  const std::wstring folder = folder_of_length(scratch_.path(), 300);
  put_file(paths::join(folder, L"file.txt"), "content");
  EXPECT_EQ(content_of(folder + L"/file.txt"), "content");
  EXPECT_EQ(content_of(folder + L"\\.\\file.txt"), "content");
  EXPECT_EQ(content_of(folder + L"\\\\file.txt"), "content");
  EXPECT_EQ(content_of(folder + L"/../" + std::wstring(paths::file_name(folder)) + L"/file.txt"), "content");
}

RUN_ON_EACH_MACHINE(file_system);
RUN_ON_EACH_MACHINE(long_paths);

}  // namespace
