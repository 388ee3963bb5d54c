// Changes of a file's bytes, worked out before anything is touched.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/byte_source.h"

namespace platform::host {

/// `erase` bytes at `offset` of the old file give way to `bytes`.
struct splice {
  std::uint64_t offset = 0;
  std::uint64_t erase = 0;
  std::string bytes;
  /// Every reader takes the file as valid with this splice and without it, whichever of the others are there: it may
  /// be written by itself. All other splices of a plan only make sense together.
  bool stands_alone = false;
};

/// Ascending by offset, none reaching into the next, all within the file.
using edit_plan = std::vector<splice>;

/// Whether the plan is one for a file of that size.
[[nodiscard]] bool is_well_formed(const edit_plan& plan, std::uint64_t file_size);

/// Whether every splice keeps its size.
[[nodiscard]] bool keeps_size(const edit_plan& plan);

/// How many bytes the file has more after the plan.
[[nodiscard]] std::int64_t growth_of(std::span<const splice> splices);

/// What the splices make of `old`, which starts at `offset` of the file and holds them all.
[[nodiscard]] std::string spliced(std::string_view old, std::uint64_t offset, std::span<const splice> splices);

/// Adds the splice that turns `before`, which stands at `offset`, into `after`: the bytes that both start and end
/// with are left out of it. Nothing is added where they are equal.
void add_difference(edit_plan& plan, std::uint64_t offset, std::string_view before, std::string_view after);

/// Joins splices that shift bytes with those after them that shift them back, the bytes between included, so that a
/// plan that keeps the file's size consists of splices that keep their own; joins neighbours too. None when the bytes
/// can't be read.
[[nodiscard]] std::optional<edit_plan> join_balanced(byte_source& source, edit_plan plan);

}  // namespace platform::host
