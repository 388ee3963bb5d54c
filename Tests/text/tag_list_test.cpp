#include "text/tag_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "support/allocation_faults.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(split_tag_list, drops_empty_stretches) { EXPECT_THAT(text::split_tag_list(L"a;;b;"), ElementsAre(L"a", L"b")); }

TEST(split_tag_list, gives_none_for_a_semicolon_or_nothing) {
  EXPECT_THAT(text::split_tag_list(L";"), IsEmpty());
  EXPECT_THAT(text::split_tag_list(L""), IsEmpty());
  EXPECT_THAT(text::split_tag_list(L";;;"), IsEmpty());
}

TEST(split_tag_list, keeps_blanks) { EXPECT_THAT(text::split_tag_list(L" a ; ;b"), ElementsAre(L" a ", L" ", L"b")); }

TEST(split_tag_list, knows_no_escape) {
  EXPECT_THAT(text::split_tag_list(LR"(a\;b";"c)"), ElementsAre(LR"(a\)", LR"(b")", LR"("c)"));
}

TEST(split_tag_list, keeps_order_and_duplicates) {
  EXPECT_THAT(text::split_tag_list(L";b;a;b"), ElementsAre(L"b", L"a", L"b"));
}

TEST(split_once, splits_the_first_time_and_keeps_the_list) {
  std::wstring text = L"first tag of a list;second tag of a list";
  const support::allocation_fault fault(1);
  text::split_once list(std::move(text));
  EXPECT_FALSE(fault.struck());
  EXPECT_THROW(static_cast<void>(list.tags()), std::bad_alloc);
  const auto tags = list.tags();
  EXPECT_THAT(tags, ElementsAre(L"first tag of a list", L"second tag of a list"));
  EXPECT_EQ(list.tags().data(), tags.data());
  EXPECT_EQ(list.list(), L"first tag of a list;second tag of a list");
}

TEST(join_tag_list, puts_a_semicolon_between_tags) {
  EXPECT_EQ(text::join_tag_list({}), L"");
  const std::vector<std::wstring> one = {L"a"};
  const std::vector<std::wstring> three = {L"a", L"b c", L"d"};
  EXPECT_EQ(text::join_tag_list(one), L"a");
  EXPECT_EQ(text::join_tag_list(three), L"a;b c;d");
  EXPECT_EQ(text::split_tag_list(text::join_tag_list(three)), three);
}

TEST(join_tag_list, counts_empty_tags) {
  EXPECT_EQ(text::join_tag_list(std::vector<std::wstring>{L"", L"a"}), L";a");
  EXPECT_EQ(text::join_tag_list(std::vector<std::wstring>{L"a", L"", L""}), L"a;;");
}

}  // namespace
