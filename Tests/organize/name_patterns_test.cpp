#include "organize/name_patterns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace quill_box::organize;
using testing::ElementsAre;

constexpr const wchar_t* default_naming = L"<Date> - <Location> - <People> - <Original Filename>";
constexpr const wchar_t* default_placement = LR"(<Date>\<Location>)";

photo_fields dated() {
  photo_fields fields;
  fields.date = L"2021-03-04";
  fields.stem = L"IMG_1";
  fields.extension = L".jpg";
  return fields;
}

photo_fields complete() {
  photo_fields fields = dated();
  fields.city = L"Paris";
  fields.state = L"Ile-de-France";
  fields.country = L"France";
  fields.location = L"Paris, Ile-de-France, France";
  fields.people = L"Anna and Ben";
  return fields;
}

TEST(parse_pattern, ends_with_a_segment_without_a_token) {
  EXPECT_THAT(parse_pattern(L"a<B>c<D>e"),
              ElementsAre(pattern_segment{L"a", L"B"}, pattern_segment{L"c", L"D"}, pattern_segment{L"e", L""}));
  EXPECT_THAT(parse_pattern(L"<B>"), ElementsAre(pattern_segment{L"", L"B"}, pattern_segment{L"", L""}));
}

TEST(parse_pattern, of_nothing_is_one_empty_segment) {
  EXPECT_THAT(parse_pattern(L""), ElementsAre(pattern_segment{L"", L""}));
}

TEST(parse_pattern, takes_brackets_without_a_partner_as_text) {
  EXPECT_THAT(parse_pattern(L"<Date"), ElementsAre(pattern_segment{L"<Date", L""}));
  EXPECT_THAT(parse_pattern(L"a>b"), ElementsAre(pattern_segment{L"a>b", L""}));
  EXPECT_THAT(parse_pattern(L"a<B>c<d"), ElementsAre(pattern_segment{L"a", L"B"}, pattern_segment{L"c<d", L""}));
}

TEST(parse_pattern, neither_trims_a_token_nor_nests) {
  EXPECT_THAT(parse_pattern(L"< Date ><<B>"),
              ElementsAre(pattern_segment{L"", L" Date "}, pattern_segment{L"", L"<B"}, pattern_segment{L"", L""}));
}

TEST(render_pattern, without_metadata_the_default_name_is_date_and_stem) {
  EXPECT_EQ(render_pattern(default_naming, dated()), L"2021-03-04 - IMG_1");
}

TEST(render_pattern, with_everything_the_default_name_has_all_four) {
  EXPECT_EQ(render_pattern(default_naming, complete()),
            L"2021-03-04 - Paris, Ile-de-France, France - Anna and Ben - IMG_1");
}

TEST(render_pattern, without_a_location_the_default_place_is_the_date_alone) {
  EXPECT_EQ(render_pattern(default_placement, dated()), L"2021-03-04");
  EXPECT_EQ(render_pattern(default_placement, complete()), LR"(2021-03-04\Paris, Ile-de-France, France)");
}

TEST(render_pattern, the_trailing_literal_stays_without_the_value_in_front_of_it) {
  photo_fields fields = dated();
  fields.date.clear();
  EXPECT_EQ(render_pattern(L"<Date> photos", fields), L" photos");
  EXPECT_EQ(render_pattern(L"<Date> photos", dated()), L"2021-03-04 photos");
}

TEST(render_pattern, the_first_literal_stands_also_in_front_of_an_empty_token) {
  EXPECT_EQ(render_pattern(L"in <City> - <Date>", dated()), L"in 2021-03-04");
}

TEST(render_pattern, a_separator_stands_only_between_two_values) {
  EXPECT_EQ(render_pattern(L"<City>/<State>/<Date>", dated()), L"2021-03-04");
  EXPECT_EQ(render_pattern(L"<Date>/<State>/<Original Filename>", dated()), L"2021-03-04/IMG_1");
}

TEST(render_pattern, without_a_token_the_text_comes_twice) {
  EXPECT_EQ(render_pattern(L"Photos", complete()), L"PhotosPhotos");
  EXPECT_EQ(render_pattern(L"<Date", complete()), L"<Date<Date");
  EXPECT_EQ(render_pattern(L"", complete()), L"");
}

TEST(render_pattern, an_unknown_token_vanishes_with_its_separator) {
  EXPECT_EQ(render_pattern(L"<Date> - <Camera> - <City>", complete()), L"2021-03-04 - Paris");
}

TEST(render_pattern, token_names_are_compared_with_case_and_blanks) {
  EXPECT_EQ(render_pattern(L"<date>< Date ><Original filename>", complete()), L"");
}

TEST(render_pattern, every_token_has_its_value) {
  EXPECT_EQ(render_pattern(L"<Date>|<Country>|<State>|<City>|<Location>|<People>|<Original Filename>", complete()),
            L"2021-03-04|France|Ile-de-France|Paris|Paris, Ile-de-France, France|Anna and Ben|IMG_1");
}

TEST(render_pattern, values_go_in_as_they_are) {
  photo_fields fields = dated();
  fields.people = LR"(A\B: <Date>)";
  EXPECT_EQ(render_pattern(L"<People>", fields), LR"(A\B: <Date>)");
}

TEST(join_people, shows_at_most_three_names) {
  const std::vector<std::wstring> names = {L"Anna", L"Ben", L"Carl", L"Dora", L"Emil"};
  const auto first = [&names](std::size_t count) { return join_people(std::span(names).first(count)); };
  EXPECT_EQ(first(0), L"");
  EXPECT_EQ(first(1), L"Anna");
  EXPECT_EQ(first(2), L"Anna and Ben");
  EXPECT_EQ(first(3), L"Anna, Ben and Carl");
  EXPECT_EQ(first(4), L"Anna, Ben and 2 others");
  EXPECT_EQ(first(5), L"Anna, Ben and 3 others");
}

}  // namespace
