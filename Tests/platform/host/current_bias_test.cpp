#include "platform/host/current_bias.h"

#include <gtest/gtest.h>

#include "platform/host/time_zone.h"
#include "platform/host/times.h"

namespace {

using host_test::time_zone;
using platform::file_time;
using platform::local_time;
using platform::host::file_time_from_local;
using platform::host::local_from_file_time;

constexpr file_time ticks_per_hour = 3600ULL * platform::host::ticks_per_second;

void expect_same(const local_time& found, const local_time& expected) {
  EXPECT_EQ(found.year, expected.year);
  EXPECT_EQ(found.month, expected.month);
  EXPECT_EQ(found.day, expected.day);
  EXPECT_EQ(found.hour, expected.hour);
  EXPECT_EQ(found.minute, expected.minute);
  EXPECT_EQ(found.second, expected.second);
  EXPECT_EQ(found.ticks, expected.ticks);
}

// Midnight from both sides, the seasons, leap days, hours that a change of clocks skips or repeats, the day that Apia
// never had, and the far ends of the calendar.
constexpr local_time camera_times[] = {
    {2026, 1, 1, 0, 0, 0, 0},    {2026, 1, 1, 23, 59, 59, 9'999'999}, {2026, 7, 1, 0, 0, 0, 1},
    {2026, 7, 1, 23, 59, 59, 0}, {2024, 2, 29, 12, 0, 0, 0},          {2026, 3, 29, 2, 30, 0, 0},
    {2026, 3, 8, 2, 30, 0, 0},   {2026, 10, 25, 2, 30, 0, 0},         {2011, 12, 30, 12, 0, 0, 0},
    {1601, 1, 2, 0, 0, 0, 0},    {1969, 12, 31, 23, 59, 59, 0},       {9999, 12, 31, 23, 59, 59, 9'999'999},
};

TEST(current_bias, gives_every_time_of_a_camera_back_in_every_zone) {
  for (const char* name : host_test::zones) {
    const time_zone zone(name);
    for (const local_time& camera : camera_times) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(camera.year) + "-" + std::to_string(camera.month));
      const auto time = file_time_from_local(camera);
      ASSERT_TRUE(time);
      const auto local = local_from_file_time(*time);
      ASSERT_TRUE(local);
      expect_same(*local, camera);
    }
  }
}

TEST(current_bias, is_that_of_the_zone_east_and_west) {
  constexpr local_time noon = {2026, 1, 1, 12};
  const auto utc = [&noon](const char* name) {
    const time_zone zone(name);
    return *file_time_from_local(noon);
  };
  EXPECT_EQ(utc("EAST-05:30"), utc("UTC0") - ticks_per_hour * 11 / 2);
  EXPECT_EQ(utc("WEST03:30"), utc("UTC0") + ticks_per_hour * 7 / 2);
  EXPECT_EQ(utc("EVER-05:45SUMMER,J1/0,J365/25"), utc("UTC0") - ticks_per_hour * 27 / 4);
  EXPECT_EQ(utc("Asia/Kolkata"), utc("EAST-05:30")) << "the zones of the world aren't installed";
}

TEST(current_bias, stays_when_the_zone_changes_in_the_middle_of_a_run) {
  const time_zone zone("EAST-13");
  const auto time = file_time_from_local({2026, 6, 1, 0, 30});
  ::setenv("TZ", "WEST11", 1);
  ::tzset();
  ASSERT_TRUE(time);
  EXPECT_EQ(local_from_file_time(*time)->day, 1);
}

TEST(current_bias, dates_that_the_calendar_lacks_have_no_time) {
  const time_zone zone("UTC0");
  for (const local_time& date :
       {local_time{2025, 2, 29}, local_time{1900, 2, 29}, local_time{2026, 13, 1}, local_time{2026, 0, 1},
        local_time{2026, 1, 0}, local_time{2026, 4, 31}, local_time{1600, 12, 31}, local_time{10000, 1, 1},
        local_time{0, 1, 1}, local_time{-5, 1, 1}, local_time{2026, 257, 1}, local_time{2026, 1, 257},
        local_time{67137, 1, 1}, local_time{2026, 1, 1, 24}, local_time{2026, 1, 1, -1}, local_time{2026, 1, 1, 0, 60},
        local_time{2026, 1, 1, 0, 0, 60}, local_time{2026, 1, 1, 0, 0, 0, 10'000'000}}) {
    EXPECT_FALSE(file_time_from_local(date)) << date.year << "-" << date.month << "-" << date.day << " " << date.hour;
  }
}

TEST(current_bias, times_at_the_ends_have_no_local_time_where_that_is_beyond_the_end) {
  constexpr file_time latest = (file_time{1} << 63) - 1;
  const auto fails = [](const char* name, file_time time) {
    const time_zone zone(name);
    return local_from_file_time(time).error() == platform::win32_error::invalid_parameter;
  };
  EXPECT_FALSE(fails("UTC0", 0));
  EXPECT_TRUE(fails("WEST01", 0));
  EXPECT_FALSE(fails("WEST01", ticks_per_hour));
  EXPECT_FALSE(fails("UTC0", latest));
  EXPECT_FALSE(fails("WEST01", latest));
  EXPECT_TRUE(fails("EAST-01", latest));
  EXPECT_TRUE(fails("UTC0", latest + 1));
  EXPECT_TRUE(fails("WEST01", ~file_time{0}));
}

TEST(current_bias, the_first_hours_of_1601_have_no_time_where_their_utc_is_earlier) {
  const time_zone zone("EAST-01");
  EXPECT_FALSE(file_time_from_local({1601, 1, 1, 0, 59, 59}));
  EXPECT_EQ(file_time_from_local({1601, 1, 1, 1}), file_time{0});
}

}  // namespace
