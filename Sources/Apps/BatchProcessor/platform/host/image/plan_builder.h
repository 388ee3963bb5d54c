// Collects the changes of one file and brings them into the form that a rewrite takes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/edit_plan.h"
#include "platform/host/image/xmp_packet.h"

namespace platform::host::image {

class plan_builder {
 public:
  /// `old_bytes`, which stand at `offset` of the old file, become `new_bytes`. What they begin or end with in common
  /// stays out of the plan; equal bytes leave nothing.
  void replace(std::uint64_t offset, std::string_view old_bytes, std::string_view new_bytes);
  /// The same for the text of an XMP packet, piece by piece.
  void replace(std::uint64_t offset, std::string_view old_text, const packet_change& change);
  /// Splices of a block that starts at `offset`.
  void add(std::uint64_t offset, std::vector<splice> splices);
  /// `erase` bytes give way to `bytes`, whatever they were.
  void splice_in(std::uint64_t offset, std::uint64_t erase, std::string bytes);

  /// Bytes gained (or lost) by the changes so far that start in [from, to).
  [[nodiscard]] std::int64_t growth(std::uint64_t from, std::uint64_t to) const;

  /// Ascending and with touching changes made one, but for those that stand alone; at one offset insertions come first,
  /// in the order in which they were made.
  [[nodiscard]] edit_plan take();

 private:
  edit_plan plan_;
};

}  // namespace platform::host::image
