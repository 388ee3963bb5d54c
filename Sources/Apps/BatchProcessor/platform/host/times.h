// The kernel's times and the seam's.
#pragma once

#include <ctime>

#include "platform/file_system.h"

namespace platform::host {

inline constexpr std::int64_t ticks_per_second = 10'000'000;
inline constexpr std::int64_t nanoseconds_per_tick = 100;
/// From 1601-01-01 to 1970-01-01.
inline constexpr std::int64_t seconds_before_1970 = 11'644'473'600;

/// A time before 1601 becomes 1601.
[[nodiscard]] constexpr file_time file_time_from(std::int64_t seconds_since_1970, std::int64_t nanoseconds) {
  if (seconds_since_1970 < -seconds_before_1970) return 0;
  const auto seconds = static_cast<file_time>(seconds_since_1970 + seconds_before_1970);
  return seconds * ticks_per_second + static_cast<file_time>(nanoseconds / nanoseconds_per_tick);
}

[[nodiscard]] constexpr std::timespec timespec_from(file_time time) {
  const auto seconds = static_cast<std::int64_t>(time / ticks_per_second) - seconds_before_1970;
  return {seconds, static_cast<std::int64_t>(time % ticks_per_second) * nanoseconds_per_tick};
}

}  // namespace platform::host
