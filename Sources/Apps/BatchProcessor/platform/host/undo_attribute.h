// The mark of a file whose change in place has begun.
#pragma once

#include <string>

#include "platform/result.h"

namespace platform::host {

/// The extended attribute: an undo record (undo_record.h), or the absolute path of an undo file (undo_file.h).
inline constexpr const char* undo_attribute = "user.quill_box.undo";

/// Its value: not_found without one, and where this user may not know of it.
[[nodiscard]] win32_result<std::string> undo_attribute_of(int file);

/// Removes it where it is.
win32_error remove_undo_attribute(int file);

}  // namespace platform::host
