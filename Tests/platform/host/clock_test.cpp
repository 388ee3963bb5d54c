#include "platform/host/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>

#include "platform/host/time_zone.h"
#include "platform/host/times.h"

namespace {

using host_test::time_zone;
using platform::host::file_time_from;
using platform::host::timespec_from;

constexpr platform::file_time some_time = 134'081'931'171'234'567;

TEST(host_clock, shows_a_time_in_the_zone_of_the_machine) {
  const time_zone zone("EAST-03:30");
  const platform::local_time local = platform::host::clock().to_local(file_time_from(1'000'000'000, 123'456'700));
  EXPECT_EQ(local.year, 2001);
  EXPECT_EQ(local.month, 9);
  EXPECT_EQ(local.day, 9);
  EXPECT_EQ(local.hour, 5);
  EXPECT_EQ(local.minute, 16);
  EXPECT_EQ(local.second, 40);
  EXPECT_EQ(local.ticks, 1'234'567);
}

TEST(host_clock, counts_ticks_from_1601) {
  const time_zone zone("UTC0");
  const platform::local_time first = platform::host::clock().to_local(1);
  EXPECT_EQ(first.year, 1601);
  EXPECT_EQ(first.month, 1);
  EXPECT_EQ(first.day, 1);
  EXPECT_EQ(first.hour, 0);
  EXPECT_EQ(first.ticks, 1);
}

TEST(host_clock, agrees_with_the_systems) {
  const auto now = platform::host::clock().now();
  const auto seconds = std::time(nullptr);
  EXPECT_NEAR(static_cast<double>(now), static_cast<double>(file_time_from(seconds, 0)), 2e7);
}

TEST(host_clock, sleeps_as_long_as_asked) {
  const auto start = std::chrono::steady_clock::now();
  platform::host::clock().sleep(std::chrono::milliseconds(30));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(times, go_both_ways_to_the_tick) {
  for (const platform::file_time time : {platform::file_time{0}, platform::file_time{9'999'999}, some_time}) {
    const timespec converted = timespec_from(time);
    EXPECT_GE(converted.tv_nsec, 0);
    EXPECT_EQ(file_time_from(converted.tv_sec, converted.tv_nsec), time);
  }
}

TEST(times, before_1601_become_1601) { EXPECT_EQ(file_time_from(-11'644'473'601, 0), 0U); }

}  // namespace
