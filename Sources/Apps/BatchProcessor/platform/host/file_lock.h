// Keeping the processes that change a file apart: runs of this program by locks, other programs by a look at who has
// the file open.
#pragma once

#include <chrono>
#include <thread>

#include "platform/result.h"

namespace platform::host {

/// How long a run waits for another one that has a file: as long as a change of it may take.
inline constexpr auto longest_wait = std::chrono::seconds(2);
inline constexpr auto wait_step = std::chrono::milliseconds(2);

[[nodiscard]] inline bool is_busy(win32_error error) { return error == win32_error::sharing_violation; }
template <class T>
[[nodiscard]] bool is_busy(const win32_result<T>& result) {
  return is_busy(result.error());
}

/// Repeats the attempt as long as it is refused by a sharing violation, but not for longer than `limit`.
template <class Attempt>
auto retried_while_busy(Attempt attempt, std::chrono::steady_clock::duration limit = longest_wait) {
  const auto end = std::chrono::steady_clock::now() + limit;
  for (;;) {
    auto result = attempt();
    if (!is_busy(result) || std::chrono::steady_clock::now() >= end) return result;
    std::this_thread::sleep_for(wait_step);
  }
}

/// Locks an open file for as long as the descriptor lives: sharing_violation while another descriptor has the lock.
/// Success on a file system without locks, which can't keep anyone apart.
win32_error lock_alone(int file);

/// Whether somebody else may have the file open for writing. `file` is a descriptor for reading and writing: also true
/// where somebody only reads. False where that can't be told: on network shares, and of other owners' files.
[[nodiscard]] bool may_be_written_by_others(int file);

/// Whether somebody has the file open for writing. `file` is a descriptor for reading only, and this process has no
/// other one. False where that can't be told, as above.
[[nodiscard]] bool is_open_for_writing(int file);

}  // namespace platform::host
