#include "platform/host/times_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/times.h"

namespace platform::host {

namespace {

class times_file final : public file {
 public:
  explicit times_file(std::string path) : path_(std::move(path)) {}

  win32_result<std::size_t> read(std::span<std::byte> /*buffer*/) override { return win32_error::access_denied; }
  win32_result<std::size_t> write(std::span<const std::byte> /*bytes*/) override { return win32_error::access_denied; }
  win32_error seek(std::uint64_t /*position*/) override { return win32_error::access_denied; }
  win32_result<std::uint64_t> size() override { return win32_error::access_denied; }
  win32_error set_end() override { return win32_error::access_denied; }
  win32_error close() override { return win32_error::success; }

  win32_error set_last_write_time(file_time time) override {
    const timespec times[] = {{0, UTIME_OMIT}, timespec_from(time)};
    const int result = ::utimensat(AT_FDCWD, path_.c_str(), times, 0);
    return result == 0 ? win32_error::success : error_from_errno(errno, path_.c_str());
  }

 private:
  std::string path_;
};

}  // namespace

win32_result<std::unique_ptr<file>> open_for_times(const path_bytes& path) {
  if (!succeeded(path.error())) return path.error();
  return std::unique_ptr<file>(std::make_unique<times_file>(std::string(path.view())));
}

}  // namespace platform::host
