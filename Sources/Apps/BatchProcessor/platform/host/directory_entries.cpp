#include "platform/host/directory_entries.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/host/errno_codes.h"
#include "platform/host/system_calls.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

struct directory_close {
  // Nothing was written: there is nothing to lose.
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using open_directory = std::unique_ptr<DIR, directory_close>;

win32_result<open_directory> open_folder(const path_bytes& folder) {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;
  unique_descriptor descriptor(retried([&] { return ::open(folder.c_str(), flags); }));
  if (!descriptor) {
    if (errno == ENOENT) return win32_error::path_not_found;
    struct stat status;
    const bool is_no_folder = errno == ENOTDIR && ::stat(folder.c_str(), &status) == 0;
    return is_no_folder ? win32_error::directory : error_from_errno(errno);
  }
  open_directory opened(::fdopendir(descriptor.get()));
  if (!opened) return error_from_errno(errno);
  static_cast<void>(descriptor.release());
  return opened;
}

entry_kind kind_of(int folder, const dirent& entry) {
  if (entry.d_type == DT_REG) return entry_kind::regular_file;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return entry_kind::other;
  struct stat status;
  const bool is_file = ::fstatat(folder, entry.d_name, &status, AT_NO_AUTOMOUNT) == 0 && S_ISREG(status.st_mode);
  return is_file ? entry_kind::regular_file : entry_kind::other;
}

}  // namespace

win32_error visit_entries(const path_bytes& folder, const entry_visitor& visit) {
  if (!succeeded(folder.error())) return folder.error();
  const auto opened = open_folder(folder);
  if (!opened) return opened.error();
  DIR* const directory = opened->get();
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(directory);
    if (entry == nullptr) return error_from_errno(errno, data_direction::reading);
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    visit({wide_name_from_bytes(name), kind_of(::dirfd(directory), *entry)});
  }
}

}  // namespace platform::host
