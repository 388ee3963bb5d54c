// What the loops over files and moves have in common.
#pragma once

#include <cstddef>

#include "batch_driver/callbacks.h"

namespace quill_box::organize {

/// Shorter runs may stay invisible.
inline constexpr std::size_t visible_run = 20;

/// Makes the display visible when there is much to do.
void show_large_run(batch_processor::batch_processor_callbacks& callbacks, std::size_t count);

/// Before the item with the number `number`, counted from 1, of `count`: waits while the run is paused, and shows how
/// far it is. False when the run is cancelled. A cancel that comes in a pause only ends the waiting: this item is still
/// to be done, and the next one isn't begun.
[[nodiscard]] bool begin_item(batch_processor::batch_processor_callbacks& callbacks, std::size_t number,
                              std::size_t count);

}  // namespace quill_box::organize
