#include "platform/host/sibling_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string_view>

#include "platform/host/byte_hash.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_stamp.h"
#include "platform/host/path_bytes.h"
#include "text/format.h"

namespace platform::host {

namespace {

constexpr int most_links = 40;  // as many as the kernel follows

std::string_view folder_prefix(std::string_view path) { return path.substr(0, path.rfind('/') + 1); }

std::string sibling(std::string_view path, std::string_view kind, std::uint64_t number) {
  return text::format("{}.qb_{}_{:016x}", folder_prefix(path), kind, number);
}

}  // namespace

win32_result<resolved_path> resolve_links(const std::string& path) {
  resolved_path resolved{path, {}};
  for (int links = 0; links <= most_links; ++links) {
    struct stat status {};
    if (::lstat(resolved.path.c_str(), &status) != 0) {
      if (errno != ENOENT) return error_from_errno(errno);
      return resolved;
    }
    if (!S_ISLNK(status.st_mode)) {
      resolved.status = status;
      return resolved;
    }
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(resolved.path.c_str(), target.data(), target.size());
    if (size < 0) return error_from_errno(errno);
    const std::string_view text(target.data(), static_cast<std::size_t>(size));
    const std::string folder = text.starts_with('/') ? std::string() : std::string(folder_prefix(resolved.path));
    resolved.path = folder + std::string(text);
  }
  return error_from_errno(ELOOP);
}

std::string staging_path(const std::string& path) {
  return sibling(path, "rewrite", hash_of(std::string_view(path).substr(folder_prefix(path).size())));
}

std::string journal_path(const std::string& path, ino_t inode) { return sibling(path, "restore", inode); }

win32_error remove_stale_staging(const std::string& path) {
  // For writing, since locks on network file systems ask for that.
  const unique_descriptor leftover(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!leftover && errno == ENOENT) return win32_error::success;
  // What may not be opened is no work in progress of this user: a link, a socket, or a file with someone else's
  // owner. Whatever else fails tells nothing of the file.
  if (!leftover && errno != EACCES && errno != ELOOP && errno != ENXIO) return error_from_errno(errno);
  if (leftover) {
    if (::flock(leftover.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return win32_error::sharing_violation;
    // Its process has just given it its name.
    if (!still_names(path, leftover.get(), last_link::itself)) return win32_error::success;
  }
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) return error_from_errno(errno);
  return win32_error::success;
}

unique_descriptor open_folder_of(const std::string& path) {
  return unique_descriptor(::open(parent_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

int sync_folder(int folder) {
  // Some network file systems can't sync a folder; they write it at once.
  return ::fsync(folder) == 0 || errno == EINVAL ? 0 : errno;
}

int link_open_file(int descriptor, const std::string& path) {
  if (::linkat(descriptor, "", AT_FDCWD, path.c_str(), AT_EMPTY_PATH) == 0) return 0;
  // Older kernels let only the superuser link a descriptor itself, anyone by way of /proc.
  if (errno != ENOENT && errno != EPERM) return errno;
  const std::string self = text::format("/proc/self/fd/{}", descriptor);
  return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

}  // namespace platform::host
