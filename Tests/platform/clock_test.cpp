#include "platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>

#include "platform/machine.h"

namespace {

using namespace std::chrono_literals;
using platform::file_time;

constexpr file_time ticks_per_second = 10'000'000;
constexpr file_time unix_epoch = 116'444'736'000'000'000;  // 1970-01-01 in ticks since 1601

platform::clock& machine_clock() { return platform::native_machine().clock; }

// What the C library shows for the same moment.
std::tm library_time(file_time time) {
  const auto seconds = static_cast<std::time_t>((time - unix_epoch) / ticks_per_second);
  return *std::localtime(&seconds);
}

TEST(clock, now_is_the_time_of_day) {
  const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
  const auto library = unix_epoch + static_cast<file_time>(since_epoch / 1us) * 10;
  const file_time now = machine_clock().now();
  EXPECT_GT(now, library - 2 * ticks_per_second);
  EXPECT_LT(now, library + 2 * ticks_per_second);
}

TEST(clock, now_is_finer_than_a_millisecond) {
  // Of a hundred readings at least one falls between two milliseconds.
  bool finer = false;
  for (int i = 0; i < 100; ++i)
    finer = finer || machine_clock().now() % (ticks_per_second / 1000) != 0;
  EXPECT_TRUE(finer);
}

TEST(clock, local_time_is_that_of_the_machines_zone) {
  const file_time now = machine_clock().now();
  const platform::local_time local = machine_clock().to_local(now);
  const std::tm expected = library_time(now);
  EXPECT_EQ(local.year, expected.tm_year + 1900);
  EXPECT_EQ(local.month, expected.tm_mon + 1);
  EXPECT_EQ(local.day, expected.tm_mday);
  EXPECT_EQ(local.hour, expected.tm_hour);
  EXPECT_EQ(local.minute, expected.tm_min);
  EXPECT_EQ(local.second, expected.tm_sec);
}

TEST(clock, local_time_keeps_the_ticks_within_the_second) {
  const file_time whole_second = machine_clock().now() / ticks_per_second * ticks_per_second;
  EXPECT_EQ(machine_clock().to_local(whole_second).ticks, 0);
  EXPECT_EQ(machine_clock().to_local(whole_second + 1'234'567).ticks, 1'234'567);
  EXPECT_EQ(machine_clock().to_local(whole_second + 9'999'999).ticks, 9'999'999);
}

TEST(clock, the_present_has_the_same_local_time_with_the_current_bias) {
  const file_time now = machine_clock().now();
  const platform::local_time by_zone = machine_clock().to_local(now);
  const auto by_bias = machine_clock().to_local_with_current_bias(now);
  ASSERT_TRUE(by_bias);
  EXPECT_EQ(by_bias->year, by_zone.year);
  EXPECT_EQ(by_bias->month, by_zone.month);
  EXPECT_EQ(by_bias->day, by_zone.day);
  EXPECT_EQ(by_bias->hour, by_zone.hour);
  EXPECT_EQ(by_bias->minute, by_zone.minute);
  EXPECT_EQ(by_bias->second, by_zone.second);
  EXPECT_EQ(by_bias->ticks, by_zone.ticks);
}

TEST(clock, the_current_bias_is_that_of_any_season) {
  constexpr file_time half_a_year = 182 * 24 * 3600 * ticks_per_second;
  const file_time now = machine_clock().now();
  const auto today = machine_clock().to_local_with_current_bias(now);
  const auto then = machine_clock().to_local_with_current_bias(now - half_a_year);
  ASSERT_TRUE(today && then);
  EXPECT_EQ(then->hour, today->hour);
  EXPECT_EQ(then->minute, today->minute);
}

TEST(clock, a_time_beyond_the_calendar_has_no_local_time_with_the_current_bias) {
  EXPECT_FALSE(machine_clock().to_local_with_current_bias(file_time{1} << 63));
  EXPECT_FALSE(machine_clock().to_local_with_current_bias(~file_time{0}));
}

TEST(clock, a_leap_day_is_a_day_of_its_own) {
  constexpr file_time noon = 133'536'816'000'000'000;  // 2024-02-29 12:00 UTC
  const platform::local_time local = machine_clock().to_local(noon);
  const std::tm expected = library_time(noon);
  EXPECT_EQ(local.year, 2024);
  EXPECT_EQ(local.month, expected.tm_mon + 1);
  EXPECT_EQ(local.day, expected.tm_mday);
}

TEST(clock, any_number_of_ticks_has_a_local_time) {
  for (const file_time time : {file_time{0}, file_time{1}, ~file_time{0}, file_time{1} << 63}) {
    const platform::local_time local = machine_clock().to_local(time);
    EXPECT_GE(local.month, 1);
    EXPECT_LE(local.month, 12);
    EXPECT_GE(local.day, 1);
    EXPECT_LE(local.day, 31);
  }
}

TEST(clock, sleep_takes_its_time) {
  const auto start = std::chrono::steady_clock::now();
  machine_clock().sleep(50ms);
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(taken, 45ms);  // timers may be rounded down to their own ticks
  EXPECT_LT(taken, 5s);
}

TEST(clock, no_sleep_returns_at_once) {
  const auto start = std::chrono::steady_clock::now();
  machine_clock().sleep(0ms);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

}  // namespace
