// A clock that stands still unless somebody sleeps.
#pragma once

#include <chrono>
#include <vector>

#include "platform/clock.h"
#include "support/simulated_calls.h"

namespace support {

inline constexpr platform::file_time ticks_per_second = 10'000'000;

/// The ticks of a UTC date and time.
[[nodiscard]] platform::file_time ticks_of(const platform::local_time& utc);

class simulated_clock final : public platform::clock {
 public:
  explicit simulated_clock(simulated_calls& calls) : calls_(calls) {}

  platform::file_time now() override;
  platform::local_time to_local(platform::file_time time) override;
  platform::win32_result<platform::local_time> to_local_with_current_bias(platform::file_time time) override;
  void sleep(std::chrono::milliseconds time) override;

  /// For tests: the time without a record of the question.
  [[nodiscard]] platform::file_time time() const { return time_; }
  void set_time(platform::file_time time) { time_ = time; }
  void advance(std::chrono::milliseconds time);
  /// East of Greenwich; one hour at first, so that a mix-up of local time and UTC shows.
  void set_zone(std::chrono::minutes offset) { zone_ = offset; }
  [[nodiscard]] const std::vector<std::chrono::milliseconds>& sleeps() const { return sleeps_; }

 private:
  [[nodiscard]] platform::local_time in_zone(platform::file_time time) const;

  simulated_calls& calls_;
  // 2026-11-14 12:05:17.1234567 in local time.
  platform::file_time time_ = ticks_of({2026, 11, 14, 11, 5, 17, 1234567});
  std::chrono::minutes zone_ = std::chrono::hours(1);
  std::vector<std::chrono::milliseconds> sleeps_;
};

}  // namespace support
