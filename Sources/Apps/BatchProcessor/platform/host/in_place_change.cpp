#include "platform/host/in_place_change.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/host/byte_runs.h"
#include "platform/host/file_bytes.h"
#include "platform/host/write_guard.h"

namespace platform::host {

int in_place_change::work_out(int file, edit_plan plan) {
  plan_ = std::move(plan);
  old_.resize(plan_.size());
  for (std::size_t i = 0; i < plan_.size(); ++i) {
    old_[i].resize(plan_[i].bytes.size());
    errno = 0;
    if (read_at(file, plan_[i].offset, old_[i]) != old_[i].size()) return errno == 0 ? EIO : errno;
    append_byte_runs(runs_, plan_[i].offset, old_[i], plan_[i].bytes);
  }
  join_within_page(file);
  return 0;
}

// Several changes in one page become one write, which needs no guard.
void in_place_change::join_within_page(int file) {
  if (runs_.size() < 2) return;
  const std::uint64_t start = runs_.front().offset;
  const std::uint64_t end = runs_.back().offset + runs_.back().new_bytes.size();
  if (!write_guard::within_one_page(start, end - start)) return;
  joined_old_.resize(end - start);
  // A failure here leaves them apart, which is as good.
  if (read_at(file, start, joined_old_) != joined_old_.size()) return;
  joined_new_ = joined_old_;
  for (const byte_run& run : runs_) {
    joined_new_.replace(run.offset - start, run.new_bytes.size(), run.new_bytes);
  }
  runs_ = {{start, joined_old_, joined_new_}};
}

}  // namespace platform::host
