// Changing a file so that it is whole at every instant: all of its old bytes or all of its new ones.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/file_stamp.h"
#include "platform/result.h"

namespace platform::host {

/// `erase` bytes at `offset` of the old file give way to `bytes`.
struct splice {
  std::uint64_t offset = 0;
  std::uint64_t erase = 0;
  std::string bytes;
};

/// Ascending by offset, none reaching into the next, all within the file.
using edit_plan = std::vector<splice>;

/// Whether every splice does.
[[nodiscard]] bool keeps_size(const edit_plan& plan);

/// How many bytes the file has more after the plan.
[[nodiscard]] std::int64_t growth_of(const edit_plan& plan);

/// What the splices make of `old`, which starts at `offset` of the file and holds them all.
[[nodiscard]] std::string spliced(std::string_view old, std::uint64_t offset, std::span<const splice> splices);

/// A change that is worked out and has its disk space, but has touched nothing yet.
class file_rewrite {
 public:
  virtual ~file_rewrite() = default;

  /// Makes the change. Whether it fails or the process is killed, the file keeps its old content or has its new one.
  /// sharing_violation when someone changed the file since it was prepared. To be called once.
  virtual win32_error commit() = 0;
};

/// Prepares a change of the file that `descriptor` has open for reading and writing and that stays open until the
/// commit; `path` names it. A plan that keeps the size is written in place, only the bytes that differ. One that lets
/// the file grow by whole blocks of a file system that can open up room in a file is written there alone. Any other
/// gets a new file that takes the name, with mode, owner and extended attributes kept; a file with several names is
/// rewritten behind all of them. disk_full where the space can't be had, invalid_parameter for a plan out of order or
/// beyond the end. `read_from` is the stamp of the content that the plan was made from, when it was made earlier:
/// sharing_violation if the file has moved on, or the path names another file.
/// Call finish_interrupted_rewrite (staged_file.h) before reading a file that will be changed.
[[nodiscard]] win32_result<std::unique_ptr<file_rewrite>> prepare_rewrite(
    int descriptor, const std::string& path, const edit_plan& plan, const std::optional<file_stamp>& read_from = {});

}  // namespace platform::host
