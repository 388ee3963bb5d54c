// What hangs on a file beside its content, from one file to another.
#pragma once

#include <cstdint>
#include <string>

#include "platform/result.h"

namespace platform::host {

enum class attributes_kept : std::uint8_t { all, not_all };

/// Gives the open file `to` the extended attributes of the file at `from`, access lists among them; a list that it got
/// from its folder goes where `from` has none. not_all where one is missing that only the system or a superuser may
/// set. The mark of a change that was cut short (undo_attribute.h) stays where it is.
[[nodiscard]] win32_result<attributes_kept> copy_attributes(const std::string& from, int to);

/// Gives the open and still empty file `to` the flags of `from` that a user may choose (as chattr shows them).
[[nodiscard]] attributes_kept copy_flags(int from, int to);

}  // namespace platform::host
