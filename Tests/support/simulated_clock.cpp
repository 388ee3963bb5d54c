#include "support/simulated_clock.h"

#include "text/format.h"

namespace support {

namespace {

using ticks = std::chrono::duration<std::int64_t, std::ratio<1, static_cast<std::int64_t>(ticks_per_second)>>;

constexpr std::chrono::sys_days epoch = std::chrono::year(1601) / 1 / 1;

}  // namespace

platform::file_time ticks_of(const platform::local_time& utc) {
  const std::chrono::sys_days day =
      std::chrono::year(utc.year) / static_cast<int>(utc.month) / static_cast<int>(utc.day);
  const ticks since_epoch = (day - epoch) + std::chrono::hours(utc.hour) + std::chrono::minutes(utc.minute) +
                            std::chrono::seconds(utc.second) + ticks(utc.ticks);
  return static_cast<platform::file_time>(since_epoch.count());
}

platform::file_time simulated_clock::now() {
  const auto guard = calls_.record("now", "");
  return time_;
}

platform::local_time simulated_clock::to_local(platform::file_time time) {
  const auto guard = calls_.record("to_local", text::format("{}", time));
  return in_zone(time);
}

platform::win32_result<platform::local_time> simulated_clock::to_local_with_current_bias(platform::file_time time) {
  using platform::win32_error;
  const auto guard = calls_.record("to_local_with_current_bias", text::format("{}", time));
  const auto refused = calls_.refusal<win32_error>("to_local_with_current_bias", {});
  if (!succeeded(refused)) return refused;
  if (time >> 63 != 0) return win32_error::invalid_parameter;
  return in_zone(time);
}

platform::local_time simulated_clock::in_zone(platform::file_time time) const {
  const ticks local = ticks(static_cast<std::int64_t>(time)) + zone_;
  const auto day = std::chrono::floor<std::chrono::days>(local);
  const std::chrono::year_month_day date(epoch + day);
  const std::chrono::hh_mm_ss clock_time(std::chrono::floor<std::chrono::seconds>(local - day));
  const ticks fraction = local - std::chrono::floor<std::chrono::seconds>(local);
  return {static_cast<int>(date.year()),
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day())),
          static_cast<int>(clock_time.hours().count()),
          static_cast<int>(clock_time.minutes().count()),
          static_cast<int>(clock_time.seconds().count()),
          static_cast<int>(fraction.count())};
}

void simulated_clock::sleep(std::chrono::milliseconds time) {
  const auto guard = calls_.record("sleep", text::format("{} ms", time.count()));
  sleeps_.push_back(time);
  advance(time);
}

void simulated_clock::advance(std::chrono::milliseconds time) {
  time_ += static_cast<platform::file_time>(ticks(time).count());
}

}  // namespace support
