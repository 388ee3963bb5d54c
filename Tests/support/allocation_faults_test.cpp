#include "support/allocation_faults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <thread>

namespace {

// The operators by name: of a new expression whose object nobody needs, a compiler may leave out the allocation.
struct release_block {
  void operator()(void* block) const { ::operator delete(block); }
};
using owned_block = std::unique_ptr<void, release_block>;

owned_block take(std::size_t size) { return owned_block(::operator new(size)); }

TEST(allocation_fault, refuses_the_chosen_allocation_and_no_other) {
  const support::allocation_fault fault(2);
  const owned_block first = take(4);
  EXPECT_FALSE(fault.struck());
  bool refused = false;
  try {
    const owned_block second = take(4);
  } catch (const std::bad_alloc&) {
    refused = true;
  }
  EXPECT_TRUE(refused);
  EXPECT_TRUE(fault.struck());
  EXPECT_NE(take(4), nullptr);
}

TEST(allocation_fault, passes_over_smaller_allocations) {
  const support::allocation_fault fault(1, 100);
  EXPECT_NE(take(99), nullptr);
  EXPECT_FALSE(fault.struck());
  EXPECT_THROW(static_cast<void>(::operator new(100)), std::bad_alloc);
}

TEST(allocation_fault, ends_with_its_scope) {
  { const support::allocation_fault fault(1); }
  EXPECT_NE(take(4), nullptr);
}

TEST(allocation_fault, covers_arrays_aligned_blocks_and_the_kind_that_does_not_throw) {
  constexpr std::align_val_t alignment{64};
  {
    const support::allocation_fault fault(1);
    EXPECT_THROW(static_cast<void>(::operator new[](1000)), std::bad_alloc);
  }
  {
    const support::allocation_fault fault(1);
    EXPECT_THROW(static_cast<void>(::operator new(64, alignment)), std::bad_alloc);
  }
  {
    const support::allocation_fault fault(1);
    EXPECT_EQ(::operator new(4, std::nothrow), nullptr);
  }
  void* const block = ::operator new(64, alignment);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0U);
  ::operator delete(block, alignment);
}

TEST(allocation_fault, leaves_other_threads_alone) {
  std::atomic<bool> armed = false;
  owned_block others;
  std::thread other([&] {
    while (!armed)
      std::this_thread::yield();
    others = take(4);
  });
  {
    const support::allocation_fault fault(1);
    armed = true;
    other.join();
    EXPECT_FALSE(fault.struck());
  }
  EXPECT_NE(others, nullptr);
}

}  // namespace
