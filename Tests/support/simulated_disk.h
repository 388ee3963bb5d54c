// The disks of the simulated machine: names, contents, attributes and who has what open. Nothing here is recorded:
// the facilities ask it on behalf of the program, a test looks into it and changes it as another program would.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/property_system.h"
#include "support/simulated_clock.h"

namespace support {

enum class disk_format : std::uint8_t { ntfs, fat };

struct simulated_drive {
  disk_format format = disk_format::ntfs;   ///< only NTFS holds property sets
  std::optional<std::uint64_t> free_bytes;  ///< no limit when not set
};

using property_values = std::map<platform::property_key, platform::property_value>;

/// How one open handle uses an entry.
struct disk_use {
  platform::access access;
  platform::share share;
};

struct disk_entry {
  std::wstring path;  ///< as first spelled
  std::shared_ptr<simulated_drive> drive;
  std::uint32_t attributes = 0;
  platform::file_time created = 0;
  platform::file_time last_written = 0;
  std::string content;
  property_values handler_values;       ///< what the file's own format holds
  property_values property_set_values;  ///< what hangs on the file beside its content
  std::vector<const disk_use*> uses;
  std::uint64_t turn = 0;  ///< its place among all entries in the order in which they came to their names

  [[nodiscard]] bool has(std::uint32_t bits) const { return (attributes & bits) != 0; }
  [[nodiscard]] bool is_directory() const { return has(platform::attribute::directory); }
};

using disk_entry_pointer = std::shared_ptr<disk_entry>;

/// An open handle's claim on an entry; it ends with this object. It keeps the entry alive when the name goes.
class disk_claim {
 public:
  disk_claim(disk_entry_pointer entry, disk_use use);
  ~disk_claim();
  disk_claim(const disk_claim&) = delete;
  disk_claim& operator=(const disk_claim&) = delete;

  [[nodiscard]] disk_entry& entry() const { return *entry_; }
  [[nodiscard]] const disk_entry_pointer& shared_entry() const { return entry_; }
  [[nodiscard]] platform::access access() const { return use_.access; }

 private:
  disk_entry_pointer entry_;
  disk_use use_;
};

class simulated_disk {
 public:
  /// There is a drive "C:" with the current directory at its root.
  explicit simulated_disk(const simulated_clock& clock);

  /// `name` is "D:" or "\\server\share".
  simulated_drive& add_drive(std::wstring_view name);
  [[nodiscard]] simulated_drive& drive(std::wstring_view name);

  /// The entry of a path or the code with which Windows misses it.
  [[nodiscard]] platform::win32_result<disk_entry_pointer> find(std::wstring_view path) const;
  /// A new entry, whose parent must be there and whose name must be free (already_exists).
  [[nodiscard]] platform::win32_result<disk_entry_pointer> create(std::wstring_view path, std::uint32_t attributes);
  /// Gives an entry, with all below it, another path, whose parent must be there and whose name must be free.
  [[nodiscard]] platform::win32_error rename(const disk_entry_pointer& entry, std::wstring_view path);
  /// The entries directly in a folder, in the order in which they came there.
  [[nodiscard]] std::vector<disk_entry_pointer> entries_of(const disk_entry& folder) const;
  /// Takes the name away; open handles keep the content.
  void remove(const disk_entry_pointer& entry);

  /// Opens a handle, or says sharing_violation. A handle that neither reads nor writes data takes no part in sharing.
  [[nodiscard]] platform::win32_result<std::unique_ptr<disk_claim>> claim(const disk_entry_pointer& entry,
                                                                          disk_use use) const;

  /// How many bytes the content may grow by up to `wanted`; they are taken from the free space.
  [[nodiscard]] static std::uint64_t take_space(disk_entry& entry, std::uint64_t wanted);
  /// The marks that a change of the content leaves: the time and the archive bit.
  void touch(disk_entry& entry) const;

  /// For tests: makes or replaces a file, and every folder that it needs.
  disk_entry& put_file(std::wstring_view path, std::string_view content);
  disk_entry& put_directory(std::wstring_view path);
  /// For tests: all entries below a folder, at any depth.
  [[nodiscard]] std::vector<disk_entry_pointer> below(std::wstring_view folder) const;
  /// For tests: the paths that some handle is open on, one for each handle.
  [[nodiscard]] std::vector<std::wstring> paths_in_use() const;

 private:
  const simulated_clock& clock_;
  std::map<std::wstring, std::shared_ptr<simulated_drive>> drives_;  // by lower-cased name
  std::map<std::wstring, disk_entry_pointer> entries_;               // by lower-cased path
  std::uint64_t turns_ = 0;
  std::vector<disk_entry_pointer> removed_;  // without a name, perhaps still open
};

}  // namespace support
