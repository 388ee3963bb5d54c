// Time and waiting.
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/file_system.h"
#include "platform/result.h"

namespace platform {

/// A point in time as the machine's time zone shows it.
struct local_time {
  int year = 1601;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int ticks = 0;  ///< of 100 ns, within the second
};

class clock {
 public:
  /// GetSystemTimePreciseAsFileTime.
  [[nodiscard]] virtual file_time now() = 0;
  /// SystemTimeToTzSpecificLocalTime with the machine's current zone.
  [[nodiscard]] virtual local_time to_local(file_time time) = 0;
  /// With the distance from UTC that holds now, not with that of the date: a summer's time seen in winter is an hour
  /// off. Property handlers turn a camera's clock into a date taken by the same measure, so that the way back gives
  /// what the camera showed. Fails for times that have no local time in the calendar.
  /// FileTimeToLocalFileTime, FileTimeToSystemTime.
  [[nodiscard]] virtual win32_result<local_time> to_local_with_current_bias(file_time time) = 0;
  virtual void sleep(std::chrono::milliseconds time) = 0;

 protected:
  ~clock() = default;
};

}  // namespace platform
