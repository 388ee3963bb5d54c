// Local times at one fixed distance from UTC: that of the moment when it was first asked for in this process, whatever
// season the time itself is in. So each local time has one file_time and each file_time one local time, without the
// hours that a change of the clocks skips or repeats, and both ways agree also when the clocks change in the middle of
// a run.
#pragma once

#include <optional>

#include "platform/clock.h"

namespace platform::host {

/// invalid_parameter for a time whose local time is before 1601 or beyond the 63 bits of a FILETIME.
[[nodiscard]] win32_result<local_time> local_from_file_time(file_time time);

/// The exact inverse, for a date of the calendar and a time of day, from 1601 to 9999; nothing for any other, and for
/// one whose UTC is before 1601.
[[nodiscard]] std::optional<file_time> file_time_from_local(const local_time& local);

/// For tests, which change the zone: the next call asks for the distance again.
void forget_current_bias();

}  // namespace platform::host
