// Changing a file so that it is whole at every instant: all of its old bytes or all of its new ones.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/result.h"

namespace platform::host {

/// `erase` bytes at `offset` of the old file give way to `bytes`.
struct splice {
  std::uint64_t offset = 0;
  std::uint64_t erase = 0;
  std::string bytes;
};

/// Ascending by offset, none reaching into the next.
using edit_plan = std::vector<splice>;

/// A change that is worked out and has its disk space, but has touched nothing yet.
class file_rewrite {
 public:
  virtual ~file_rewrite() = default;

  /// Makes the change. Whether it fails or the process is killed, the file keeps its old content or has its new one.
  virtual win32_error commit() = 0;
};

/// Prepares a change of the file that `descriptor` has open for reading and writing; `path` names it. A plan that
/// keeps the size is written in place, only the bytes that differ. Any other gets a new file that takes the name, with
/// mode, owner and extended attributes kept; a file with
/// several names is rewritten behind all of them. disk_full where the space can't be had.
[[nodiscard]] win32_result<std::unique_ptr<file_rewrite>> prepare_rewrite(int descriptor, const std::string& path,
                                                                          edit_plan plan);

}  // namespace platform::host
