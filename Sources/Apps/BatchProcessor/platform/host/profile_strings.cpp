#include "platform/host/profile_strings.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/ini_text.h"
#include "platform/host/path_bytes.h"
#include "platform/host/staged_file.h"
#include "platform/host/unique_descriptor.h"
#include "text/conversions.h"

namespace platform::host {

namespace {

constexpr std::uint64_t largest_file = 256 * 1024 * 1024;
constexpr auto longest_wait = std::chrono::seconds(10);
constexpr auto wait_step = std::chrono::milliseconds(1);

using edit = std::function<std::string(std::string_view)>;

enum class step : std::uint8_t { done, again };

struct outcome {
  step next = step::done;
  win32_error code = win32_error::success;
};

constexpr outcome try_again{step::again, win32_error::sharing_violation};

win32_result<std::string> read_whole(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return error_from_errno(errno);
  if (!S_ISREG(status.st_mode)) return win32_error::access_denied;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (size > largest_file) return win32_error::file_too_large;
  std::string bytes(size, '\0');
  errno = 0;
  bytes.resize(read_at(file, 0, bytes));
  if (bytes.size() < size && errno != 0) return error_from_errno(errno, data_direction::reading);
  return bytes;
}

win32_error replace_content(const std::string& path, std::string_view bytes) {
  win32_result<staged_file> staged = staged_file::create(path);
  if (!staged) return staged.error();
  if (const int failure = write_at(staged->descriptor(), 0, bytes); failure != 0) {
    return error_from_errno(failure, data_direction::writing);
  }
  return staged->commit();
}

// The file is there: another process' writes wait behind the lock, and start from what this one leaves.
outcome edit_locked(int file, const std::string& path, const edit& change) {
  if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return try_again;
    // A file system without locks: whole all the same, but two processes may lose one's key.
  }
  struct stat open {};
  struct stat named {};
  if (::fstat(file, &open) != 0) return {step::done, error_from_errno(errno)};
  // Replaced or removed while this one waited for the lock.
  if (::stat(path.c_str(), &named) != 0 || named.st_ino != open.st_ino || named.st_dev != open.st_dev) return try_again;
  // The read-only attribute binds the superuser too.
  if ((open.st_mode & S_IWUSR) == 0) return {step::done, win32_error::access_denied};
  if (const win32_error finished = finish_interrupted_rewrite(path); !succeeded(finished)) {
    return {step::done, finished};
  }
  const win32_result<std::string> bytes = read_whole(file);
  if (!bytes) return {step::done, bytes.error()};
  const std::string changed = change(*bytes);
  if (changed == *bytes) return {};
  return {step::done, replace_content(path, changed)};
}

outcome edit_once(const std::string& path, const edit& change) {
  const unique_descriptor file(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (file) return edit_locked(file.get(), path, change);
  if (errno != ENOENT) return {step::done, error_from_errno(errno, path.c_str())};
  const std::string created = change({});
  if (created.empty()) return {};
  const win32_error done = replace_content(path, created);
  // Another process was faster; its keys must stay.
  return done == win32_error::file_exists ? try_again : outcome{step::done, done};
}

win32_error edit_file(const std::wstring& file, const edit& change) {
  const path_bytes path(file);
  if (!succeeded(path.error())) return path.error();
  const std::string bytes(path.view());
  const auto end = std::chrono::steady_clock::now() + longest_wait;
  for (;;) {
    const outcome now = edit_once(bytes, change);
    if (now.next == step::done || std::chrono::steady_clock::now() > end) return now.code;
    std::this_thread::sleep_for(wait_step);
  }
}

win32_result<std::wstring> empty_where_missing(win32_error error) {
  if (error == win32_error::file_not_found || error == win32_error::path_not_found) return std::wstring();
  return error;
}

class host_profile_strings final : public profile_strings {
 public:
  win32_result<std::wstring> read(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                  std::size_t capacity) override {
    const path_bytes path(file);
    if (capacity == 0) return std::wstring();
    if (!succeeded(path.error())) return empty_where_missing(path.error());
    const unique_descriptor open(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!open) return empty_where_missing(error_from_errno(errno, path.c_str()));
    const win32_result<std::string> bytes = read_whole(open.get());
    if (!bytes) return bytes.error();
    const std::wstring value = ini_value(*bytes, section, key).value_or(std::wstring());
    return std::wstring(text::utf16_prefix(value, capacity - 1));
  }

  win32_error write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                    const std::optional<std::wstring>& value) override {
    return edit_file(file, [&](std::string_view bytes) {
      return value ? with_ini_value(bytes, section, key, *value) : without_ini_key(bytes, section, key);
    });
  }

  win32_error delete_section(const std::wstring& file, const std::wstring& section) override {
    return edit_file(file, [&](std::string_view bytes) { return without_ini_section(bytes, section); });
  }
};

}  // namespace

profile_strings& profile_strings_instance() {
  static host_profile_strings instance;
  return instance;
}

}  // namespace platform::host
