// A new content for a path in the making, beside the file that it will replace.
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
/// files; elsewhere it is a hidden sibling, and what a killed process left there is replaced by the next one that
/// stages the same file. Destruction without a commit drops it. One thread at a time.
class staged_file {
 public:
  /// For the file that `path` names, which need not exist yet; the file behind a symbolic link, so that the link stays.
  /// An interrupted rewrite of it is finished first. access_denied for a folder, a file that may not be written, and
  /// in a folder where no file can be made.
  [[nodiscard]] static win32_result<staged_file> create(const std::string& path,
                                                        staging_form form = staging_form::unnamed_if_possible);

  staged_file(staged_file&& other) noexcept;
  ~staged_file();

  /// Open for reading and writing, at first empty and at its start.
  [[nodiscard]] int descriptor() const { return file_.get(); }

  /// Gives the content to the path, at once: any observer sees the old file or the new one, also after a kill. Mode,
  /// owner, extended attributes (access lists among them) and flags of the replaced file are kept; its time of birth
  /// isn't. A file with several names, or with an owner, an attribute or a flag that this user can't give to a new
  /// file, is rewritten behind its names instead, from a complete copy on disk: observers may see it in between then,
  /// and the next open finishes what was cut short (finish_interrupted_rewrite). A failure changes nothing.
  /// sharing_violation when the file was changed since the creation, or the path names another one; file_exists when
  /// there was none and now is. To be called once.
  win32_error commit();

 private:
  staged_file(std::string path, std::string staging_path, const std::optional<file_stamp>& original);

  win32_error open_file(staging_form form);
  win32_error open_named(mode_t mode);
  win32_error take_flags();
  win32_error publish_new();
  win32_error replace(const struct stat& old);
  win32_error link_staging();
  win32_error rewrite_behind_names();

  std::string path_;                    // symbolic links in the last part resolved
  std::optional<file_stamp> original_;  // what the path named at the creation
  std::string staging_path_;            // the hidden sibling
  unique_descriptor file_;
  bool named_ = false;       // the hidden sibling is there and ours
  bool keeps_flags_ = true;  // the file has the flags of the original
};

/// Rolls forward a rewrite behind a file's names that was cut short, takes back a change in place that was, and removes
/// what a kill left beside the file. To be called before a file is read in order to be changed, and locked.
/// sharing_violation while another process is at it.
win32_error finish_interrupted_rewrite(const std::string& path);

/// The same for a file that is open for reading, where it is marked as cut short (change_mark.h): one system call for
/// any other file. The caller may have locked the file, with this descriptor; it may have the lock afterwards.
win32_error finish_interrupted_rewrite(int descriptor, const std::string& path);

/// The same for who only reads: who may do no more reads what is there.
win32_error finish_before_reading(int descriptor, const std::string& path);

}  // namespace platform::host
