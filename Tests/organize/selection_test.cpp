#include "organize/selection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace quill_box::organize;
using strings = std::vector<std::wstring>;

TEST(is_always_skipped, the_shells_files_the_journal_folder_icons_and_links) {
  for (const wchar_t* name :
       {L"desktop.ini", L"Desktop.INI", L"Thumbs.db", L"qb_organize_undo.json", L"QB_Organize_Undo.JSON",
        L"qb_folder_1.ico", L"QB_FOLDER_.ICO", L"a.lnk", L"A.LNK", L".url", L"a.b.url"})
    EXPECT_TRUE(is_always_skipped(name)) << testing::PrintToString(std::wstring(name));
}

TEST(is_always_skipped, nothing_that_only_looks_like_them) {
  for (const wchar_t* name : {L"desktop.ini.bak", L"my desktop.ini", L"qb_folder_1.png", L"a qb_folder_1.ico",
                              L"qb_tagged_1.ico", L"lnk", L"a.lnk.txt", L""})
    EXPECT_FALSE(is_always_skipped(name)) << testing::PrintToString(std::wstring(name));
}

TEST(is_excluded, a_star_and_a_dot_match_the_end_of_a_name) {
  EXPECT_TRUE(is_excluded(L"A.TMP", strings{L"*.tmp"}));
  EXPECT_TRUE(is_excluded(L"a.tmp", strings{L"*.TMP"}));
  EXPECT_TRUE(is_excluded(L".tmp", strings{L"*.tmp"}));
  EXPECT_TRUE(is_excluded(L"a.", strings{L"*."}));
  EXPECT_FALSE(is_excluded(L"atmp", strings{L"*.tmp"}));
  EXPECT_FALSE(is_excluded(L"*.tmp.txt", strings{L"*.tmp"}));
}

TEST(is_excluded, any_other_pattern_matches_the_whole_name) {
  EXPECT_TRUE(is_excluded(L"Temp", strings{L"temp"}));
  EXPECT_FALSE(is_excluded(L"temp.txt", strings{L"temp"}));
  EXPECT_FALSE(is_excluded(L"tempo", strings{L"temp*"}));
  EXPECT_TRUE(is_excluded(L"temp*", strings{L"temp*"}));
  EXPECT_FALSE(is_excluded(L"a.txt", strings{L"*", L"", L"?.txt"}));
}

TEST(is_excluded, one_of_several_patterns_is_enough) {
  EXPECT_TRUE(is_excluded(L"b.bak", strings{L"*.tmp", L"*.bak"}));
  EXPECT_FALSE(is_excluded(L"b.bak", strings{}));
}

TEST(sanitize_category_name, deletes_what_no_folder_can_have) {
  EXPECT_EQ(sanitize_category_name(L"A/B?"), L"AB");
  EXPECT_EQ(sanitize_category_name(LR"(\/:*?"<>|x)"), L"x");
}

TEST(sanitize_category_name, trims_blanks_at_the_ends_only) {
  EXPECT_EQ(sanitize_category_name(L" \t\r\nmy photos \t"), L"my photos");
  EXPECT_EQ(sanitize_category_name(L"\u00a0x"), L"\u00a0x");
  EXPECT_EQ(sanitize_category_name(L": photos"), L"photos");
}

TEST(sanitize_category_name, nothing_left_is_other) {
  EXPECT_EQ(sanitize_category_name(L":"), L"Other");
  EXPECT_EQ(sanitize_category_name(L""), L"Other");
  EXPECT_EQ(sanitize_category_name(L" ? "), L"Other");
}

TEST(sanitize_category_name, reserved_names_and_trailing_dots_stay) {
  EXPECT_EQ(sanitize_category_name(L"CON"), L"CON");
  EXPECT_EQ(sanitize_category_name(L"a."), L"a.");
}

TEST(category_for, compares_extensions_in_lower_case_with_or_without_the_dot) {
  const extension_map map = build_extension_map(std::vector<organize_category>{{L"Documents", {L"PDF", L".Txt"}}});
  EXPECT_EQ(category_for(L".PDF", map), L"Documents");
  EXPECT_EQ(category_for(L"pdf", map), L"Documents");
  EXPECT_EQ(category_for(L".txt", map), L"Documents");
}

TEST(category_for, only_one_dot_is_dropped) {
  const extension_map map = build_extension_map(std::vector<organize_category>{{L"Odd", {L"..x"}}});
  EXPECT_EQ(category_for(L".x", map), L"Other");
  EXPECT_EQ(category_for(L"..x", map), L"Odd");
}

TEST(category_for, what_the_map_does_not_know_is_other) {
  const extension_map map = build_extension_map(high_level_settings::default_organize_categories());
  EXPECT_EQ(category_for(L"", map), L"Other");
  EXPECT_EQ(category_for(L".unknown", map), L"Other");
  EXPECT_EQ(category_for(L".jpg", map), L"Images");
  EXPECT_EQ(category_for(L".jar", map), L"Programs");
}

TEST(build_extension_map, the_later_enabled_category_has_a_shared_extension) {
  std::vector<organize_category> categories = {{L"First", {L"txt"}, true}, {L"Second", {L"txt"}, true}};
  EXPECT_EQ(category_for(L"txt", build_extension_map(categories)), L"Second");
  categories[1].enabled = false;
  EXPECT_EQ(category_for(L"txt", build_extension_map(categories)), L"First");
  categories[0].enabled = false;
  EXPECT_EQ(category_for(L"txt", build_extension_map(categories)), L"Other");
}

TEST(build_extension_map, folders_have_names_that_can_be_made) {
  const std::vector<organize_category> categories = {{L"A/B?", {L"a"}}, {L":", {L"b"}}};
  EXPECT_EQ(category_for(L"a", build_extension_map(categories)), L"AB");
  EXPECT_EQ(category_for(L"b", build_extension_map(categories)), L"Other");
}

}  // namespace
