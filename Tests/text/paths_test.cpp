#include "text/paths.h"

#include <gtest/gtest.h>

namespace {

struct path_parts {
  const wchar_t* path;
  const wchar_t* root;
  const wchar_t* parent;
  const wchar_t* file_name;
  const wchar_t* stem;
  const wchar_t* extension;
};

constexpr path_parts examples[] = {
    {L"", L"", L"", L"", L"", L""},
    {L"a.jpg", L"", L"", L"a.jpg", L"a", L".jpg"},
    {LR"(C:\Photos\a.b.jpg)", LR"(C:\)", LR"(C:\Photos)", L"a.b.jpg", L"a.b", L".jpg"},
    {LR"(C:\a.jpg)", LR"(C:\)", LR"(C:\)", L"a.jpg", L"a", L".jpg"},
    {LR"(C:\)", LR"(C:\)", LR"(C:\)", L"", L"", L""},
    {L"C:a.jpg", L"C:", L"C:", L"a.jpg", L"a", L".jpg"},
    {LR"(\\server\share\a)", LR"(\\server\)", LR"(\\server\share)", L"a", L"a", L""},
    {LR"(C:\Photos\)", LR"(C:\)", LR"(C:\Photos)", L"", L"", L""},
    {LR"(C:\Photos\\a)", LR"(C:\)", LR"(C:\Photos)", L"a", L"a", L""},
    {L"/home/u/a.jpg", L"/", L"/home/u", L"a.jpg", L"a", L".jpg"},
    {L"/a", L"/", L"/", L"a", L"a", L""},
    {L".profile", L"", L"", L".profile", L".profile", L""},
    {L"..", L"", L"", L"..", L"..", L""},
    {L"a.", L"", L"", L"a.", L"a", L"."},
    {L"folder.d/a", L"", L"folder.d", L"a", L"a", L""},
};

TEST(paths, splits_into_the_parts_of_windows_path_library) {
  for (const path_parts& example : examples) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(example.path)));
    EXPECT_EQ(paths::root(example.path), example.root);
    EXPECT_EQ(paths::parent(example.path), example.parent);
    EXPECT_EQ(paths::file_name(example.path), example.file_name);
    EXPECT_EQ(paths::stem(example.path), example.stem);
    EXPECT_EQ(paths::extension(example.path), example.extension);
  }
}

TEST(paths, join_keeps_the_style_of_its_base) {
  EXPECT_EQ(paths::join(L"/home/u", L"a.jpg"), L"/home/u/a.jpg");
  EXPECT_EQ(paths::join(L"/home/u/", L"a.jpg"), L"/home/u/a.jpg");
  EXPECT_EQ(paths::join(LR"(C:\Photos)", L"a.jpg"), LR"(C:\Photos\a.jpg)");
  EXPECT_EQ(paths::join(LR"(C:\)", L"a.jpg"), LR"(C:\a.jpg)");
  EXPECT_EQ(paths::join(L"C:/Photos", L"a.jpg"), L"C:/Photos/a.jpg");
  EXPECT_EQ(paths::join(L"folder", L"a.jpg"), LR"(folder\a.jpg)");
  EXPECT_EQ(paths::join(L"", L"a.jpg"), L"a.jpg");
}

TEST(paths, a_part_with_a_root_of_its_own_is_absolute_beside_its_base) {
  EXPECT_TRUE(paths::is_absolute_beside(LR"(C:\Photos)", LR"(D:\a)"));
  EXPECT_TRUE(paths::is_absolute_beside(LR"(C:\Photos)", L"C:/a"));
  EXPECT_TRUE(paths::is_absolute_beside(LR"(C:\Photos)", LR"(\\server\share\a)"));
  EXPECT_TRUE(paths::is_absolute_beside(L"/home/u", L"/mnt/a"));
  EXPECT_TRUE(paths::is_absolute_beside(L"/home/u", L"/"));
  EXPECT_FALSE(paths::is_absolute_beside(LR"(C:\Photos)", LR"(\a)"));
  EXPECT_FALSE(paths::is_absolute_beside(LR"(C:\Photos)", L"D:a"));
  EXPECT_FALSE(paths::is_absolute_beside(LR"(C:\Photos)", LR"(2026\a)"));
  EXPECT_FALSE(paths::is_absolute_beside(L"/home/u", L"2026/a"));
  EXPECT_FALSE(paths::is_absolute_beside(L"/home/u", L""));
}

TEST(paths, resolve_lets_a_root_replace_that_of_the_base) {
  EXPECT_EQ(paths::resolve(LR"(C:\Photos)", L"2026/Paris"), LR"(C:\Photos\2026\Paris)");
  EXPECT_EQ(paths::resolve(L"/home/u", LR"(2026\Paris)"), L"/home/u/2026/Paris");
  EXPECT_EQ(paths::resolve(LR"(C:\Photos)", LR"(D:\a)"), LR"(D:\a)");
  EXPECT_EQ(paths::resolve(LR"(C:\Photos)", L"D:a"), L"D:a");
  EXPECT_EQ(paths::resolve(LR"(C:\Photos)", L"c:a"), LR"(C:\Photos\a)");
  EXPECT_EQ(paths::resolve(LR"(C:\Photos)", LR"(\a)"), LR"(C:\a)");
  EXPECT_EQ(paths::resolve(LR"(C:\Photos)", LR"(\\server\share\a)"), LR"(\\server\share\a)");
  EXPECT_EQ(paths::resolve(L"/home/u", L"/mnt/a"), L"/mnt/a");
  EXPECT_EQ(paths::resolve(L"/home/u", L"a:b.jpg"), L"/home/u/a:b.jpg");
  EXPECT_EQ(paths::resolve(L"/home/u", LR"(D:\a)"), L"D:/a");
}

TEST(paths, spelled_out_names_the_same_place_in_plain_spelling) {
  EXPECT_EQ(paths::spelled_out(L"C:/Photos//2026\\./a/..\\b.jpg"), LR"(C:\Photos\2026\b.jpg)");
  EXPECT_EQ(paths::spelled_out(L"//server/share/../../a/"), LR"(\\server\share\a\)");
  EXPECT_EQ(paths::spelled_out(LR"(C:\..\a. \.b \)"), LR"(C:\a. \.b \)");
  EXPECT_EQ(paths::spelled_out(LR"(C:\a\..)"), LR"(C:\)");
  EXPECT_EQ(paths::spelled_out(LR"(..\a\..\..\b)"), LR"(..\..\b)");
  EXPECT_EQ(paths::spelled_out(L"C:a"), L"C:a");
  EXPECT_EQ(paths::spelled_out(L""), L"");
}

TEST(paths, relative_is_the_way_from_one_place_to_another) {
  EXPECT_EQ(paths::relative(LR"(C:\Photos\2026\a.jpg)", LR"(C:\Photos)"), LR"(2026\a.jpg)");
  EXPECT_EQ(paths::relative(L"/home/u/2026/a.jpg", L"/home/u/"), LR"(2026\a.jpg)");
  EXPECT_EQ(paths::relative(LR"(C:\Other\a.jpg)", LR"(C:\Photos\In)"), LR"(..\..\Other\a.jpg)");
  EXPECT_EQ(paths::relative(LR"(C:\Photos\.\x\..\a)", LR"(C:\Photos)"), L"a");
  EXPECT_EQ(paths::relative(LR"(C:\Photos\..\..\a)", LR"(C:\)"), L"a");
  EXPECT_EQ(paths::relative(LR"(c:\photos\A)", LR"(C:\Photos)"), L"A");
  EXPECT_EQ(paths::relative(LR"(\\server\a\x\y)", LR"(\\Server\A\z)"), LR"(..\x\y)");
  EXPECT_EQ(paths::relative(LR"(\\server\a\..\x)", LR"(\\server\a)"), L"x");
  EXPECT_EQ(paths::relative(L"/Home/a", L"/home"), LR"(..\Home\a)");
  EXPECT_EQ(paths::relative(LR"(C:\Photos\)", LR"(C:\Photos)"), L".");
  EXPECT_EQ(paths::relative(L"..\\a", L"b"), LR"(..\..\a)");
}

TEST(paths, relative_is_nothing_between_different_roots) {
  EXPECT_EQ(paths::relative(LR"(D:\a)", LR"(C:\a)"), L"");
  EXPECT_EQ(paths::relative(LR"(\\server\a)", LR"(C:\a)"), L"");
  EXPECT_EQ(paths::relative(LR"(\\server\a\x)", LR"(\\server\b\x)"), L"");
  EXPECT_EQ(paths::relative(LR"(\\server\a\x)", LR"(\\server)"), L"");
  EXPECT_EQ(paths::relative(LR"(\\?\D:\x)", LR"(\\?\C:\x)"), L"");
  EXPECT_EQ(paths::relative(L"a", L"/a"), L"");
}

}  // namespace
