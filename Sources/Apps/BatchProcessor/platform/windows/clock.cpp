#include "platform/windows/clock.h"

#include <thread>

#include "platform/windows/file_times.h"

namespace platform::windows {

file_time clock::now() {
  FILETIME time = {};
  GetSystemTimePreciseAsFileTime(&time);
  return ticks_of(time);
}

local_time clock::to_local(file_time time) {
  constexpr file_time ticks_per_second = 10'000'000;
  const FILETIME native = native_time(time);
  SYSTEMTIME utc = {};
  SYSTEMTIME local = {};
  // Both fail only for years beyond the calendar of these calls, which show as its first day.
  if (FileTimeToSystemTime(&native, &utc) == FALSE) return {};
  if (SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) == FALSE) return {};
  return {.year = local.wYear,
          .month = local.wMonth,
          .day = local.wDay,
          .hour = local.wHour,
          .minute = local.wMinute,
          .second = local.wSecond,
          .ticks = static_cast<int>(time % ticks_per_second)};
}

void clock::sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

}  // namespace platform::windows
