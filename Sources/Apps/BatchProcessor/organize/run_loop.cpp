#include "organize/run_loop.h"

#include <algorithm>
#include <chrono>

#include "platform/machine.h"

namespace quill_box::organize {

namespace {

constexpr std::chrono::milliseconds pause_poll(50);
constexpr int lowest_percent = 7;
constexpr int highest_percent = 96;

}  // namespace

void show_large_run(batch_processor::batch_processor_callbacks& callbacks, std::size_t count) {
  if (count >= visible_run) callbacks.bring_to_front();
}

bool begin_item(batch_processor::batch_processor_callbacks& callbacks, std::size_t number, std::size_t count) {
  if (callbacks.is_cancelled()) return false;
  while (callbacks.is_paused() && !callbacks.is_cancelled())
    platform::current().clock.sleep(pause_poll);
  const auto percent = static_cast<int>(static_cast<double>(number) * 100.0 / static_cast<double>(count));
  callbacks.set_progress(std::clamp(percent, lowest_percent, highest_percent));
  return true;
}

}  // namespace quill_box::organize
