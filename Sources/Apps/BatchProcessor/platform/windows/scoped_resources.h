// Owners of handles and of memory that the system hands out.
#pragma once

#include <memory>
#include <utility>

#include "platform/windows/windows_headers.h"

namespace platform::windows {

/// Owns one handle. A policy names the handle's `type`, its `empty()` value and how to `close()` it.
template <class Policy>
class scoped_handle {
 public:
  using type = typename Policy::type;

  scoped_handle() = default;
  explicit scoped_handle(type handle) : handle_(handle) {}
  scoped_handle(scoped_handle&& other) noexcept : handle_(other.release()) {}
  scoped_handle& operator=(scoped_handle other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~scoped_handle() {
    // Nobody is left to hear of a failure. Whoever must know releases the handle and closes it.
    if (*this) Policy::close(handle_);
  }

  explicit operator bool() const { return handle_ != Policy::empty(); }
  [[nodiscard]] type get() const { return handle_; }
  [[nodiscard]] type release() { return std::exchange(handle_, Policy::empty()); }

 private:
  type handle_ = Policy::empty();
};

struct file_handle_policy {
  using type = HANDLE;
  static HANDLE empty() { return INVALID_HANDLE_VALUE; }
  static void close(HANDLE handle) { CloseHandle(handle); }
};
using file_handle = scoped_handle<file_handle_policy>;

struct find_handle_policy {
  using type = HANDLE;
  static HANDLE empty() { return INVALID_HANDLE_VALUE; }
  static void close(HANDLE handle) { FindClose(handle); }
};
using find_handle = scoped_handle<find_handle_policy>;

// Both free functions fail only for pointers that aren't theirs.
struct local_free {
  void operator()(void* memory) const { LocalFree(memory); }
};
struct task_memory_free {
  void operator()(void* memory) const { CoTaskMemFree(memory); }
};

/// Memory to be given back by LocalFree.
template <class T>
using local_memory = std::unique_ptr<T, local_free>;

/// Memory to be given back by CoTaskMemFree.
template <class T>
using task_memory = std::unique_ptr<T, task_memory_free>;

}  // namespace platform::windows
