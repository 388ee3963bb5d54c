// The one door to a file's or folder's rating and tags. Each is tried through the property handler of the file's type
// first, then by ever more direct routes: embedded by the imaging component, in place in the XMP packet (rating only),
// in the property set that the file system keeps for the file, and last in an XMP sidecar. A folder has a property set,
// with a copy in its desktop.ini.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "metadata/people_region.h"
#include "platform/property_system.h"

namespace quill_box::metadata {

enum class read_speed : std::uint32_t {
  normal = 0,
  fast = 1,  ///< what the file itself holds, without the properties that are slow to get
};

/// One property store on one path, for the length of an action on the worker thread.
///
/// What is set is staged in the store and reaches the file at commit(). The other routes write at once; the property
/// set and the sidecar close the store first, and commit() has nothing to add then.
///
/// No open ever touches a cloud placeholder: that would start a download.
/// All failures are std::runtime_error with UTF-8 text for the user.
class file_metadata_store {
 public:
  file_metadata_store() = default;
  /// Knows the path and opens nothing.
  explicit file_metadata_store(std::wstring path) : path_(std::move(path)) {}
  ~file_metadata_store() { close(); }
  file_metadata_store(const file_metadata_store&) = delete;
  file_metadata_store& operator=(const file_metadata_store&) = delete;

  /// False, and nothing open, for an empty path, a missing file, a cloud placeholder and a folder that takes no
  /// property set. A folder that is read-only or system is neither until close(): such a one refuses property sets.
  [[nodiscard]] bool open_for_write(const std::wstring& path);
  /// False as open_for_write. Falls back to the property set of a file whose type has no handler.
  [[nodiscard]] bool open_for_read(const std::wstring& path, read_speed speed);
  /// Raises nothing: last_error() and blocked_by_placeholder() tell why it is false.
  [[nodiscard]] bool open_property_set_for_read(const std::wstring& path);

  /// Writes what is staged, and a folder's copy in desktop.ini.
  void commit();
  /// Releases the store and gives a folder its attributes back.
  void close();

  /// 0 to 5 stars; any other number is stored as 500, which is off the scale.
  void set_rating(int stars);
  /// 0 to 5 stars, or 500 for a stored value off the scale. Without a store or a number in it, 0 and no value.
  [[nodiscard]] int get_rating(bool& has_value) const;

  /// Stores the tags sorted without regard to case; equal ones stay.
  void set_tags(std::span<const std::wstring> tags);
  /// In the order stored. A folder without any has those of its desktop.ini.
  [[nodiscard]] std::vector<std::wstring> get_tags() const;
  void remove_all_tags();

  /// The people on the photo, from the first place that has any: the file's own bytes, its property set (names alone),
  /// its sidecar. Needs the path only, not an open store; none without one.
  [[nodiscard]] std::vector<people_region> get_people_regions() const;
  /// Replaces them, into the file itself if it is a JPEG, else into the property set (names alone) and the sidecar;
  /// nameless ones are left out. False when nothing was written because the file has the same set already. Needs the
  /// path only, and no store open on it.
  bool set_people_regions(std::span<const people_region> regions);

  /// Any property of the open store; fail without one.
  [[nodiscard]] platform::hresult_result<platform::property_value> get_value(const platform::property_key& key) const;
  /// Three attempts, unless the store says that it never will; the last one's result.
  platform::hresult set_value_with_retry(const platform::property_key& key, const platform::property_value& value);

  /// Of the last open for reading.
  [[nodiscard]] bool blocked_by_placeholder() const { return blocked_by_placeholder_; }
  [[nodiscard]] platform::hresult last_error() const { return last_failure_.code; }

 private:
  enum class open_mode : std::uint32_t { closed = 0, reading = 1, writing = 2 };

  void close_if_on_another_path(const std::wstring& path);
  [[nodiscard]] std::optional<std::uint32_t> attributes_for_read(const std::wstring& path);
  platform::storage_failure open_property_set_for_write(const std::wstring& path, std::uint32_t attributes);
  platform::storage_failure open_property_set(const std::wstring& path, std::uint32_t attributes, open_mode mode);
  void adopt(std::unique_ptr<platform::property_store> store, const std::wstring& path, open_mode mode);
  void unprotect_folder(const std::wstring& path, std::uint32_t attributes);
  void protect_folder_again(const std::wstring& path);
  void store_keywords_elsewhere(const platform::property_value& value, std::wstring_view purpose, const char* failure);
  [[nodiscard]] bool close_and_write_to_property_set(const std::wstring& path, const platform::property_key& key,
                                                     const platform::property_value& value);
  [[nodiscard]] std::optional<std::vector<std::wstring>> read_keywords() const;

  std::unique_ptr<platform::property_store> property_store_;  ///< null when closed
  open_mode open_mode_ = open_mode::closed;
  std::wstring path_;
  bool is_folder_ = false;
  std::uint32_t saved_folder_attributes_ = 0;  ///< to put back at close; 0 when nothing was changed
  bool blocked_by_placeholder_ = false;
  platform::storage_failure last_failure_;
};

}  // namespace quill_box::metadata
