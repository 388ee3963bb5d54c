#include "platform/host/content_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/file_lock.h"
#include "platform/host/path_bytes.h"
#include "platform/host/recovery.h"
#include "platform/host/system_calls.h"

namespace platform::host {

namespace {

win32_result<changeable_file> open_to_read(const std::string& path) {
  // Without O_NONBLOCK the open of a pipe would wait for its other end.
  constexpr int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  changeable_file opened{path, unique_descriptor(retried([&] { return ::open(path.c_str(), flags); })), {}, {}, false};
  if (!opened.file) return errno == ENXIO ? win32_error::invalid_function : error_from_errno(errno, path.c_str());
  struct stat status {};
  if (::fstat(opened.file.get(), &status) != 0) return error_from_errno(errno);
  if (!S_ISREG(status.st_mode)) return win32_error::invalid_function;
  if (const win32_error recovered = recover_for_reading(opened.file.get(), path); !succeeded(recovered)) {
    return recovered;
  }
  const win32_result<file_stamp> stamp = stamp_of(opened.file.get());
  if (!stamp) return stamp.error();
  opened.stamp = *stamp;
  return opened;
}

}  // namespace

win32_result<std::unique_ptr<file_rewrite>> content_file::prepare(const edit_plan& plan) const {
  if (plan.empty()) return std::unique_ptr<file_rewrite>();
  return prepare_rewrite({opened.file.get(), opened.path, opened.stamp, *source}, plan);
}

hresult_result<content_file> open_content_file(const std::wstring& path, handler_access access, hresult no_file) {
  const path_bytes native(path);
  if (!succeeded(native.error())) return hresult_from(native.error());
  const std::string bytes(native.view());
  auto opened = access == handler_access::read_write ? open_to_change(bytes, longest_wait) : open_to_read(bytes);
  if (opened.error() == win32_error::invalid_function) return no_file;
  if (!opened) return hresult_from(opened.error());
  content_file file{*std::move(opened), nullptr};
  // For a change the metadata are read as a whole.
  constexpr std::uint64_t metadata_size = std::uint64_t{64} << 10;
  const bool for_change = access == handler_access::read_write;
  file.source = std::make_unique<file_source>(file.opened.file.get(), file.opened.stamp.size,
                                              for_change ? metadata_size : file_source::default_start_size);
  return file;
}

}  // namespace platform::host
