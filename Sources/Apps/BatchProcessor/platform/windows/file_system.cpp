#include "platform/windows/file_system.h"

#include <algorithm>
#include <limits>

#include "platform/windows/error_codes.h"
#include "platform/windows/file_times.h"
#include "platform/windows/long_paths.h"
#include "platform/windows/scoped_resources.h"
#include "text/paths.h"

namespace platform::windows {

namespace {

DWORD native_access(access wanted) {
  DWORD bits = 0;
  if (has(wanted, access::read)) bits |= GENERIC_READ;
  if (has(wanted, access::write)) bits |= GENERIC_WRITE;
  if (has(wanted, access::write_attributes)) bits |= FILE_WRITE_ATTRIBUTES;
  if (has(wanted, access::append)) bits |= FILE_APPEND_DATA;
  return bits;
}

DWORD native_share(share allowed) {
  DWORD bits = 0;
  if (has(allowed, share::read)) bits |= FILE_SHARE_READ;
  if (has(allowed, share::write)) bits |= FILE_SHARE_WRITE;
  if (has(allowed, share::remove)) bits |= FILE_SHARE_DELETE;
  return bits;
}

DWORD native_disposition(disposition wanted) {
  switch (wanted) {
    case disposition::create_new:
      return CREATE_NEW;
    case disposition::create_always:
      return CREATE_ALWAYS;
    case disposition::open_always:
      return OPEN_ALWAYS;
    case disposition::open_existing:
    case disposition::rewrite_existing:
      break;
  }
  return OPEN_EXISTING;
}

// What one call can be asked for.
DWORD call_length(std::size_t bytes) {
  return static_cast<DWORD>(std::min<std::size_t>(bytes, std::numeric_limits<DWORD>::max()));
}

class open_file final : public file {
 public:
  explicit open_file(file_handle handle) : handle_(std::move(handle)) {}

  win32_result<std::size_t> read(std::span<std::byte> buffer) override {
    std::size_t total = 0;
    while (total < buffer.size()) {
      DWORD count = 0;
      const DWORD wanted = call_length(buffer.size() - total);
      if (ReadFile(handle_.get(), buffer.data() + total, wanted, &count, nullptr) == FALSE) return last_failure();
      total += count;
      if (count < wanted) break;
    }
    return total;
  }

  win32_result<std::size_t> write(std::span<const std::byte> bytes) override {
    DWORD count = 0;
    if (WriteFile(handle_.get(), bytes.data(), call_length(bytes.size()), &count, nullptr) == FALSE) {
      return last_failure();
    }
    return std::size_t{count};
  }

  win32_error seek(std::uint64_t position) override {
    LARGE_INTEGER distance = {};
    distance.QuadPart = static_cast<LONGLONG>(position);
    return outcome(SetFilePointerEx(handle_.get(), distance, nullptr, FILE_BEGIN));
  }

  win32_result<std::uint64_t> size() override {
    LARGE_INTEGER bytes = {};
    if (GetFileSizeEx(handle_.get(), &bytes) == FALSE) return last_failure();
    return static_cast<std::uint64_t>(bytes.QuadPart);
  }

  win32_error set_end() override { return outcome(SetEndOfFile(handle_.get())); }

  win32_error set_last_write_time(file_time time) override {
    const FILETIME last_write = native_time(time);
    return outcome(SetFileTime(handle_.get(), nullptr, nullptr, &last_write));
  }

  win32_error close() override {
    if (!handle_) return win32_error::success;
    return outcome(CloseHandle(handle_.release()));
  }

 private:
  file_handle handle_;
};

// Without a download, for what is found behind a link.
entry_kind kind_behind(const std::wstring& path) {
  const file_handle target(CreateFileW(file_call_path(path).c_str(), FILE_READ_ATTRIBUTES, native_share(share::all),
                                       nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  BY_HANDLE_FILE_INFORMATION facts = {};
  // A link that leads nowhere can't be opened.
  if (!target || GetFileInformationByHandle(target.get(), &facts) == FALSE) return entry_kind::other;
  return (facts.dwFileAttributes & attribute::directory) != 0 ? entry_kind::other : entry_kind::regular_file;
}

entry_kind kind_of(const WIN32_FIND_DATAW& entry, const std::wstring& folder) {
  // Links stand for another name; the other reparse points (cloud files, say) are files by themselves.
  const bool is_link =
      (entry.dwFileAttributes & attribute::reparse_point) != 0 && IsReparseTagNameSurrogate(entry.dwReserved0);
  if (is_link) return kind_behind(paths::join(folder, entry.cFileName));
  const bool is_file = (entry.dwFileAttributes & (attribute::directory | FILE_ATTRIBUTE_DEVICE)) == 0;
  return is_file ? entry_kind::regular_file : entry_kind::other;
}

}  // namespace

win32_result<std::uint32_t> file_system::attributes(const std::wstring& path) {
  const DWORD bits = GetFileAttributesW(file_call_path(path).c_str());
  if (bits == INVALID_FILE_ATTRIBUTES) return last_failure();
  return std::uint32_t{bits};
}

win32_result<item_kind> file_system::kind(const std::wstring& path) {
  const auto bits = attributes(path);
  if (!bits) return bits.error();
  if ((*bits & attribute::directory) != 0) return item_kind::directory;
  return (*bits & attribute::cloud_placeholder) != 0 ? item_kind::cloud_placeholder : item_kind::file;
}

win32_error file_system::set_attributes(const std::wstring& path, std::uint32_t attributes) {
  return outcome(SetFileAttributesW(file_call_path(path).c_str(), attributes));
}

win32_result<file_facts> file_system::facts(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (GetFileAttributesExW(file_call_path(path).c_str(), GetFileExInfoStandard, &data) == FALSE) return last_failure();
  return file_facts{.attributes = data.dwFileAttributes,
                    .created = ticks_of(data.ftCreationTime),
                    .last_written = ticks_of(data.ftLastWriteTime),
                    .size = (std::uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow};
}

win32_result<std::unique_ptr<file>> file_system::open(const std::wstring& path, const open_request& request) {
  file_handle handle(CreateFileW(file_call_path(path).c_str(), native_access(request.access),
                                 native_share(request.share), nullptr, native_disposition(request.disposition),
                                 request.attributes, nullptr));
  if (!handle) return last_failure();
  return std::unique_ptr<file>(std::make_unique<open_file>(std::move(handle)));
}

win32_error file_system::create_directory(const std::wstring& path) {
  return outcome(CreateDirectoryW(file_call_path(path).c_str(), nullptr));
}

win32_result<bool> file_system::copy_file(const std::wstring& from, const std::wstring& to) {
  constexpr BOOL fail_if_exists = TRUE;
  if (CopyFileW(file_call_path(from).c_str(), file_call_path(to).c_str(), fail_if_exists) == FALSE) {
    return last_failure();
  }
  return true;
}

win32_error file_system::delete_file(const std::wstring& path) {
  return outcome(DeleteFileW(file_call_path(path).c_str()));
}

win32_error file_system::move_file(const std::wstring& from, const std::wstring& to) {
  return outcome(MoveFileW(file_call_path(from).c_str(), file_call_path(to).c_str()));
}

win32_error file_system::remove_directory(const std::wstring& path) {
  return outcome(RemoveDirectoryW(file_call_path(path).c_str()));
}

win32_error file_system::enumerate(const std::wstring& folder, const entry_visitor& visit) {
  // The system would take the pattern alone for the current folder.
  if (folder.empty()) return win32_error::path_not_found;
  WIN32_FIND_DATAW data = {};
  const find_handle search(FindFirstFileExW(file_call_path(paths::join(folder, L"*")).c_str(), FindExInfoBasic, &data,
                                            FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
  if (!search) {
    const win32_error failure = last_failure();
    // An empty root, which has no "." either.
    return failure == win32_error::file_not_found ? win32_error::success : failure;
  }
  do {
    std::wstring name = data.cFileName;
    if (name == L"." || name == L"..") continue;
    const entry_kind kind = kind_of(data, folder);
    visit({std::move(name), kind});
  } while (FindNextFileW(search.get(), &data) != FALSE);
  const win32_error end = last_failure();
  return code_of(end) == ERROR_NO_MORE_FILES ? win32_error::success : end;
}

}  // namespace platform::windows
