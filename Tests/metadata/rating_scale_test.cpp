#include "metadata/rating_scale.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using quill_box::metadata::percent_from_stars;
using quill_box::metadata::stars_from_percent;

TEST(rating_scale, each_number_of_stars_has_its_percent_value) {
  EXPECT_EQ(percent_from_stars(0), 0U);
  EXPECT_EQ(percent_from_stars(1), 1U);
  EXPECT_EQ(percent_from_stars(2), 25U);
  EXPECT_EQ(percent_from_stars(3), 50U);
  EXPECT_EQ(percent_from_stars(4), 75U);
  EXPECT_EQ(percent_from_stars(5), 99U);
}

TEST(rating_scale, stars_off_the_scale_become_500) {
  for (const int stars : {-1, 6, 7, 99, 500, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    EXPECT_EQ(percent_from_stars(stars), 500U) << stars;
  }
}

struct percent_range {
  std::uint32_t first;
  std::uint32_t last;
  int stars;
};

TEST(rating_scale, each_range_of_percents_has_its_stars) {
  constexpr percent_range ranges[] = {{0, 0, 0}, {1, 12, 1}, {13, 37, 2}, {38, 62, 3}, {63, 87, 4}, {88, 100, 5}};
  for (const percent_range& range : ranges) {
    for (std::uint32_t percent = range.first; percent <= range.last; ++percent) {
      EXPECT_EQ(stars_from_percent(percent), range.stars) << percent;
    }
  }
}

TEST(rating_scale, percents_off_the_scale_become_500) {
  for (const std::uint32_t percent : {101U, 500U, 0x80000000U, 0xffffffffU}) {
    EXPECT_EQ(stars_from_percent(percent), 500) << percent;
  }
}

TEST(rating_scale, stars_survive_the_way_there_and_back) {
  for (int stars = 0; stars <= 5; ++stars)
    EXPECT_EQ(stars_from_percent(percent_from_stars(stars)), stars);
}

}  // namespace
