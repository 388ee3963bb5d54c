#include "platform/host/file_system.h"
#include "platform/host/changed_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/host/directory_entries.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_copy.h"
#include "platform/host/file_move.h"
#include "platform/host/item.h"
#include "platform/host/open_file.h"
#include "platform/host/opening.h"
#include "platform/host/path_bytes.h"
#include "platform/host/staged_output.h"
#include "platform/host/times.h"
#include "platform/host/times_file.h"

namespace platform::host {

namespace {

constexpr unsigned for_attributes = STATX_TYPE | STATX_MODE;
constexpr mode_t new_directory_mode = 0777;  // less the process's mask

file_time file_time_of(const statx_timestamp& time) { return file_time_from(time.tv_sec, time.tv_nsec); }

}  // namespace

win32_result<std::uint32_t> file_system::attributes(const std::wstring& path) {
  const path_bytes bytes(path);
  const auto found = examine(bytes, for_attributes);
  if (!found) return found.error();
  return attributes_of(*found, bytes);
}

win32_result<item_kind> file_system::kind(const std::wstring& path) {
  const path_bytes bytes(path);
  const auto found = examine(bytes, for_attributes | STATX_BLOCKS);
  if (!found) return found.error();
  if (found->target_missing) return item_kind::file;
  if (S_ISDIR(found->status.stx_mode)) return item_kind::directory;
  // Most files have data, so that most are spared the second look.
  if (found->status.stx_blocks != 0 || !S_ISREG(found->status.stx_mode)) return item_kind::file;
  const bool placeholder = (attributes_of(*found, bytes) & attribute::cloud_placeholder) != 0;
  return placeholder ? item_kind::cloud_placeholder : item_kind::file;
}

win32_error file_system::set_attributes(const std::wstring& path, std::uint32_t attributes) {
  return set_attributes_of(path_bytes(path), attributes);
}

win32_result<file_facts> file_system::facts(const std::wstring& path) {
  const path_bytes bytes(path);
  const auto found = examine(bytes, for_attributes | STATX_BTIME | STATX_MTIME | STATX_SIZE);
  if (!found) return found.error();
  const struct statx& status = found->status;
  const file_time last_written = file_time_of(status.stx_mtime);
  // A file system that keeps no birth time has nothing nearer to it than the last change.
  const bool has_birth = (status.stx_mask & STATX_BTIME) != 0;
  return file_facts{attributes_of(*found, bytes), has_birth ? file_time_of(status.stx_btime) : last_written,
                    last_written, S_ISREG(status.stx_mode) ? status.stx_size : 0};
}

win32_result<std::unique_ptr<file>> file_system::open(const std::wstring& path, const open_request& request) {
  const path_bytes bytes(path);
  if (request.disposition == disposition::create_always || request.disposition == disposition::rewrite_existing) {
    return open_staged(bytes, request);
  }
  if (request.access == access::write_attributes && request.disposition == disposition::open_existing) {
    return open_for_times(bytes);
  }
  const bool writes = has(request.access, access::write);
  if (writes && request.disposition != disposition::create_new) {
    auto changed = open_changed_file(bytes, request);
    const bool is_missing = changed.error() == win32_error::file_not_found;
    if (!is_missing || request.disposition == disposition::open_existing) return changed;
  }
  auto opened = open_regular(bytes, request);
  if (!opened) return opened.error();
  const bool came_up_meanwhile = writes && !opened->is_new;
  if (!came_up_meanwhile) return std::unique_ptr<file>(std::make_unique<open_file>(std::move(opened->descriptor)));
  opened->descriptor = unique_descriptor();
  return open_changed_file(bytes, request);
}

win32_error file_system::create_directory(const std::wstring& path) {
  const path_bytes bytes(path);
  if (!succeeded(bytes.error())) return bytes.error();
  if (::mkdir(bytes.c_str(), new_directory_mode) == 0) return win32_error::success;
  if (errno == EEXIST) return win32_error::already_exists;
  if (errno == ENOENT) return win32_error::path_not_found;
  return error_from_errno(errno);
}

win32_result<bool> file_system::copy_file(const std::wstring& from, const std::wstring& to) {
  const win32_error copied = copy_to_new_file(path_bytes(from), path_bytes(to));
  if (!succeeded(copied)) return copied;
  return true;
}

win32_error file_system::delete_file(const std::wstring& path) {
  const path_bytes bytes(path);
  const auto found = examine(bytes, for_attributes);
  if (!found) return found.error();
  if (!found->target_missing && S_ISDIR(found->status.stx_mode)) return win32_error::access_denied;
  // A link goes without regard to its target.
  if (!found->is_link && is_read_only(found->status.stx_mode)) return win32_error::access_denied;
  return ::unlink(bytes.c_str()) == 0 ? win32_error::success : error_from_errno(errno, bytes.c_str());
}

win32_error file_system::move_file(const std::wstring& from, const std::wstring& to) {
  return move_to_free_name(path_bytes(from), path_bytes(to));
}

win32_error file_system::remove_directory(const std::wstring& path) {
  const path_bytes bytes(path);
  const auto found = examine(bytes, for_attributes);
  if (!found) return found.error();
  // What a link leads to is not the caller's to remove.
  if (found->is_link || !S_ISDIR(found->status.stx_mode)) return win32_error::directory;
  if (is_read_only(found->status.stx_mode)) return win32_error::access_denied;
  if (::rmdir(bytes.c_str()) == 0) return win32_error::success;
  // Some file systems tell so of a folder that isn't empty.
  if (errno == EEXIST) return win32_error::dir_not_empty;
  return error_from_errno(errno, bytes.c_str());
}

win32_error file_system::enumerate(const std::wstring& folder, const entry_visitor& visit) {
  return visit_entries(path_bytes(folder), visit);
}

}  // namespace platform::host
