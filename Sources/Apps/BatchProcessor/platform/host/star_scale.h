// Stars and the percent values of the rating property that stand for them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace platform::host {

struct star_row {
  std::uint32_t highest;  ///< the highest percent value that is read as this many stars
  std::uint32_t written;  ///< the one that they are written as
};
inline constexpr std::array<star_row, 6> star_scale = {{{0, 0}, {12, 1}, {37, 25}, {62, 50}, {87, 75}, {100, 99}}};

/// 0 to 5; none beyond 100 percent.
[[nodiscard]] constexpr std::optional<std::uint32_t> stars_of_percent(std::uint32_t percent) {
  const auto row = std::ranges::lower_bound(star_scale, percent, {}, &star_row::highest);
  if (row == star_scale.end()) return std::nullopt;
  return static_cast<std::uint32_t>(row - star_scale.begin());
}

}  // namespace platform::host
