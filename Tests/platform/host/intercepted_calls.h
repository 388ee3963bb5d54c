// Something happens, or a call fails, in the middle of an operation: at one of its system calls.
#pragma once

#include <cstdint>
#include <functional>

namespace host_test {

enum class system_call : std::uint8_t {
  fchmod,
  fsync,
  fsetxattr,
  fallocate,
  pwrite,
  renameat2,
  linkat,
  unlink,
  copy_file_range,
};

/// While this lives, `before` runs ahead of every such call of this process (and of those that it forks meanwhile). An
/// errno that it returns is what the call fails with; 0 lets it through. One at a time for each call.
class intercepted_call {
 public:
  intercepted_call(system_call call, std::function<int()> before);
  intercepted_call(const intercepted_call&) = delete;
  intercepted_call& operator=(const intercepted_call&) = delete;
  ~intercepted_call();

 private:
  system_call call_;
};

}  // namespace host_test
