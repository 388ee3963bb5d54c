#include "platform/host/changed_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/file_lock.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/item.h"
#include "platform/host/open_to_change.h"
#include "platform/host/opening.h"
#include "platform/host/recovery.h"
#include "platform/host/system_calls.h"
#include "platform/host/times.h"

namespace platform::host {

namespace {

class changed_file final : public file {
 public:
  changed_file(std::string path, access wanted, unique_descriptor descriptor, const file_stamp& stamp)
      : path_(std::move(path)), access_(wanted), descriptor_(std::move(descriptor)), stamp_(stamp) {}

  win32_result<std::size_t> read(std::span<std::byte> buffer) override {
    if (!has(access_, access::read)) return win32_error::access_denied;
    errno = 0;
    const std::size_t count =
        read_at(descriptor_.get(), position_, {reinterpret_cast<char*>(buffer.data()), buffer.size()});
    if (count < buffer.size() && errno != 0) return error_from_errno(errno, data_direction::reading);
    position_ += count;
    return count;
  }

  win32_result<std::size_t> write(std::span<const std::byte> bytes) override {
    if (bytes.empty()) return std::size_t{0};
    const std::uint64_t offset = std::min(position_, stamp_.size);
    std::string content(position_ - offset, '\0');
    content.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::uint64_t erased = std::min<std::uint64_t>(content.size(), stamp_.size - offset);
    if (const win32_error done = change({{offset, erased, std::move(content)}}); !succeeded(done)) return done;
    position_ += bytes.size();
    return bytes.size();
  }

  win32_error seek(std::uint64_t position) override {
    position_ = position;
    return win32_error::success;
  }

  win32_result<std::uint64_t> size() override { return stamp_.size; }

  win32_error set_end() override {
    if (position_ == stamp_.size) return win32_error::success;
    const std::uint64_t offset = std::min(position_, stamp_.size);
    return change({{offset, stamp_.size - offset, std::string(position_ - offset, '\0')}});
  }

  win32_error set_last_write_time(file_time time) override {
    const timespec times[] = {{0, UTIME_OMIT}, timespec_from(time)};
    if (::futimens(descriptor_.get(), times) != 0) return error_from_errno(errno);
    return update_stamp();
  }

  win32_error close() override {
    // What was written is in the file already.
    descriptor_ = unique_descriptor();
    return win32_error::success;
  }

 private:
  win32_error update_stamp() {
    const win32_result<file_stamp> now = stamp_of(descriptor_.get());
    if (now) stamp_ = *now;
    return now.error();
  }

  win32_error change(const edit_plan& plan) {
    // What was cut short is a change that this handle doesn't know of.
    const win32_result<bool> recovered = recover(descriptor_.get(), path_);
    if (!recovered) return recovered.error();
    const auto writable = open_for_writing(path_, descriptor_.get());
    if (!writable) return writable.error();
    file_source source(writable->get(), stamp_.size);
    auto rewrite = prepare_rewrite({writable->get(), path_, stamp_, source}, plan);
    if (!rewrite) return rewrite.error();
    if (const win32_error done = (*rewrite)->commit(); !succeeded(done)) return done;
    if (const auto replacement = (*rewrite)->take_replacement()) {
      if (const win32_error followed = follow_name(); !succeeded(followed)) return followed;
    }
    return update_stamp();
  }

  // To the new file that has the name now. Its lock may be another run's by then, which the next change finds out.
  win32_error follow_name() {
    auto opened = open_regular(path_bytes(wide_from_bytes(path_)), {access::read, share::all});
    if (!opened) return opened.error();
    descriptor_ = std::move(opened->descriptor);
    static_cast<void>(lock_alone(descriptor_.get()));
    return win32_error::success;
  }

  std::string path_;
  access access_;
  unique_descriptor descriptor_;
  file_stamp stamp_;  // of the content that was read, or written
  std::uint64_t position_ = 0;
};

}  // namespace

win32_result<std::unique_ptr<file>> open_changed_file(const path_bytes& path, const open_request& request) {
  if (!succeeded(path.error())) return path.error();
  constexpr int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  unique_descriptor descriptor(retried([&] { return ::open(path.c_str(), flags); }));
  if (!descriptor) return errno == ENXIO ? win32_error::access_denied : error_from_errno(errno, path.c_str());
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) return error_from_errno(errno);
  if (!S_ISREG(status.st_mode) || is_read_only(status.st_mode)) return win32_error::access_denied;
  if (!has(request.share, share::write)) {
    if (const win32_error locked = lock_alone(descriptor.get()); !succeeded(locked)) return locked;
  }
  return std::unique_ptr<file>(std::make_unique<changed_file>(std::string(path.view()), request.access,
                                                              std::move(descriptor), stamp_from(status)));
}

}  // namespace platform::host
