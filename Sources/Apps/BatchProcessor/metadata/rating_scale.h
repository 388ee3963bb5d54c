// Stars, as everybody else speaks of ratings, and the percent scale of System.Rating.
#pragma once

#include <cstdint>

namespace quill_box::metadata {

/// What a value outside of either scale becomes on the other one.
inline constexpr int rating_off_the_scale = 500;

inline constexpr int most_stars = 5;

/// The System.Rating of 0 to 5 stars: not the inverse of stars_from_percent, but the middle of each of its ranges,
/// and the lowest and highest value that the shell itself writes.
[[nodiscard]] constexpr std::uint32_t percent_from_stars(int stars) {
  constexpr std::uint32_t percents[most_stars + 1] = {0, 1, 25, 50, 75, 99};
  return stars < 0 || stars > most_stars ? rating_off_the_scale : percents[stars];
}

[[nodiscard]] constexpr int stars_from_percent(std::uint32_t percent) {
  constexpr std::uint32_t highest_percents[most_stars + 1] = {0, 12, 37, 62, 87, 100};
  for (int stars = 0; stars <= most_stars; ++stars) {
    if (percent <= highest_percents[stars]) return stars;
  }
  return rating_off_the_scale;
}

}  // namespace quill_box::metadata
