#include "platform/windows/long_paths.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using platform::windows::file_call_path;
using platform::windows::prefixed_path_length;

// `start` filled up with folders to `length` units.
std::wstring filled(std::wstring path, std::size_t length) {
  while (path.size() < length)
    path += path.size() % 50 == 49 && path.size() + 1 < length ? L'\\' : L'd';
  return path;
}

TEST(long_paths_on_windows, a_path_of_247_units_stays_as_it_is) {
  const std::wstring path = filled(LR"(C:\)", prefixed_path_length - 1);
  EXPECT_EQ(path.size(), 247U);
  EXPECT_EQ(file_call_path(path), path);
}

TEST(long_paths_on_windows, a_path_of_248_units_gets_the_prefix) {
  const std::wstring path = filled(LR"(C:\)", prefixed_path_length);
  EXPECT_EQ(file_call_path(path), LR"(\\?\)" + path);
}

TEST(long_paths_on_windows, a_share_gets_the_prefix_of_shares) {
  const std::wstring rest = filled(L"server\\share\\", 300);
  EXPECT_EQ(file_call_path(LR"(\\)" + rest), LR"(\\?\UNC\)" + rest);
}

TEST(long_paths_on_windows, forward_slashes_become_backslashes_behind_the_prefix) {
  const std::wstring part(100, L'd');
  EXPECT_EQ(file_call_path(L"C:/" + part + L"/" + part + L"/" + part),
            LR"(\\?\C:\)" + part + L"\\" + part + L"\\" + part);
  EXPECT_EQ(file_call_path(L"//server/share/" + part + L"/" + part + L"/" + part),
            LR"(\\?\UNC\server\share\)" + part + L"\\" + part + L"\\" + part);
}

TEST(long_paths_on_windows, a_short_path_keeps_its_forward_slashes) {
  EXPECT_EQ(file_call_path(L"C:/folder/file.txt"), L"C:/folder/file.txt");
}

TEST(long_paths_on_windows, dots_and_empty_parts_are_resolved_as_without_the_prefix) {
  const std::wstring part(120, L'd');
  EXPECT_EQ(file_call_path(LR"(C:\)" + part + LR"(\.\)" + part + LR"(\..\\)" + part),
            LR"(\\?\C:\)" + part + L"\\" + part);
}

TEST(long_paths_on_windows, a_path_with_a_prefix_stays_as_it_is) {
  for (const auto* start : {LR"(\\?\C:\)", LR"(\\?\UNC\server\share\)", LR"(\\.\device\)"}) {
    const std::wstring path = filled(start, 300);
    EXPECT_EQ(file_call_path(path), path);
  }
}

TEST(long_paths_on_windows, a_relative_path_stays_as_it_is) {
  for (const auto* start : {L"folder\\", L"\\folder\\", L"C:folder\\"}) {
    const std::wstring path = filled(start, 300);
    EXPECT_EQ(file_call_path(path), path);
  }
}

}  // namespace
