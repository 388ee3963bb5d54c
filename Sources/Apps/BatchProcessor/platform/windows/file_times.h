// The seam's ticks and the system's structure for the same count.
#pragma once

#include "platform/file_system.h"
#include "platform/windows/windows_headers.h"

namespace platform::windows {

[[nodiscard]] inline file_time ticks_of(const FILETIME& time) {
  return (static_cast<file_time>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

[[nodiscard]] inline FILETIME native_time(file_time ticks) {
  return {static_cast<DWORD>(ticks & 0xffffffff), static_cast<DWORD>(ticks >> 32)};
}

}  // namespace platform::windows
