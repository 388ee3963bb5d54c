// The definitions of the calls in the program itself go before those of the C library.
#include "platform/host/intercepted_calls.h"

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace host_test {

namespace {

std::array<std::function<int()>, 9> hooks;

std::function<int()>& hook_of(system_call call) { return hooks.at(static_cast<std::size_t>(call)); }

// As the C library's wrappers do it.
template <class... Arguments>
long make_call(system_call call, long number, Arguments... arguments) {
  const std::function<int()>& before = hook_of(call);
  const int failure = before ? before() : 0;
  if (failure == 0) return ::syscall(number, arguments...);
  errno = failure;
  return -1;
}

}  // namespace

intercepted_call::intercepted_call(system_call call, std::function<int()> before) : call_(call) {
  hook_of(call) = std::move(before);
}

intercepted_call::~intercepted_call() { hook_of(call_) = nullptr; }

}  // namespace host_test

extern "C" {

int fchmod(int file, mode_t mode) noexcept {
  return static_cast<int>(host_test::make_call(host_test::system_call::fchmod, SYS_fchmod, file, mode));
}

int fsync(int file) { return static_cast<int>(host_test::make_call(host_test::system_call::fsync, SYS_fsync, file)); }

int fsetxattr(int file, const char* name, const void* value, size_t size, int flags) noexcept {
  return static_cast<int>(
      host_test::make_call(host_test::system_call::fsetxattr, SYS_fsetxattr, file, name, value, size, flags));
}

int fallocate(int file, int mode, off_t offset, off_t size) {
  return static_cast<int>(
      host_test::make_call(host_test::system_call::fallocate, SYS_fallocate, file, mode, offset, size));
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) noexcept {
  return static_cast<int>(
      host_test::make_call(host_test::system_call::renameat2, SYS_renameat2, from_folder, from, to_folder, to, flags));
}

int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) noexcept {
  return static_cast<int>(
      host_test::make_call(host_test::system_call::linkat, SYS_linkat, from_folder, from, to_folder, to, flags));
}

int unlink(const char* path) noexcept {
  return static_cast<int>(host_test::make_call(host_test::system_call::unlink, SYS_unlink, path));
}

ssize_t copy_file_range(int from, off64_t* from_offset, int to, off64_t* to_offset, size_t size, unsigned flags) {
  return host_test::make_call(host_test::system_call::copy_file_range, SYS_copy_file_range, from, from_offset, to,
                              to_offset, size, flags);
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
  return host_test::make_call(host_test::system_call::pwrite, SYS_pwrite64, file, bytes, size, offset);
}

}  // extern "C"
