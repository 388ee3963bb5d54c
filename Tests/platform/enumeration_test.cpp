// The contract of enumerating a folder, on each machine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/machine.h"
#include "support/contract_machines.h"
#include "support/native_capabilities.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"
#include "text/paths.h"

namespace {

using platform::entry_kind;
using platform::win32_error;
using test_support::is_there;
using test_support::put_file;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace attribute = platform::attribute;

using names = std::vector<std::wstring>;

class enumeration : public test_support::contract_test {
 protected:
  platform::file_system& files_ = test_support::machine_under_test().files;
  test_support::scratch_folder scratch_;

  // The names of one kind, in the order of their visits.
  names named(entry_kind kind, const std::wstring& folder) {
    names found;
    EXPECT_EQ(files_.enumerate(folder,
                               [&](platform::directory_entry entry) {
                                 if (entry.kind == kind) found.push_back(std::move(entry.name));
                               }),
              win32_error::success);
    return found;
  }
  names files_in(const std::wstring& folder) { return named(entry_kind::regular_file, folder); }
  names others_in(const std::wstring& folder) { return named(entry_kind::other, folder); }
};

TEST_P(enumeration, an_empty_folder_has_no_entries) {
  EXPECT_THAT(files_in(scratch_.path()), IsEmpty());
  EXPECT_THAT(others_in(scratch_.path()), IsEmpty());
}

TEST_P(enumeration, files_are_told_from_directories) {
  put_file(scratch_ / L"a.txt", "content");
  put_file(scratch_ / L"B", "");
  ASSERT_EQ(files_.create_directory(scratch_ / L"folder"), win32_error::success);
  ASSERT_EQ(files_.create_directory(scratch_ / L"folder.txt"), win32_error::success);
  EXPECT_THAT(files_in(scratch_.path()), UnorderedElementsAre(L"a.txt", L"B"));
  EXPECT_THAT(others_in(scratch_.path()), UnorderedElementsAre(L"folder", L"folder.txt"));
}

TEST_P(enumeration, what_is_in_a_subfolder_is_left_out) {
  ASSERT_EQ(files_.create_directory(scratch_ / L"folder"), win32_error::success);
  put_file(scratch_ / L"folder\\inner.txt", "content");
  EXPECT_THAT(files_in(scratch_.path()), IsEmpty());
  EXPECT_THAT(others_in(scratch_.path()), UnorderedElementsAre(L"folder"));
}

TEST_P(enumeration, hidden_and_system_files_are_visited_too) {
  put_file(scratch_ / L"hidden.txt", "content");
  ASSERT_EQ(files_.set_attributes(scratch_ / L"hidden.txt", attribute::hidden | attribute::system),
            win32_error::success);
  put_file(scratch_ / L".dotted", "content");
  EXPECT_THAT(files_in(scratch_.path()), UnorderedElementsAre(L"hidden.txt", L".dotted"));
}

TEST_P(enumeration, the_order_is_the_same_every_time) {
  for (const wchar_t* const name : {L"m", L"c", L"z", L"a", L"q"})
    put_file(scratch_ / name, "");
  EXPECT_EQ(files_in(scratch_.path()), files_in(scratch_.path()));
}

TEST_P(enumeration, every_one_of_many_entries_is_visited_once) {
  names made;
  for (int i = 0; i < 1500; ++i) {
    made.push_back(L"a file with a rather long name " + std::to_wstring(i));
    put_file(scratch_ / made.back(), "");
  }
  names found = files_in(scratch_.path());
  std::ranges::sort(found);
  std::ranges::sort(made);
  EXPECT_EQ(found, made);
}

TEST_P(enumeration, every_name_leads_back_to_its_file) {
  put_file(scratch_ / L"\u00fcber \u65e5\u672c.txt", "");
  put_file(scratch_ / L"\U0001f600 [x] 'y' %z.txt", "");
  const names found = files_in(scratch_.path());
  EXPECT_EQ(found.size(), 2U);
  for (const std::wstring& name : found)
    EXPECT_TRUE(is_there(scratch_ / name));
}

TEST_P(enumeration, a_separator_at_the_end_of_the_folder_changes_nothing) {
  put_file(scratch_ / L"a.txt", "");
  EXPECT_THAT(files_in(scratch_.path() + L"/"), UnorderedElementsAre(L"a.txt"));
  EXPECT_THAT(files_in(scratch_.path() + L"\\"), UnorderedElementsAre(L"a.txt"));
}

TEST_P(enumeration, a_missing_folder_is_path_not_found) {
  const auto none = [](const platform::directory_entry&) { FAIL(); };
  EXPECT_EQ(files_.enumerate(scratch_ / L"none", none), win32_error::path_not_found);
  EXPECT_EQ(files_.enumerate(scratch_ / L"none/deeper", none), win32_error::path_not_found);
  EXPECT_EQ(files_.enumerate(L"", none), win32_error::path_not_found);
}

TEST_P(enumeration, a_file_has_no_entries) {
  put_file(scratch_ / L"a.txt", "");
  const auto none = [](const platform::directory_entry&) { FAIL(); };
  EXPECT_NE(files_.enumerate(scratch_ / L"a.txt", none), win32_error::success);
}

TEST_P(enumeration, a_file_in_a_folders_place_is_told_by_its_code) {
  REQUIRE_CAPABILITY(not_a_folder_code);
  put_file(scratch_ / L"a.txt", "");
  const auto none = [](const platform::directory_entry&) {};
  EXPECT_EQ(files_.enumerate(scratch_ / L"a.txt", none), win32_error::directory);
}

TEST_P(enumeration, a_long_path_is_taken) {
  std::wstring deep = scratch_.path();
  while (deep.size() < 300) {
    deep = paths::join(deep, std::wstring(80, L'd'));
    ASSERT_EQ(files_.create_directory(deep), win32_error::success);
  }
  put_file(paths::join(deep, L"a.txt"), "");
  EXPECT_THAT(files_in(deep), UnorderedElementsAre(L"a.txt"));
}

TEST_P(enumeration, an_exception_of_the_visitor_comes_out) {
  put_file(scratch_ / L"a.txt", "");
  const auto failing = [](const platform::directory_entry&) { throw std::runtime_error("enough"); };
  EXPECT_THROW(static_cast<void>(files_.enumerate(scratch_.path(), failing)), std::runtime_error);
  EXPECT_THAT(files_in(scratch_.path()), UnorderedElementsAre(L"a.txt"));
}

RUN_ON_EACH_MACHINE(enumeration);

}  // namespace
