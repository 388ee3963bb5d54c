#include "platform/host/staged_output.h"

#include <fcntl.h>

#include <cerrno>
#include <exception>
#include <optional>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/open_file.h"
#include "platform/host/open_to_change.h"
#include "platform/host/opening.h"
#include "platform/host/sibling_files.h"
#include "platform/host/staged_file.h"

namespace platform::host {

namespace {

class staged_output final : public file {
 public:
  /// `original` holds the lock of the file that is replaced; empty where there is none. `data` is the content's own
  /// descriptor.
  staged_output(staged_file staged, unique_descriptor data, changeable_file original, bool is_complete)
      : staged_(std::move(staged)), data_(std::move(data)), original_(std::move(original)), is_complete_(is_complete) {}

  staged_output(const staged_output&) = delete;
  staged_output& operator=(const staged_output&) = delete;

  ~staged_output() override {
    // Half a content must not take the place of a whole one.
    if (std::uncaught_exceptions() > exceptions_at_start_) return;
    // Who must know calls close().
    static_cast<void>(close());
  }

  win32_result<std::size_t> read(std::span<std::byte> buffer) override { return data_.read(buffer); }

  win32_result<std::size_t> write(std::span<const std::byte> bytes) override {
    auto written = data_.write(bytes);
    if (!written) {
      note(written.error());
    } else if (*written < bytes.size()) {
      note(win32_error::disk_full);
    }
    return written;
  }

  win32_error seek(std::uint64_t position) override { return data_.seek(position); }
  win32_result<std::uint64_t> size() override { return data_.size(); }

  win32_error set_end() override {
    const win32_error ended = data_.set_end();
    note(ended);
    is_complete_ = true;
    return ended;
  }

  win32_error set_last_write_time(file_time time) override { return data_.set_last_write_time(time); }

  win32_error close() override {
    if (!staged_) return win32_error::success;
    staged_file staged = *std::exchange(staged_, std::nullopt);
    note(data_.close());
    if (!succeeded(failure_)) return failure_;
    return is_complete_ ? staged.commit() : win32_error::success;
  }

 private:
  void note(win32_error error) {
    if (succeeded(failure_)) failure_ = error;
  }

  std::optional<staged_file> staged_;  // none once it is closed
  open_file data_;
  changeable_file original_;
  bool is_complete_;
  win32_error failure_ = win32_error::success;  // the first one
  int exceptions_at_start_ = std::uncaught_exceptions();
};

}  // namespace

win32_result<std::unique_ptr<file>> open_staged(const path_bytes& path, const open_request& request) {
  if (!succeeded(path.error())) return path.error();
  const bool may_create = request.disposition == disposition::create_always;
  if (may_create && is_link(std::string(path.view()))) return win32_error::cant_resolve_filename;
  auto original = open_to_change(std::string(path.view()));
  const bool is_missing = !original && original.error() == win32_error::file_not_found;
  if (original.error() == win32_error::invalid_function) return win32_error::access_denied;
  if (!original && !(is_missing && may_create)) return original.error();

  auto staged = staged_file::create(std::string(path.view()));
  if (!staged) return staged.error();
  unique_descriptor data(::fcntl(staged->descriptor(), F_DUPFD_CLOEXEC, 0));
  if (!data) return error_from_errno(errno);
  if (is_missing) {
    const win32_error given = give_attributes(data.get(), request.attributes);
    if (!succeeded(given)) return given;
  }
  return std::unique_ptr<file>(std::make_unique<staged_output>(
      *std::move(staged), std::move(data), original ? *std::move(original) : changeable_file(), may_create));
}

}  // namespace platform::host
