// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform::host {

class unique_descriptor {
 public:
  unique_descriptor() = default;
  explicit unique_descriptor(int descriptor) : descriptor_(descriptor) {}
  unique_descriptor(unique_descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  unique_descriptor& operator=(unique_descriptor other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~unique_descriptor() {
    // What was written and must arrive is synced or checked before; a failing close can only tell what is known.
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  [[nodiscard]] int get() const { return descriptor_; }
  [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

}  // namespace platform::host
