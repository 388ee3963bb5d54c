#include "platform/windows/clock.h"

#include <thread>

#include "platform/windows/error_codes.h"
#include "platform/windows/file_times.h"

namespace platform::windows {

namespace {

constexpr file_time ticks_per_second = 10'000'000;

local_time parts_of(const SYSTEMTIME& time, file_time ticks) {
  return {.year = time.wYear,
          .month = time.wMonth,
          .day = time.wDay,
          .hour = time.wHour,
          .minute = time.wMinute,
          .second = time.wSecond,
          .ticks = static_cast<int>(ticks % ticks_per_second)};
}

}  // namespace

file_time clock::now() {
  FILETIME time = {};
  GetSystemTimePreciseAsFileTime(&time);
  return ticks_of(time);
}

local_time clock::to_local(file_time time) {
  const FILETIME native = native_time(time);
  SYSTEMTIME utc = {};
  SYSTEMTIME local = {};
  // Both fail only for years beyond the calendar of these calls, which show as its first day.
  if (FileTimeToSystemTime(&native, &utc) == FALSE) return {};
  if (SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) == FALSE) return {};
  return parts_of(local, time);
}

win32_result<local_time> clock::to_local_with_current_bias(file_time time) {
  const FILETIME native = native_time(time);
  FILETIME local = {};
  SYSTEMTIME parts = {};
  if (FileTimeToLocalFileTime(&native, &local) == FALSE) return last_failure();
  if (FileTimeToSystemTime(&local, &parts) == FALSE) return last_failure();
  return parts_of(parts, ticks_of(local));
}

void clock::sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

}  // namespace platform::windows
