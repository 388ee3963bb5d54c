// For the functions that answer false whatever fails, a lack of memory too.
#pragma once

#include <new>

namespace quill_box::metadata {

/// What `action` answers; false when it runs out of memory.
template <class Action>
[[nodiscard]] bool false_without_memory(const Action& action) {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace quill_box::metadata
