#include "platform/host/content_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/item.h"
#include "platform/host/path_bytes.h"
#include "platform/host/staged_file.h"
#include "platform/host/system_calls.h"

namespace platform::host {

namespace {

// A run has a file for some milliseconds, longer where the disk is slow.
constexpr auto longest_wait = std::chrono::seconds(2);
constexpr auto wait_step = std::chrono::milliseconds(2);

// sharing_violation where it is taken, and where another file took the name while this one was being opened.
hresult lock(int file, const struct stat& opened, const char* path) {
  // A file system without locks has nobody who could keep to them.
  if (retried([file] { return ::flock(file, LOCK_EX | LOCK_NB); }) != 0 && errno == EWOULDBLOCK) {
    return hresult::sharing_violation;
  }
  struct stat named {};
  if (::stat(path, &named) != 0) return hresult_from(error_from_errno(errno, path));
  const bool same = opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
  return same ? hresult::ok : hresult::sharing_violation;
}

hresult_result<content_file> try_to_open(const path_bytes& path, handler_access access, hresult no_file) {
  const bool for_change = access == handler_access::read_write;
  content_file file;
  file.path = path.view();
  if (for_change) {
    const win32_error finished = finish_interrupted_rewrite(file.path);
    if (!succeeded(finished)) return hresult_from(finished);
  }
  // Without O_NONBLOCK the open of a pipe would wait for its other end.
  const int flags = (for_change ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  file.descriptor = unique_descriptor(retried([&] { return ::open(path.c_str(), flags); }));
  if (!file.descriptor) return hresult_from(error_from_errno(errno, path.c_str()));
  struct stat status {};
  if (::fstat(file.descriptor.get(), &status) != 0) return hresult_from(error_from_errno(errno));
  if (!S_ISREG(status.st_mode)) return no_file;
  if (for_change) {
    // The superuser's open succeeds all the same.
    if (is_read_only(status.st_mode)) return hresult::access_denied;
    const hresult locked = lock(file.descriptor.get(), status, path.c_str());
    if (!succeeded(locked)) return locked;
  }
  const win32_error finished = for_change ? finish_interrupted_rewrite(file.descriptor.get(), file.path)
                                          : finish_before_reading(file.descriptor.get(), file.path);
  if (!succeeded(finished)) return hresult_from(finished);
  const win32_result<file_stamp> stamp = stamp_of(file.descriptor.get());
  if (!stamp) return hresult_from(stamp.error());
  file.stamp = *stamp;
  file.source = std::make_unique<file_source>(file.descriptor.get(), file.stamp.size);
  return file;
}

}  // namespace

win32_result<std::unique_ptr<file_rewrite>> content_file::prepare(const edit_plan& plan) const {
  if (plan.empty()) return std::unique_ptr<file_rewrite>();
  return prepare_rewrite(descriptor.get(), path, plan, stamp);
}

hresult_result<content_file> open_content_file(const std::wstring& path, handler_access access, hresult no_file) {
  const path_bytes native(path);
  if (!succeeded(native.error())) return hresult_from(native.error());
  const auto end = std::chrono::steady_clock::now() + longest_wait;
  for (;;) {
    hresult_result<content_file> file = try_to_open(native, access, no_file);
    if (file.error() != hresult::sharing_violation || std::chrono::steady_clock::now() > end) return file;
    std::this_thread::sleep_for(wait_step);
  }
}

}  // namespace platform::host
