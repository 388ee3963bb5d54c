// Running out of memory on demand. The unit tests' operator new serves every allocation of the process.
#pragma once

#include <cstddef>

namespace support {

/// While this lives, the `turn`-th allocation of this thread from now (1 for the next one) throws std::bad_alloc; the
/// ones behind it succeed again. Allocations of fewer than `smallest` bytes are neither counted nor refused. One at a
/// time for each thread.
class allocation_fault {
 public:
  explicit allocation_fault(std::size_t turn, std::size_t smallest = 0);
  ~allocation_fault();
  allocation_fault(const allocation_fault&) = delete;
  allocation_fault& operator=(const allocation_fault&) = delete;

  /// True once the allocation was refused.
  [[nodiscard]] bool struck() const;
};

}  // namespace support
