// What the property handlers of all types share: a value is staged and worked into the file's content by the set, and
// written by the commit.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/host/content_file.h"
#include "platform/property_system.h"

namespace platform::host {

using property_values = std::map<property_key, property_value>;

/// The properties in a file's content, as they are when it is opened.
class property_content {
 public:
  virtual ~property_content() = default;

  [[nodiscard]] const content_file& file() const { return file_; }

  /// An empty value for a property that isn't there.
  [[nodiscard]] virtual hresult_result<property_value> get(const property_key& key) = 0;
  /// The edits that give the content all of these values, none where it has them already. Fails with
  /// imaging_property_not_supported for other properties, and with invalid_argument for values of another type.
  [[nodiscard]] virtual hresult_result<edit_plan> plan(const property_values& values) = 0;
  /// Writes what the last plan couldn't put into the content. Comes before the content: a new file that takes the name
  /// takes over the attributes that the old one has then.
  [[nodiscard]] virtual hresult commit_beside() { return hresult::ok; }

 protected:
  explicit property_content(content_file file) : file_(std::move(file)) {}

 private:
  content_file file_;
};

/// The rating in a value: 0 for no value, which stands for the removal; nothing for a value of another type.
[[nodiscard]] std::optional<std::uint32_t> percent_from(const property_value& value);

using content_opener = hresult_result<std::unique_ptr<property_content>> (*)(const std::wstring& path,
                                                                             handler_access access);

/// A store over the content that `open` finds; its codes and locks are those of open_content_file. A set works out the
/// whole change and takes the disk space for it: storage_medium_full where there is none. Several sets make one change.
///
/// The file is open, and locked, from here to the commit; a set that fails closes it, so that other ways to change the
/// file are free, and what comes next reads it anew. What was set belongs to the value that the caller saw: once
/// someone else has changed a property that was set, a commit that would undo that can't pass any more.
/// A failed commit reports storage_sharing_violation, whatever the reason, and the next one reads the file anew.
[[nodiscard]] hresult_result<std::unique_ptr<property_store>> open_content_store(const std::wstring& path,
                                                                                 handler_access access,
                                                                                 content_opener open);

}  // namespace platform::host
