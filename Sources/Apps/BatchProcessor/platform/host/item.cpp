#include "platform/host/item.h"

#include <fcntl.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>

#include "platform/file_system.h"
#include "platform/host/dos_attributes.h"
#include "platform/host/errno_codes.h"

namespace platform::host {

namespace {

constexpr mode_t permission_bits = 07777;

// Those bits of the stored value that are attributes here; the rest follows from the file itself.
constexpr std::uint32_t stored_attributes =
    attribute::hidden | attribute::system | attribute::archive | attribute::cloud_placeholder;

class stored_value {
 public:
  explicit stored_value(const path_bytes& path) {
    const ssize_t size = ::getxattr(path.c_str(), dos_attributes_name, bytes_.data(), bytes_.size());
    if (size >= 0) {
      size_ = static_cast<std::size_t>(size);
    } else if (errno != ENODATA && errno != ENOTSUP) {
      error_ = error_from_errno(errno);
    }
  }
  /// Empty where the file has none and where the file system knows none.
  [[nodiscard]] std::string_view view() const { return {bytes_.data(), size_}; }
  /// This user may not read it, or it is too long to be of a known form.
  [[nodiscard]] win32_error error() const { return error_; }

 private:
  std::array<char, dos_attributes_capacity> bytes_;
  std::size_t size_ = 0;
  win32_error error_ = win32_error::success;
};

bool is_dot_name(const path_bytes& path) {
  const std::string_view name = last_name_of(path.view());
  return name.starts_with('.') && name != "." && name != "..";
}

win32_error store(const path_bytes& path, const std::optional<std::string>& value) {
  const int result = value ? ::setxattr(path.c_str(), dos_attributes_name, value->data(), value->size(), 0)
                           : ::removexattr(path.c_str(), dos_attributes_name);
  return result == 0 ? win32_error::success : error_from_errno(errno);
}

win32_error change_mode(const path_bytes& path, mode_t mode) {
  return ::chmod(path.c_str(), mode) == 0 ? win32_error::success : error_from_errno(errno);
}

// Storing takes the permission to write, which a read-only file gets first and keeps after a success.
win32_error store_as_writable(const path_bytes& path, mode_t mode, const std::optional<std::string>& value) {
  if (!is_read_only(mode)) return store(path, value);
  if (const win32_error changed = change_mode(path, mode | S_IWUSR); !succeeded(changed)) return changed;
  const win32_error stored = store(path, value);
  // The first failure is the one to tell.
  if (!succeeded(stored)) static_cast<void>(change_mode(path, mode));
  return stored;
}

}  // namespace

win32_result<item> examine(const path_bytes& path, unsigned wanted) {
  if (!succeeded(path.error())) return path.error();
  item found;
  constexpr int itself = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (::statx(AT_FDCWD, path.c_str(), itself, wanted, &found.status) != 0) {
    return error_from_errno(errno, path.c_str());
  }
  found.is_link = S_ISLNK(found.status.stx_mode);
  if (!found.is_link) return found;
  struct statx target;
  found.target_missing = ::statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT, wanted, &target) != 0;
  if (!found.target_missing) found.status = target;
  return found;
}

std::uint32_t attributes_of(const item& item, const path_bytes& path) {
  std::uint32_t bits = item.is_link ? attribute::reparse_point : 0;
  if (is_dot_name(path)) bits |= attribute::hidden;
  if (item.target_missing) return bits;
  if (S_ISDIR(item.status.stx_mode)) bits |= attribute::directory;
  if (is_read_only(item.status.stx_mode)) bits |= attribute::read_only;
  // A value that can't be read has no bits to tell of.
  bits |= dos_attributes_from(stored_value(path).view()) & stored_attributes;
  return bits == 0 ? attribute::normal : bits;
}

win32_error set_attributes_of(const path_bytes& path, std::uint32_t attributes) {
  const auto found = examine(path, STATX_TYPE | STATX_MODE);
  if (!found) return found.error();
  if (found->target_missing) return win32_error::file_not_found;
  mode_t mode = found->status.stx_mode & permission_bits;
  const bool read_only = (attributes & attribute::read_only) != 0;
  const mode_t wanted = read_only ? mode & ~mode_t{S_IWUSR} : mode | S_IWUSR;

  const stored_value old(path);
  if (!succeeded(old.error())) return old.error();
  // A dot hides by itself. A bit for it, stored where none was, would stay with the file under any other name.
  if (is_dot_name(path) && (dos_attributes_from(old.view()) & attribute::hidden) == 0) attributes &= ~attribute::hidden;
  const auto value = updated_dos_attributes(old.view(), attributes);
  if (value.value_or(std::string()) != old.view()) {
    if (const win32_error stored = store_as_writable(path, mode, value); !succeeded(stored)) return stored;
    mode |= S_IWUSR;
  }
  return mode == wanted ? win32_error::success : change_mode(path, wanted);
}

}  // namespace platform::host
