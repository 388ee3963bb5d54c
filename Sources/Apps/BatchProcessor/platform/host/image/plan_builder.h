// Collects the changes of one file and brings them into the form that a rewrite takes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/host/file_rewrite.h"

namespace platform::host::image {

class plan_builder {
 public:
  /// `old_bytes`, which stand at `offset` of the old file, become `new_bytes`. What they begin or end with in common
  /// stays out of the plan; equal bytes leave nothing.
  void replace(std::uint64_t offset, std::string_view old_bytes, std::string_view new_bytes);
  /// `erase` bytes give way to `bytes`, whatever they were.
  void splice_in(std::uint64_t offset, std::uint64_t erase, std::string bytes);

  /// Bytes gained (or lost) by the changes so far that start in [from, to).
  [[nodiscard]] std::int64_t growth(std::uint64_t from, std::uint64_t to) const;

  /// Ascending and with touching changes made one; at one offset insertions come first, in the order in which they
  /// were made.
  [[nodiscard]] edit_plan take();

 private:
  edit_plan plan_;
};

}  // namespace platform::host::image
