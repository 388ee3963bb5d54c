// From the system's failures to the seam's codes.
#pragma once

#include "platform/errors.h"
#include "platform/windows/windows_headers.h"

namespace platform::windows {

/// The code of the call that just failed on this thread; never success, whatever the system left behind.
[[nodiscard]] inline win32_error last_failure() {
  const DWORD code = GetLastError();
  return code == ERROR_SUCCESS ? win32_error::gen_failure : static_cast<win32_error>(code);
}

/// For the calls that answer TRUE or FALSE.
[[nodiscard]] inline win32_error outcome(BOOL worked) {
  return worked != FALSE ? win32_error::success : last_failure();
}

[[nodiscard]] inline hresult outcome(HRESULT code) { return static_cast<hresult>(code); }

}  // namespace platform::windows
