#include "platform/host/file_copy.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/file_system.h"
#include "platform/host/attributes_copy.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/item.h"
#include "platform/host/opening.h"
#include "platform/host/sibling_files.h"
#include "platform/host/staged_file.h"

namespace platform::host {

namespace {

constexpr mode_t permission_bits = 0777;

win32_error copy_content(int from, const struct stat& status, int to) {
  const int failure = copy_bytes(from, 0, to, 0, static_cast<std::uint64_t>(status.st_size));
  return failure == 0 ? win32_error::success : error_from_errno(failure, data_direction::writing);
}

win32_error copy_traits(const path_bytes& from, const struct stat& status, int to) {
  const auto resolved = resolve_links(std::string(from.view()));
  if (!resolved) return resolved.error();
  const auto copied = copy_attributes(resolved->path, to);
  // A file system that has no attributes takes the rest of the file. What only the system may set is the copy's own.
  if (!copied && copied.error() != win32_error::not_supported) return copied.error();
  if (::fchmod(to, status.st_mode & permission_bits) != 0) return error_from_errno(errno);
  const timespec times[] = {{0, UTIME_OMIT}, status.st_mtim};
  return ::futimens(to, times) == 0 ? win32_error::success : error_from_errno(errno);
}

}  // namespace

win32_error copy_to_new_file(const path_bytes& from, const path_bytes& to) {
  const auto source = open_regular(from, {access::read, share::all});
  if (!source) return source.error();
  const auto taken = examine(to, STATX_TYPE);
  if (taken) return win32_error::file_exists;
  if (taken.error() != win32_error::file_not_found) return taken.error();

  struct stat status;
  if (::fstat(source->descriptor.get(), &status) != 0) return error_from_errno(errno);
  auto copy = staged_file::create(std::string(to.view()));
  if (!copy) return copy.error();
  win32_error done = copy_content(source->descriptor.get(), status, copy->descriptor());
  if (succeeded(done)) done = copy_traits(from, status, copy->descriptor());
  return succeeded(done) ? copy->commit() : done;
}

}  // namespace platform::host
