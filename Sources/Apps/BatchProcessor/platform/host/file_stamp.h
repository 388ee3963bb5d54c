// Which file this is, and which content of it.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

#include "platform/result.h"

namespace platform::host {

/// Tells one content of a file from the next.
struct file_stamp {
  dev_t device = 0;
  ino_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified_seconds = 0;
  std::int64_t modified_nanoseconds = 0;
  bool operator==(const file_stamp&) const = default;
};

[[nodiscard]] file_stamp stamp_from(const struct stat& status);
[[nodiscard]] win32_result<file_stamp> stamp_of(int descriptor);

/// What a symbolic link at the end of a path stands for.
enum class last_link : std::uint8_t { its_target, itself };

/// Whether the path names the file of `status`, now. False where it can't be looked at.
[[nodiscard]] bool still_names(const char* path, const struct stat& status, last_link link);
[[nodiscard]] bool still_names(const std::string& path, int descriptor, last_link link);

[[nodiscard]] bool are_same_file(int first, int second);

/// Whether the path itself names the file of `before`, with neither content nor attributes changed since.
[[nodiscard]] bool is_as_it_was(const std::string& path, const struct stat& before);

}  // namespace platform::host
