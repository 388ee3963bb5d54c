#include "support/allocation_faults.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(allocation_fault, refuses_the_chosen_allocation_and_no_other) {
  const support::allocation_fault fault(2);
  const auto first = std::make_unique<int>(1);
  EXPECT_FALSE(fault.struck());
  bool refused = false;
  try {
    const auto second = std::make_unique<int>(2);
  } catch (const std::bad_alloc&) {
    refused = true;
  }
  EXPECT_TRUE(refused);
  EXPECT_TRUE(fault.struck());
  EXPECT_EQ(*std::make_unique<int>(3), 3);
}

TEST(allocation_fault, ends_with_its_scope) {
  { const support::allocation_fault fault(1); }
  EXPECT_EQ(*std::make_unique<int>(3), 3);
}

TEST(allocation_fault, covers_arrays_aligned_blocks_and_the_kind_that_does_not_throw) {
  struct alignas(64) aligned {
    char bytes[64];
  };
  {
    const support::allocation_fault fault(1);
    EXPECT_THROW(std::make_unique<char[]>(1000), std::bad_alloc);
  }
  {
    const support::allocation_fault fault(1);
    EXPECT_THROW(std::make_unique<aligned>(), std::bad_alloc);
  }
  {
    const support::allocation_fault fault(1);
    EXPECT_EQ(new (std::nothrow) int(1), nullptr);
  }
  const auto block = std::make_unique<aligned>();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.get()) % alignof(aligned), 0);
}

TEST(allocation_fault, leaves_other_threads_alone) {
  std::unique_ptr<int> made;
  std::thread other;
  const auto make = [&made] { made = std::make_unique<int>(7); };
  other = std::thread(make);
  {
    const support::allocation_fault fault(1000);
    other.join();
    EXPECT_FALSE(fault.struck());
  }
  EXPECT_EQ(*made, 7);
}

}  // namespace
