// Makes changes in place that a kill of this process can't cut in two.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>

#include "platform/host/guarded_writes.h"
#include "platform/host/unique_descriptor.h"
#include "platform/result.h"

namespace platform::host {

/// Whether a change in place may do without the mark by which it is taken back after a kill of helper and program.
enum class marking : std::uint8_t { needed, if_possible };

/// The kernel writes within one page of a file as a whole, whatever kills the writer; between two pages it looks for a
/// pending kill. So a change of several pages is handed to a helper process, forked at first need, in a session of its
/// own, which makes it even if this process is killed meanwhile. The helper keeps standard error open: who waits for
/// the end of this process' standard error also waits for the write in flight. Should the helper itself be killed,
/// this process makes the change again; should both be, the next open takes it back by the mark that the file has
/// meanwhile. Any thread; one change at a time.
class write_guard {
 public:
  /// The one of this process.
  static write_guard& instance();

  write_guard() = default;
  write_guard(const write_guard&) = delete;
  write_guard& operator=(const write_guard&) = delete;
  /// Waits for the helper's end.
  ~write_guard();

  /// Limits of one change: runs, and the sum of their bytes and of the room.
  static constexpr std::size_t most_runs = 1024;
  static constexpr std::size_t most_bytes = largest_exchange;

  /// Whether one change may consist of this.
  [[nodiscard]] static bool fits(const in_place_writes& change);
  [[nodiscard]] static bool within_one_page(std::uint64_t offset, std::uint64_t size);

  /// As write_in_place, all or nothing. Runs in ascending order, at least one byte each; invalid_parameter when they
  /// don't fit, not_enough_memory where the helper can't be started. A change of more than one page gets a mark on the
  /// file meanwhile; fails, the file untouched, where one is `needed` and the file can't have it. The file keeps its
  /// old bytes on every failure.
  win32_error write(int file, const in_place_writes& change, marking mark = marking::needed);

  /// As exchange_blocks, with a mark on the file meanwhile: fails, the file untouched, where it can't have one.
  /// invalid_parameter for more than largest_exchange.
  win32_error exchange(int file, const block_exchange& change);

  /// Starts the helper where there is none: not_enough_memory or another failure, while nothing has changed yet.
  win32_error prepare();

  /// As rewrite_from_journal. After prepare() it fails only as that does.
  win32_error rewrite(const journaled_rewrite& rewrite);

  /// The helper, 0 when there is none now.
  [[nodiscard]] pid_t helper() const { return helper_; }

 private:
  struct shared_order;

  [[nodiscard]] int start();
  void reap();
  [[nodiscard]] int have_performed(std::span<const int> descriptors);
  [[nodiscard]] bool ask_helper(std::span<const int> descriptors);

  std::mutex mutex_;
  shared_order* order_ = nullptr;  // memory that this process and the helper share
  unique_descriptor socket_;       // to the helper
  pid_t helper_ = 0;
  pid_t owner_ = 0;  // the process that started the helper: a fork of this one must not use it
};

}  // namespace platform::host
