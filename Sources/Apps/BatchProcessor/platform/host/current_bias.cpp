#include "platform/host/current_bias.h"

#include <chrono>
#include <ctime>
#include <limits>
#include <mutex>

#include "platform/host/times.h"

namespace platform::host {

namespace {

namespace chrono = std::chrono;

constexpr int first_year = 1601;
constexpr int last_year = 9999;
constexpr chrono::sys_days epoch = chrono::year(first_year) / 1 / 1;

std::mutex bias_lock;
std::optional<std::int64_t> known_bias;  // in ticks, east of Greenwich positive

std::int64_t current_bias() {
  const std::lock_guard guard(bias_lock);
  if (!known_bias) {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    // Fails for years that have more than 31 bits only; that leaves UTC.
    ::localtime_r(&now, &parts);
    known_bias = std::int64_t{parts.tm_gmtoff} * ticks_per_second;
  }
  return *known_bias;
}

bool is_in_calendar(const local_time& time) {
  const bool fields = time.year >= first_year && time.year <= last_year && time.month >= 1 && time.month <= 12 &&
                      time.day >= 1 && time.day <= 31;
  return fields && (chrono::year(time.year) / time.month / time.day).ok();
}

bool is_time_of_day(const local_time& time) {
  return time.hour >= 0 && time.hour < 24 && time.minute >= 0 && time.minute < 60 && time.second >= 0 &&
         time.second < 60 && time.ticks >= 0 && time.ticks < ticks_per_second;
}

}  // namespace

win32_result<local_time> local_from_file_time(file_time time) {
  constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();
  const std::int64_t bias = current_bias();
  if (time > static_cast<file_time>(latest) || (bias > 0 && static_cast<std::int64_t>(time) > latest - bias)) {
    return win32_error::invalid_parameter;
  }
  const std::int64_t ticks = static_cast<std::int64_t>(time) + bias;
  if (ticks < 0) return win32_error::invalid_parameter;
  const chrono::seconds seconds(ticks / ticks_per_second);
  const auto days = chrono::floor<chrono::days>(seconds);
  const chrono::year_month_day date(epoch + days);
  const chrono::hh_mm_ss time_of_day(seconds - days);
  return local_time{.year = static_cast<int>(date.year()),
                    .month = static_cast<int>(static_cast<unsigned>(date.month())),
                    .day = static_cast<int>(static_cast<unsigned>(date.day())),
                    .hour = static_cast<int>(time_of_day.hours().count()),
                    .minute = static_cast<int>(time_of_day.minutes().count()),
                    .second = static_cast<int>(time_of_day.seconds().count()),
                    .ticks = static_cast<int>(ticks % ticks_per_second)};
}

std::optional<file_time> file_time_from_local(const local_time& local) {
  if (!is_in_calendar(local) || !is_time_of_day(local)) return std::nullopt;
  const chrono::year_month_day date = chrono::year(local.year) / local.month / local.day;
  const chrono::seconds seconds = (chrono::sys_days(date) - epoch) + chrono::hours(local.hour) +
                                  chrono::minutes(local.minute) + chrono::seconds(local.second);
  const std::int64_t ticks = seconds.count() * ticks_per_second + local.ticks - current_bias();
  if (ticks < 0) return std::nullopt;
  return static_cast<file_time>(ticks);
}

void forget_current_bias() {
  const std::lock_guard guard(bias_lock);
  known_bias.reset();
}

}  // namespace platform::host
