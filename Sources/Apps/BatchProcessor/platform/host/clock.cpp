#include "platform/host/clock.h"

#include <ctime>
#include <thread>

#include "platform/host/current_bias.h"
#include "platform/host/times.h"

namespace platform::host {

file_time clock::now() {
  timespec time;
  // It fails for a clock that doesn't exist, and this one does.
  ::clock_gettime(CLOCK_REALTIME, &time);
  return file_time_from(time.tv_sec, time.tv_nsec);
}

local_time clock::to_local(file_time time) {
  const timespec since_1970 = timespec_from(time);
  // Asked for with every line of the log, thousands of times a second.
  thread_local std::time_t last_second = -1;
  thread_local std::tm parts = {};
  if (since_1970.tv_sec != last_second) {
    // Fails for years that have more than 31 bits only, which no file_time reaches.
    ::localtime_r(&since_1970.tv_sec, &parts);
    last_second = since_1970.tv_sec;
  }
  return {parts.tm_year + 1900,
          parts.tm_mon + 1,
          parts.tm_mday,
          parts.tm_hour,
          parts.tm_min,
          parts.tm_sec,
          static_cast<int>(since_1970.tv_nsec / nanoseconds_per_tick)};
}

win32_result<local_time> clock::to_local_with_current_bias(file_time time) { return local_from_file_time(time); }

void clock::sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

}  // namespace platform::host
