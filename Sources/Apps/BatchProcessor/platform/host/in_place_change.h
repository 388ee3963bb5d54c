// A change that keeps the size of a file: only the bytes that differ are written.
#pragma once

#include <string>
#include <vector>

#include "platform/host/file_rewrite.h"
#include "platform/host/guarded_writes.h"

namespace platform::host {

/// The runs of bytes that a plan changes, with the contents that they are views of. Not to be copied or moved.
class in_place_change {
 public:
  in_place_change() = default;
  in_place_change(const in_place_change&) = delete;
  in_place_change& operator=(const in_place_change&) = delete;

  /// Reads what the plan erases. `plan` must keep the size and lie within the file. 0, or the errno of a failed read.
  [[nodiscard]] int work_out(int file, edit_plan plan);

  [[nodiscard]] const std::vector<byte_run>& runs() const { return runs_; }

 private:
  void join_within_page(int file);

  edit_plan plan_;
  std::vector<std::string> old_;  // what the file has in the place of each splice
  std::string joined_old_;
  std::string joined_new_;
  std::vector<byte_run> runs_;
};

}  // namespace platform::host
