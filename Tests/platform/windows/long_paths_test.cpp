#include "platform/windows/long_paths.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using platform::windows::file_call_path;
using platform::windows::long_call_path;
using platform::windows::prefixed_path_length;

// `start` filled up with folders to `length` units.
std::wstring filled(std::wstring path, std::size_t length) {
  while (path.size() < length)
    path += path.size() % 50 == 49 && path.size() + 1 < length ? L'\\' : L'd';
  return path;
}

TEST(long_paths_on_windows, an_absolute_path_gets_the_prefix) {
  EXPECT_EQ(file_call_path(LR"(C:\folder\file.txt)"), LR"(\\?\C:\folder\file.txt)");
  EXPECT_EQ(file_call_path(LR"(C:\)"), LR"(\\?\C:\)");
}

TEST(long_paths_on_windows, a_path_on_a_share_gets_the_prefix_of_shares) {
  EXPECT_EQ(file_call_path(LR"(\\server\share\folder\file.txt)"), LR"(\\?\UNC\server\share\folder\file.txt)");
  EXPECT_EQ(file_call_path(LR"(\\server.\share)"), LR"(\\?\UNC\server.\share)");
}

TEST(long_paths_on_windows, names_stay_as_they_are) {
  EXPECT_EQ(file_call_path(LR"(C:\Washington, D.C.\a.txt. \CON.jpg)"), LR"(\\?\C:\Washington, D.C.\a.txt. \CON.jpg)");
}

TEST(long_paths_on_windows, the_path_is_spelled_out_behind_the_prefix) {
  EXPECT_EQ(file_call_path(L"C:/folder//./other/../file.txt"), LR"(\\?\C:\folder\file.txt)");
  EXPECT_EQ(file_call_path(L"//server/share/../../file.txt"), LR"(\\?\UNC\server\share\file.txt)");
}

TEST(long_paths_on_windows, a_backslash_at_the_end_stays) {
  EXPECT_EQ(file_call_path(LR"(C:\folder\)"), LR"(\\?\C:\folder\)");
  EXPECT_EQ(file_call_path(LR"(\\server\share\)"), LR"(\\?\UNC\server\share\)");
}

TEST(long_paths_on_windows, a_path_with_a_prefix_stays_as_it_is) {
  for (const auto* start : {LR"(\\?\C:\)", LR"(\\?\UNC\server\share\)", LR"(\\.\device\)", L"//?/C:/"}) {
    for (const std::size_t length : {20U, 300U}) {
      const std::wstring path = filled(start, length);
      EXPECT_EQ(file_call_path(path), path);
    }
  }
}

TEST(long_paths_on_windows, a_relative_path_stays_as_it_is) {
  for (const auto* start : {L"folder\\", L"\\folder\\", L"C:folder\\"}) {
    for (const std::size_t length : {20U, 300U}) {
      const std::wstring path = filled(start, length);
      EXPECT_EQ(file_call_path(path), path);
    }
  }
  EXPECT_EQ(file_call_path(L""), L"");
}

TEST(long_paths_on_windows, other_calls_get_the_prefix_from_248_units_on) {
  const std::wstring shorter = filled(L"C:/", prefixed_path_length - 1);
  EXPECT_EQ(shorter.size(), 247U);
  EXPECT_EQ(long_call_path(shorter), shorter);
  const std::wstring longer = filled(LR"(C:\)", prefixed_path_length);
  EXPECT_EQ(long_call_path(longer), LR"(\\?\)" + longer);
}

}  // namespace
