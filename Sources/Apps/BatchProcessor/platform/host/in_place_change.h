// A change made in the file as it is: only the bytes that differ are written, and room is opened for what comes in
// addition, where the file system can do that.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/host/file_rewrite.h"
#include "platform/host/guarded_writes.h"

namespace platform::host {

/// What a plan changes, with the contents that the writes are views of. Not to be copied or moved.
class in_place_change {
 public:
  in_place_change() = default;
  in_place_change(const in_place_change&) = delete;
  in_place_change& operator=(const in_place_change&) = delete;

  /// Reads what the plan changes of an open file of that size, in which it must lie. False where the plan can't be made
  /// in place: it makes the file shorter, or longer by part of a block, the file system can't open room or the disk has
  /// none, or it is too much for the write guard.
  [[nodiscard]] win32_result<bool> work_out(int file, std::uint64_t size, edit_plan plan);

  /// Makes the change, in the first of these ways that works: with a mark that a kill is taken back by; by an exchange
  /// of the blocks that it lies in; and where the file keeps its size without a mark. On a failure the file keeps its
  /// content.
  win32_error make(int file) const;

 private:
  win32_error add_runs(int file, const splice& part);
  win32_error open_room(int file, std::uint64_t offset, std::size_t first);
  void join_within_page(int file);
  [[nodiscard]] in_place_writes writes() const { return {{room_offset_, size_, room_}, runs_}; }

  std::uint64_t size_ = 0;
  edit_plan plan_;
  std::vector<std::string> contents_;  // which the runs are views of
  std::vector<byte_run> runs_;
  std::uint64_t room_offset_ = 0;
  std::string room_;
};

}  // namespace platform::host
