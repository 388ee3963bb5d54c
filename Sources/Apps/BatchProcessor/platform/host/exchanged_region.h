// A change made by exchanging blocks: on file systems that can open up room in the middle of a file and take it out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/host/file_rewrite.h"
#include "platform/host/guarded_writes.h"

namespace platform::host {

/// What of a file changes, from a block's start to a block's end, or that of the file.
struct exchanged_region {
  std::uint64_t offset = 0;
  std::uint64_t room = 0;
  std::uint64_t file_size = 0;
  std::string old_content;
  std::string new_content;
  bool needs_sync = false;

  [[nodiscard]] block_exchange exchange() const {
    return {offset, room, file_size, old_content, new_content, needs_sync};
  }
};

/// The region that the plan changes of an open file of that size. None where the plan makes the file shorter or grow by
/// part of a block, where it reaches too far, where the disk has no room for it, where the content can't be read, and
/// on file systems that can't do this.
[[nodiscard]] std::optional<exchanged_region> region_to_exchange(int file, std::uint64_t size, const edit_plan& plan);

}  // namespace platform::host
