#include "platform/host/opening.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "platform/host/dos_attributes.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_lock.h"
#include "platform/host/file_stamp.h"
#include "platform/host/item.h"
#include "platform/host/recovery.h"
#include "platform/host/system_calls.h"

namespace platform::host {

namespace {

constexpr mode_t new_file_mode = 0666;  // less the process's mask
// How often a name may move on to another file while its lock is being taken.
constexpr int most_tries = 16;

bool writes(access wanted) { return has(wanted, access::write | access::append); }

int access_flags(access wanted) {
  const int append = has(wanted, access::append) ? O_APPEND : 0;
  if (!writes(wanted)) return has(wanted, access::read) ? O_RDONLY : O_PATH;
  return append | (has(wanted, access::read) ? O_RDWR : O_WRONLY);
}

bool wants_lock(const open_request& request) {
  if (request.access == access::write_attributes) return false;
  if (request.share == share::none) return true;
  return writes(request.access) && !has(request.share, share::write);
}

// Tells a file that the call made from one that was there.
win32_result<opened_file> open_or_create(const path_bytes& path, const open_request& request) {
  const int flags = access_flags(request.access) | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const auto open_with = [&](int more) {
    return unique_descriptor(retried([&] { return ::open(path.c_str(), flags | more, new_file_mode); }));
  };
  opened_file opened;
  bool create = request.disposition == disposition::create_new;
  if (!create) {
    opened.descriptor = open_with(0);
    create = !opened.descriptor && errno == ENOENT && request.disposition == disposition::open_always;
  }
  if (create) {
    opened.descriptor = open_with(O_CREAT | O_EXCL);
    opened.is_new = static_cast<bool>(opened.descriptor);
  }
  if (!opened.descriptor && errno == EEXIST && request.disposition == disposition::open_always) {
    // Someone was faster, or it is a link to nothing yet.
    opened.descriptor = open_with(O_CREAT);
  }
  if (opened.descriptor) return opened;
  // A pipe that nobody reads, or a socket.
  if (errno == ENXIO) return win32_error::access_denied;
  return error_from_errno(errno, path.c_str());
}

win32_result<opened_file> open_once(const path_bytes& path, const open_request& request, bool& moved_on) {
  auto opened = open_or_create(path, request);
  if (!opened) return opened.error();
  struct stat status;
  if (::fstat(opened->descriptor.get(), &status) != 0) return error_from_errno(errno);
  if (!S_ISREG(status.st_mode)) return win32_error::access_denied;
  // The superuser's open succeeds all the same.
  if (writes(request.access) && !opened->is_new && is_read_only(status.st_mode)) return win32_error::access_denied;
  if (wants_lock(request)) {
    if (const win32_error locked = lock_alone(opened->descriptor.get()); !succeeded(locked)) return locked;
    // Another file may have taken the name between the opening and the lock.
    moved_on = !still_names(path.c_str(), status, last_link::its_target);
  }
  if (!opened->is_new && !moved_on && has(request.access, access::read)) {
    const win32_error recovered = recover_for_reading(opened->descriptor.get(), std::string(path.view()));
    if (!succeeded(recovered)) return recovered;
  }
  return opened;
}

}  // namespace

win32_error give_attributes(int file, std::uint32_t attributes) {
  if (const auto value = updated_dos_attributes({}, attributes)) {
    // Where the file system has no attributes, the content is what counts.
    if (::fsetxattr(file, dos_attributes_name, value->data(), value->size(), 0) != 0 && errno != ENOTSUP) {
      return error_from_errno(errno);
    }
  }
  if ((attributes & attribute::read_only) == 0) return win32_error::success;
  struct stat status;
  if (::fstat(file, &status) != 0) return error_from_errno(errno);
  constexpr mode_t permission_bits = 07777;
  const mode_t mode = status.st_mode & permission_bits & ~mode_t{S_IWUSR};
  return ::fchmod(file, mode) == 0 ? win32_error::success : error_from_errno(errno);
}

win32_result<opened_file> open_regular(const path_bytes& path, const open_request& request) {
  if (!succeeded(path.error())) return path.error();
  for (int tries = 0; tries < most_tries; ++tries) {
    bool moved_on = false;
    auto opened = open_once(path, request, moved_on);
    if (!opened) return opened.error();
    if (moved_on && request.disposition != disposition::create_new) continue;
    if (opened->is_new) {
      const win32_error given = give_attributes(opened->descriptor.get(), request.attributes);
      if (!succeeded(given)) {
        // An empty file of the wrong kind is of no use to anyone.
        static_cast<void>(::unlink(path.c_str()));
        return given;
      }
    }
    return opened;
  }
  return win32_error::sharing_violation;
}

}  // namespace platform::host
