#include "platform/host/sibling_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>

#include "platform/host/byte_hash.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_stamp.h"
#include "platform/host/path_bytes.h"
#include "platform/host/system_calls.h"
#include "text/format.h"

namespace platform::host {

namespace {

constexpr int most_links = 40;  // as many as the kernel follows

std::string_view folder_prefix(std::string_view path) { return path.substr(0, path.rfind('/') + 1); }

constexpr std::string_view staging_prefix = ".qb_rewrite_";
constexpr std::string_view undo_prefix = ".qb_undo_";

std::string hidden_sibling(std::string_view path, std::string_view prefix, std::uint64_t number, int attempt) {
  const std::string name = text::format("{}{:016x}", prefix, number);
  return sibling_of(path, attempt == 0 ? name : text::format("{}_{}", name, attempt));
}

// What this program makes under such a name, and nobody else can: a file of this user's without a second name.
bool is_ours(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_nlink == 1;
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

bool is_link(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::string sibling_of(std::string_view path, std::string_view name) {
  return std::string(folder_prefix(path)).append(name);
}

std::string staging_path(std::string_view path, int attempt) {
  return hidden_sibling(path, staging_prefix, hash_of(path.substr(folder_prefix(path).size())), attempt);
}

std::string undo_file_path(std::string_view path, ino_t inode, int attempt) {
  return hidden_sibling(path, undo_prefix, inode, attempt);
}

win32_error remove_leftover(const std::string& path) {
  // For writing, since locks on network file systems ask for that.
  const unique_descriptor leftover(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  // A name that is free, or that something has which this user can't have made: a link, a folder, a socket.
  const bool is_out_of_resources = errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == EIO;
  if (!leftover) return is_out_of_resources ? error_from_errno(errno) : win32_error::success;
  if (!is_ours(leftover.get())) return win32_error::success;
  // Without locks nothing tells a living process from a killed one.
  if (retried([&leftover] { return ::flock(leftover.get(), LOCK_EX | LOCK_NB); }) != 0) {
    return win32_error::sharing_violation;
  }
  // Its process has just given it its name.
  if (!still_names(path, leftover.get(), last_link::itself)) return win32_error::success;
  return ::unlink(path.c_str()) == 0 || errno == ENOENT ? win32_error::success : error_from_errno(errno);
}

void remove_staging_leftovers_beside(const std::string& path) {
  static std::mutex mutex;
  static std::set<std::string, std::less<>> swept;
  const std::string folder(folder_prefix(path));
  {
    const std::lock_guard lock(mutex);
    if (!swept.insert(folder).second) return;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.empty() ? "." : folder.c_str()), ::closedir);
  // A folder that can't be listed keeps what is in it.
  while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
    // One that stays is of no harm.
    if (std::string_view(entry->d_name).starts_with(staging_prefix)) {
      static_cast<void>(remove_leftover(folder + static_cast<const char*>(entry->d_name)));
    }
  }
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
