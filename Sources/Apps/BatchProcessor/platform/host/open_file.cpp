#include "platform/host/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/host/system_calls.h"
#include "platform/host/times.h"

namespace platform::host {

win32_error open_file::failure(data_direction direction) const {
  // An open file that refuses was opened for other things.
  if (errno == EBADF && descriptor_) return win32_error::access_denied;
  return error_from_errno(errno, direction);
}

win32_result<std::size_t> open_file::read(std::span<std::byte> buffer) {
  std::size_t total = 0;
  while (total < buffer.size()) {
    const std::span<std::byte> rest = buffer.subspan(total);
    const ssize_t count = retried([&] { return ::read(descriptor_.get(), rest.data(), rest.size()); });
    if (count < 0) return failure(data_direction::reading);
    if (count == 0) break;
    total += static_cast<std::size_t>(count);
  }
  return total;
}

win32_result<std::size_t> open_file::write(std::span<const std::byte> bytes) {
  std::size_t total = 0;
  while (total < bytes.size()) {
    const std::span<const std::byte> rest = bytes.subspan(total);
    const ssize_t count = retried([&] { return ::write(descriptor_.get(), rest.data(), rest.size()); });
    // What has arrived is told first; the next write meets the failure again.
    if (count < 0 && total > 0) break;
    if (count < 0) return failure(data_direction::writing);
    total += static_cast<std::size_t>(count);
  }
  return total;
}

win32_error open_file::seek(std::uint64_t position) {
  if (position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return win32_error::invalid_parameter;
  return ::lseek(descriptor_.get(), static_cast<off_t>(position), SEEK_SET) >= 0 ? win32_error::success : failure();
}

win32_result<std::uint64_t> open_file::size() {
  struct stat status;
  if (::fstat(descriptor_.get(), &status) != 0) return failure();
  return static_cast<std::uint64_t>(status.st_size);
}

win32_error open_file::set_end() {
  const off_t position = ::lseek(descriptor_.get(), 0, SEEK_CUR);
  if (position < 0) return failure();
  const int result = retried([&] { return ::ftruncate(descriptor_.get(), position); });
  if (result == 0) return win32_error::success;
  // A file that was not opened for writing.
  if (errno == EINVAL) return win32_error::access_denied;
  return failure(data_direction::writing);
}

win32_error open_file::set_last_write_time(file_time time) {
  const timespec times[] = {{0, UTIME_OMIT}, timespec_from(time)};
  // Also for a descriptor that gives access to nothing else.
  const int result = ::utimensat(descriptor_.get(), "", times, AT_EMPTY_PATH);
  return result == 0 ? win32_error::success : failure();
}

win32_error open_file::close() {
  if (!descriptor_) return win32_error::success;
  // The descriptor is gone also when a signal came in between.
  if (::close(descriptor_.release()) == 0 || errno == EINTR) return win32_error::success;
  return error_from_errno(errno, data_direction::writing);
}

}  // namespace platform::host
