// Links as an enumeration and a move see them on Windows.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "platform/machine.h"
#include "platform/windows/windows_headers.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"

namespace {

using platform::entry_kind;
using platform::win32_error;

class links : public testing::Test {
 protected:
  // False where this user may not make links, and under Wine, which makes none and says that it did.
  bool make_link(const wchar_t* name, const wchar_t* target, DWORD flags) {
    const std::wstring link = scratch_ / name;
    return CreateSymbolicLinkW(link.c_str(), target, flags) != FALSE && test_support::is_there(link);
  }

  platform::file_system& files_ = platform::native_machine().files;
  test_support::scratch_folder scratch_;
};

TEST_F(links, are_followed_to_tell_their_kind) {
  test_support::put_file(scratch_ / L"file", "content");
  ASSERT_EQ(files_.create_directory(scratch_ / L"folder"), win32_error::success);
  if (!make_link(L"to file", L"file", 0) || !make_link(L"to nothing", L"nowhere", 0) ||
      !make_link(L"to folder", L"folder", SYMBOLIC_LINK_FLAG_DIRECTORY)) {
    GTEST_SKIP() << "no symbolic links can be made here";
  }
  std::map<std::wstring, entry_kind> found;
  EXPECT_EQ(files_.enumerate(scratch_.path(), [&](platform::directory_entry entry) { found[entry.name] = entry.kind; }),
            win32_error::success);
  const std::map<std::wstring, entry_kind> expected = {{L"file", entry_kind::regular_file},
                                                       {L"folder", entry_kind::other},
                                                       {L"to file", entry_kind::regular_file},
                                                       {L"to folder", entry_kind::other},
                                                       {L"to nothing", entry_kind::other}};
  EXPECT_EQ(found, expected);
}

TEST_F(links, move_themselves) {
  test_support::put_file(scratch_ / L"file", "content");
  if (!make_link(L"link", L"file", 0)) GTEST_SKIP() << "no symbolic links can be made here";
  EXPECT_EQ(files_.move_file(scratch_ / L"link", scratch_ / L"moved"), win32_error::success);
  const auto moved = files_.attributes(scratch_ / L"moved");
  ASSERT_TRUE(moved);
  EXPECT_NE(*moved & platform::attribute::reparse_point, 0U);
  EXPECT_TRUE(test_support::is_there(scratch_ / L"file"));
}

}  // namespace
