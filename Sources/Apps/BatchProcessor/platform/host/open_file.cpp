#include "platform/host/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <string>

#include "platform/host/in_place_change.h"
#include "platform/host/system_calls.h"
#include "platform/host/times.h"
#include "platform/host/write_guard.h"

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

bool open_file::overwrites_several_pages(std::uint64_t position, std::size_t size) const {
  if (size == 0 || write_guard::within_one_page(position, size)) return false;
  struct stat status;
  // Where the size can't be had, the write itself tells what is wrong.
  return ::fstat(descriptor_.get(), &status) == 0 && position + size <= static_cast<std::uint64_t>(status.st_size);
}

win32_result<std::size_t> open_file::overwrite(std::uint64_t position, std::string_view bytes) {
  const win32_result<std::uint64_t> whole_size = size();
  if (!whole_size) return whole_size.error();
  in_place_change change;
  const auto fits = change.work_out(descriptor_.get(), *whole_size, {{position, bytes.size(), std::string(bytes)}});
  if (!fits) return fits.error();
  const win32_error written = *fits ? change.make(descriptor_.get()) : win32_error::invalid_parameter;
  if (!succeeded(written)) return written;
  const win32_error moved = seek(position + bytes.size());
  if (!succeeded(moved)) return moved;
  return bytes.size();
}

win32_result<std::size_t> open_file::write(std::span<const std::byte> bytes) {
  if (overwriting_ == overwriting::whole) {
    const off_t position = ::lseek(descriptor_.get(), 0, SEEK_CUR);
    if (position < 0) return failure(data_direction::writing);
    const auto start = static_cast<std::uint64_t>(position);
    if (overwrites_several_pages(start, bytes.size())) {
      return overwrite(start, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
  }
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
