// The system's error numbers as Win32 codes, and those as the codes of structured storage.
#pragma once

#include "platform/errors.h"

namespace platform::host {

/// What was being done to the data when the call failed: an I/O error has a code for each.
enum class data_direction { none, reading, writing };

/// The Win32 code of an errno: success for 0, gen_failure for one that has none.
[[nodiscard]] win32_error error_from_errno(int error, data_direction direction = data_direction::none);

/// As above for a call that named a path. A missing name is path_not_found when its folder is missing too.
[[nodiscard]] win32_error error_from_errno(int error, const char* path);

/// The storage code of a failed property set or stream operation; facility 7 for a code that storage has no own for.
[[nodiscard]] hresult storage_hresult_from(win32_error error);

}  // namespace platform::host
