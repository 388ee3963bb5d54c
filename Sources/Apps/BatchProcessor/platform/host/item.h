// What stands at a path: one look at it, and its Windows attributes.
#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "platform/host/path_bytes.h"
#include "platform/result.h"

namespace platform::host {

struct item {
  struct statx status;  ///< of the link's target; of the link itself where that is missing
  bool is_link = false;
  bool target_missing = false;
};

/// `wanted` is a STATX_... mask. One system call, two for a symbolic link.
[[nodiscard]] win32_result<item> examine(const path_bytes& path, unsigned wanted);

/// The attribute bits of platform/file_system.h; `path` is where the item was found. Needs STATX_TYPE and STATX_MODE.
[[nodiscard]] std::uint32_t attributes_of(const item& item, const path_bytes& path);

/// The read-only attribute is the owner's missing write permission.
[[nodiscard]] constexpr bool is_read_only(unsigned mode) { return (mode & S_IWUSR) == 0; }

/// SetFileAttributesW: hidden, system and archive as an extended attribute, read-only as the owner's permission.
win32_error set_attributes_of(const path_bytes& path, std::uint32_t attributes);

}  // namespace platform::host
