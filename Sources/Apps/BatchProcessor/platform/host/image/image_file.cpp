#include "platform/host/image/image_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/host/errno_codes.h"
#include "platform/host/path_bytes.h"
#include "platform/host/staged_file.h"

namespace platform::host::image {

win32_result<std::unique_ptr<file_rewrite>> image_file::prepare(const edit_plan& plan) const {
  if (plan.empty()) return std::unique_ptr<file_rewrite>();
  return prepare_rewrite(descriptor.get(), path, plan, stamp);
}

hresult_result<image_file> open_image_file(const std::wstring& path, file_access access) {
  const path_bytes native(path);
  if (!succeeded(native.error())) return hresult_from(native.error());
  image_file file;
  file.path = native.view();
  if (access == file_access::read_write) {
    const win32_error finished = finish_interrupted_rewrite(file.path);
    if (!succeeded(finished)) return hresult_from(finished);
  }
  // Without O_NONBLOCK the open of a pipe would wait for its other end.
  const int mode = access == file_access::read_write ? O_RDWR : O_RDONLY;
  file.descriptor = unique_descriptor(::open(native.c_str(), mode | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file.descriptor) return hresult_from(error_from_errno(errno, native.c_str()));
  struct stat status {};
  if (::fstat(file.descriptor.get(), &status) != 0) return hresult_from(error_from_errno(errno));
  if (!S_ISREG(status.st_mode)) return hresult::imaging_unknown_format;
  const win32_result<file_stamp> stamp = stamp_of(file.descriptor.get());
  if (!stamp) return hresult_from(stamp.error());
  file.stamp = *stamp;
  file.source = std::make_unique<file_source>(file.descriptor.get(), file.stamp.size);
  file.container = open_image_container(*file.source);
  if (!file.container) return hresult::imaging_unknown_format;
  return file;
}

}  // namespace platform::host::image
