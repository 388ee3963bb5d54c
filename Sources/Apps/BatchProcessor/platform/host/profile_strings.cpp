#include "platform/host/profile_strings.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <string>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/file_lock.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/ini_text.h"
#include "platform/host/open_to_change.h"
#include "platform/host/path_bytes.h"
#include "platform/host/sibling_files.h"
#include "platform/host/staged_file.h"
#include "platform/host/unique_descriptor.h"
#include "text/conversions.h"

namespace platform::host {

namespace {

constexpr std::uint64_t largest_file = 256 * 1024 * 1024;
constexpr auto patience = std::chrono::seconds(10);

using edit = std::function<std::string(std::string_view)>;

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

win32_error create_file(const std::string& path, std::string_view bytes) {
  win32_result<staged_file> staged = staged_file::create(path);
  if (!staged) return staged.error();
  if (const int failure = write_at(staged->descriptor(), 0, bytes); failure != 0) {
    return error_from_errno(failure, data_direction::writing);
  }
  const win32_error done = staged->commit();
  // Another process was faster; its keys must stay.
  return done == win32_error::file_exists ? win32_error::sharing_violation : done;
}

win32_error edit_once(const std::string& path, const edit& change) {
  if (is_link(path)) return win32_error::cant_resolve_filename;
  const auto opened = open_to_change(path, patience);
  if (opened.error() == win32_error::file_not_found) {
    const std::string created = change({});
    return created.empty() ? win32_error::success : create_file(path, created);
  }
  if (opened.error() == win32_error::invalid_function) return win32_error::access_denied;
  if (!opened) return opened.error();
  const int file = opened->file.get();
  const win32_result<std::string> bytes = read_whole(file);
  if (!bytes) return bytes.error();
  const std::string changed = change(*bytes);
  if (changed == *bytes) return win32_error::success;
  file_source source(file, opened->stamp.size);
  auto rewrite = prepare_rewrite({file, path, opened->stamp, source}, {{0, bytes->size(), changed}});
  return rewrite ? (*rewrite)->commit() : rewrite.error();
}

// Another process' writes wait behind the lock, and start from what this one leaves.
win32_error edit_file(const std::wstring& file, const edit& change) {
  const path_bytes path(file);
  if (!succeeded(path.error())) return path.error();
  const std::string bytes(path.view());
  return retried_while_busy([&] { return edit_once(bytes, change); }, patience);
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
