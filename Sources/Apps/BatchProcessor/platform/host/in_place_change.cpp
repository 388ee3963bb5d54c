#include "platform/host/in_place_change.h"

#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

#include "platform/host/byte_runs.h"
#include "platform/host/errno_codes.h"
#include "platform/host/exchanged_region.h"
#include "platform/host/file_bytes.h"
#include "platform/host/file_room.h"
#include "platform/host/file_stamp.h"
#include "platform/host/write_guard.h"

namespace platform::host {

namespace {

win32_error read_exactly(int file, std::uint64_t offset, std::string& bytes) {
  errno = 0;
  if (read_at(file, offset, bytes) == bytes.size()) return win32_error::success;
  return error_from_errno(errno == 0 ? EIO : errno, data_direction::reading);
}

std::uint64_t end_of(const splice& part) { return part.offset + part.erase; }

// Where the bytes begin that move: at the start of the block that the first growing splice is in, and no splice in
// front of it reaches across. `first` gets the index of the first splice behind that.
std::uint64_t start_of_room(const edit_plan& plan, std::uint64_t block, std::size_t& first) {
  const auto changes_size = [](const splice& part) { return part.erase != part.bytes.size(); };
  first = static_cast<std::size_t>(std::ranges::find_if(plan, changes_size) - plan.begin());
  std::uint64_t start = plan[first].offset / block * block;
  while (first > 0 && end_of(plan[first - 1]) > start) {
    --first;
    start = std::min(start, plan[first].offset / block * block);
  }
  return start;
}

}  // namespace

win32_result<bool> in_place_change::work_out(int file, std::uint64_t size, edit_plan plan) {
  size_ = size;
  plan_ = std::move(plan);
  contents_.reserve(2 * plan_.size() + 2);  // views stay valid
  std::size_t in_front = plan_.size();
  if (!keeps_size(plan_)) {
    const std::int64_t growth = growth_of(plan_);
    const std::uint64_t block = growth > 0 ? room_block_size(file) : 0;
    if (block == 0 || static_cast<std::uint64_t>(growth) % block != 0) return false;
    room_offset_ = start_of_room(plan_, block, in_front);
    const std::uint64_t reach = std::max(end_of(plan_.back()), room_offset_ + 1) - room_offset_;
    if (room_offset_ >= size || reach + static_cast<std::uint64_t>(growth) > write_guard::most_bytes) return false;
    if (!has_space(file, static_cast<std::uint64_t>(growth))) return false;
  }
  for (std::size_t i = 0; i < in_front; ++i) {
    if (const win32_error added = add_runs(file, plan_[i]); !succeeded(added)) return added;
  }
  if (in_front < plan_.size()) {
    if (const win32_error opened = open_room(file, room_offset_, in_front); !succeeded(opened)) return opened;
  }
  join_within_page(file);
  return write_guard::fits(writes());
}

win32_error in_place_change::add_runs(int file, const splice& part) {
  std::string& old = contents_.emplace_back(part.erase, '\0');
  if (const win32_error read = read_exactly(file, part.offset, old); !succeeded(read)) return read;
  append_byte_runs(runs_, part.offset, old, part.bytes);
  return win32_error::success;
}

// The content from `offset` to the end of the last splice moves behind the room, and what differs there is written.
win32_error in_place_change::open_room(int file, std::uint64_t offset, std::size_t first) {
  std::string& old = contents_.emplace_back(std::max(end_of(plan_.back()), offset + 1) - offset, '\0');
  if (const win32_error read = read_exactly(file, offset, old); !succeeded(read)) return read;
  room_ = spliced(old, offset, std::span(plan_).subspan(first));
  const std::string& moved = contents_.emplace_back(room_.substr(room_.size() - old.size()));
  room_.resize(room_.size() - old.size());
  append_byte_runs(runs_, offset + room_.size(), old, moved);
  return win32_error::success;
}

// Several changes in one page become one write, which needs no guard.
void in_place_change::join_within_page(int file) {
  if (runs_.size() < 2 || !room_.empty()) return;
  const std::uint64_t start = runs_.front().offset;
  const std::uint64_t end = runs_.back().offset + runs_.back().new_bytes.size();
  if (!write_guard::within_one_page(start, end - start)) return;
  std::string old(end - start, '\0');
  // A failure here leaves them apart, which is as good.
  if (!succeeded(read_exactly(file, start, old))) return;
  std::string joined = old;
  for (const byte_run& run : runs_) {
    joined.replace(run.offset - start, run.new_bytes.size(), run.new_bytes);
  }
  const std::string& kept_old = contents_.emplace_back(std::move(old));
  const std::string& kept_new = contents_.emplace_back(std::move(joined));
  runs_ = {{start, kept_old, kept_new}};
}

win32_error in_place_change::make(int file) const {
  write_guard& guard = write_guard::instance();
  const auto is_untouched = [this, file] {
    const win32_result<file_stamp> now = stamp_of(file);
    return now && now->size == size_;
  };
  win32_error made = guard.write(file, writes());
  if (succeeded(made) || !is_untouched()) return made;
  if (const auto region = region_to_exchange(file, size_, plan_)) {
    made = guard.exchange(file, region->exchange());
    if (succeeded(made) || !is_untouched()) return made;
  }
  return room_.empty() ? guard.write(file, writes(), marking::if_possible) : made;
}

}  // namespace platform::host
