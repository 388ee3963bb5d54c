// Files and directories: the calls that the logic makes, each with its Win32 code on failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "platform/result.h"

namespace platform {

/// A point in time: ticks of 100 ns since 1601-01-01 00:00 UTC, as in FILETIME.
using file_time = std::uint64_t;

/// File attribute bits (FILE_ATTRIBUTE_...).
namespace attribute {
inline constexpr std::uint32_t read_only = 0x1;
inline constexpr std::uint32_t hidden = 0x2;
inline constexpr std::uint32_t system = 0x4;
inline constexpr std::uint32_t directory = 0x10;
inline constexpr std::uint32_t archive = 0x20;
inline constexpr std::uint32_t normal = 0x80;
inline constexpr std::uint32_t reparse_point = 0x400;
inline constexpr std::uint32_t offline = 0x1000;
inline constexpr std::uint32_t recall_on_open = 0x40000;
inline constexpr std::uint32_t recall_on_data_access = 0x400000;
/// A file with any of these bits is not on this machine's disk yet: reading it starts a download.
inline constexpr std::uint32_t cloud_placeholder = offline | recall_on_open | recall_on_data_access;
}  // namespace attribute

struct file_facts {
  std::uint32_t attributes = 0;
  file_time created = 0;
  file_time last_written = 0;
  std::uint64_t size = 0;
};

/// What stands at a path, without its other attributes.
enum class item_kind : std::uint8_t {
  file,
  directory,
  cloud_placeholder,  ///< a file that isn't on this machine's disk yet
};

/// What the entry of a folder is, symbolic links followed.
enum class entry_kind : std::uint8_t {
  regular_file,  ///< cloud placeholders too
  other,         ///< a directory, a device, a link that leads nowhere, or what can't be told
};

struct directory_entry {
  std::wstring name;
  entry_kind kind = entry_kind::other;
};

/// What a handle may do (GENERIC_READ and so on); a set of bits.
enum class access : std::uint32_t {
  read = 1,
  write = 2,
  /// FILE_WRITE_ATTRIBUTES: enough to set times, without touching the data. On the host such a handle looks at the file
  /// only when a time is set.
  write_attributes = 4,
  append = 8,  ///< FILE_APPEND_DATA: every write goes to the end, whatever other processes wrote meanwhile
};
constexpr access operator|(access a, access b) {
  return static_cast<access>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr bool has(access set, access bit) {
  return (static_cast<std::uint32_t>(set) & static_cast<std::uint32_t>(bit)) != 0;
}

/// What others may do while the handle is open (FILE_SHARE_...); a set of bits.
enum class share : std::uint32_t { none = 0, read = 1, write = 2, remove = 4, all = 7 };
constexpr share operator|(share a, share b) {
  return static_cast<share>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr bool has(share set, share bit) {
  return (static_cast<std::uint32_t>(set) & static_cast<std::uint32_t>(bit)) != 0;
}

enum class disposition : std::uint8_t {
  create_new,     ///< fails with file_exists
  create_always,  ///< replaces what is there; on the host the new content takes the name when the file is closed
  open_existing,  ///< fails with file_not_found
  open_always,    ///< creates an empty file where there is none
  /// OPEN_EXISTING for a caller that writes the whole content anew from the start and then sets the end.
  /// On the host the old content stays in place until the file is closed.
  rewrite_existing,
};

struct open_request {
  platform::access access = access::read;
  platform::share share = share::none;
  platform::disposition disposition = disposition::open_existing;
  std::uint32_t attributes = attribute::normal;  ///< of a file that the call creates
};

/// An open file with a position. Destruction closes it without a word; whoever must know whether the
/// content arrived calls close().
class file {
 public:
  virtual ~file() = default;

  /// Fewer bytes than asked for only at the end of the file; 0 at its end. ReadFile.
  virtual win32_result<std::size_t> read(std::span<std::byte> buffer) = 0;
  /// May write less than asked for, as WriteFile on a full disk. WriteFile.
  virtual win32_result<std::size_t> write(std::span<const std::byte> bytes) = 0;
  /// Moves to a position counted from the start. SetFilePointerEx.
  virtual win32_error seek(std::uint64_t position) = 0;
  /// GetFileSizeEx.
  virtual win32_result<std::uint64_t> size() = 0;
  /// Cuts or extends the file to the current position. SetEndOfFile.
  virtual win32_error set_end() = 0;
  /// Leaves all other times alone. SetFileTime.
  virtual win32_error set_last_write_time(file_time time) = 0;
  /// No other operation may follow; a second close does nothing. CloseHandle.
  virtual win32_error close() = 0;
};

/// Takes the entries of a folder one by one.
using entry_visitor = std::function<void(directory_entry)>;

class file_system {
 public:
  /// GetFileAttributesW. A link to a directory has the directory bit and the reparse point bit; a dangling link
  /// exists.
  virtual win32_result<std::uint32_t> attributes(const std::wstring& path) = 0;
  /// GetFileAttributesW too, for those who need no more: on the host it costs less. There a placeholder also has no
  /// data on the disk.
  virtual win32_result<item_kind> kind(const std::wstring& path) = 0;
  /// Read-only, hidden, system and archive; other bits are ignored, `normal` clears the four. SetFileAttributesW.
  virtual win32_error set_attributes(const std::wstring& path, std::uint32_t attributes) = 0;
  /// GetFileAttributesExW.
  virtual win32_result<file_facts> facts(const std::wstring& path) = 0;
  /// CreateFileW. Directories can't be opened.
  virtual win32_result<std::unique_ptr<file>> open(const std::wstring& path, const open_request& request) = 0;
  /// The parent must exist. CreateDirectoryW.
  virtual win32_error create_directory(const std::wstring& path) = 0;
  /// Never replaces a file: file_exists where `to` is taken. True when something was copied. CopyFileW.
  virtual win32_result<bool> copy_file(const std::wstring& from, const std::wstring& to) = 0;
  /// DeleteFileW.
  virtual win32_error delete_file(const std::wstring& path) = 0;
  /// Renames a file, a link itself or a directory; files also move from one volume to another. Never replaces anything:
  /// already_exists where `to` is taken, by a file or a directory. access_denied for a directory that would have to
  /// change the volume. A move within a volume is atomic. On the host a failure leaves the file under its old name
  /// only; a kill between volumes leaves at worst the whole file under both. MoveFileW.
  virtual win32_error move_file(const std::wstring& from, const std::wstring& to) = 0;
  /// Only an empty one: dir_not_empty. RemoveDirectoryW.
  virtual win32_error remove_directory(const std::wstring& path) = 0;
  /// Visits the entries of a folder, not those of its subfolders, in the order in which the file system delivers them,
  /// without "." and "..". path_not_found for a missing folder, directory for what is none. A failure in the middle
  /// comes after the visits of what was found. FindFirstFileExW, FindNextFileW.
  virtual win32_error enumerate(const std::wstring& folder, const entry_visitor& visit) = 0;

 protected:
  ~file_system() = default;
};

}  // namespace platform
