// The second way to change a file: a complete new one, written beside it, takes its name.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/host/file_stamp.h"
#include "platform/host/unique_descriptor.h"
#include "platform/result.h"

namespace platform::host {

/// What a staged content is before it has its name: unnamed where the file system can do that, or, as elsewhere,
/// hidden.
enum class staging_form : std::uint8_t { unnamed_if_possible, hidden_sibling };

/// Write to descriptor(), then commit(). Until then nothing of it shows in the folder where the file system has unnamed
/// files; elsewhere it is a hidden sibling, and what a killed process left there is removed by the next one that
/// stages the same file. Destruction without a commit drops it. One thread at a time.
class staged_file {
 public:
  /// For the file that `path` names, which need not exist yet; the file after a symbolic link, so that the link stays.
  /// A file that exists was opened by open_to_change, or is locked and recovered in another way. access_denied for a
  /// folder, a file that may not be written, and in a folder where no file can be made.
  [[nodiscard]] static win32_result<staged_file> create(const std::string& path,
                                                        staging_form form = staging_form::unnamed_if_possible);

  staged_file(staged_file&& other) noexcept;
  ~staged_file();

  /// Open for reading and writing, at first empty and at its start.
  [[nodiscard]] int descriptor() const { return file_.get(); }

  /// Gives the content to the path, at once: any observer sees the old file or the new one, also after a kill. Mode,
  /// owner, extended attributes (access lists among them) and flags of the replaced file are kept; its time of birth
  /// isn't. A file with several names, or with an owner, an attribute or a flag that this user can't give to a new
  /// file, is changed in place instead, with an undo file (undo_file.h). A failure changes nothing. sharing_violation
  /// when the file was changed since the creation, or the path names another one; file_exists when there was none and
  /// now is. To be called once.
  win32_error commit();

  /// The new file under its name, locked, after a commit that replaced the old one. Empty where the old one is changed.
  [[nodiscard]] unique_descriptor take_replacement() { return std::move(replacement_); }

 private:
  staged_file(std::string path, const std::optional<file_stamp>& original);

  win32_error open_file(staging_form form);
  win32_error open_named(mode_t mode);
  win32_error take_flags();
  win32_error publish_new();
  win32_error replace(const struct stat& old);
  win32_error link_staging();
  win32_error change_in_place();

  std::string path_;                    // symbolic links in the last part resolved
  std::optional<file_stamp> original_;  // what the path named at the creation
  std::string staging_name_;            // of the hidden sibling; empty while there is none
  unique_descriptor file_;
  unique_descriptor replacement_;
  bool keeps_flags_ = true;  // the file has the flags of the original
};

}  // namespace platform::host
