#include "support/allocation_faults.h"

#include <cstdlib>
#include <new>

namespace support {

namespace {

// Plain values, so that the operators below can run before and after everything else.
thread_local std::size_t turns_left = 0;  // 0: no fault ahead
thread_local std::size_t smallest_counted = 0;
thread_local bool has_struck = false;

bool strikes(std::size_t size) {
  if (turns_left == 0 || size < smallest_counted || --turns_left > 0) return false;
  has_struck = true;
  return true;
}

void* allocate(std::size_t size) {
  if (strikes(size)) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

void* allocate_aligned(std::size_t size, std::align_val_t alignment) {
  if (strikes(size)) return nullptr;
#ifdef _WIN32
  return _aligned_malloc(size == 0 ? 1 : size, static_cast<std::size_t>(alignment));
#else
  const auto step = static_cast<std::size_t>(alignment);
  return std::aligned_alloc(step, (size + step) / step * step);
#endif
}

void release_aligned(void* block) {
#ifdef _WIN32
  _aligned_free(block);
#else
  std::free(block);
#endif
}

void* or_throw(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

allocation_fault::allocation_fault(std::size_t turn, std::size_t smallest) {
  has_struck = false;
  smallest_counted = smallest;
  turns_left = turn;
}

allocation_fault::~allocation_fault() { turns_left = 0; }

bool allocation_fault::struck() const { return has_struck; }

}  // namespace support

void* operator new(std::size_t size) { return support::or_throw(support::allocate(size)); }
void* operator new[](std::size_t size) { return support::or_throw(support::allocate(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return support::allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return support::allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return support::or_throw(support::allocate_aligned(size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return support::or_throw(support::allocate_aligned(size, alignment));
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { support::release_aligned(block); }
void operator delete[](void* block, std::align_val_t) noexcept { support::release_aligned(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { support::release_aligned(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { support::release_aligned(block); }
