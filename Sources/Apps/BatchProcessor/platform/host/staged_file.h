// A new content for a path in the making, beside the file that it will replace.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

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

  /// Takes the disk space for `size` bytes now: disk_full where it can't be had. Where the file system can't do so,
  /// it succeeds and the writes tell. Costs a sync at the commit: room taken ahead defeats the order of data and
  /// rename that some file systems keep.
  win32_error reserve(std::uint64_t size);

  /// Gives the content to the path, at once: any observer sees the old file or the new one, also after a kill. Mode,
  /// owner and extended attributes (access lists among them) of the replaced file are kept; failing that nothing
  /// changes. A file with several names, or of an owner that can't be kept, is rewritten behind its names instead, from
  /// a complete copy on disk that the next open finishes from (finish_interrupted_rewrite).
  /// sharing_violation when the path names another file than at the creation, file_exists when there was none and now
  /// is. To be called once.
  win32_error commit();

 private:
  /// The file that the path named at the creation.
  struct original {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
  };

  staged_file(std::string path, std::string staging_path, const original& replaced);

  win32_error open_file(staging_form form);
  win32_error open_named(mode_t mode);
  win32_error sync();
  win32_error publish_new();
  win32_error replace(const struct stat& old);
  win32_error link_staging();
  win32_error rewrite_behind_names();

  std::string path_;  // symbolic links in the last part resolved
  original original_;
  std::string staging_path_;  // the hidden sibling
  unique_descriptor file_;
  bool named_ = false;     // the hidden sibling is there and ours
  bool reserved_ = false;  // space was taken ahead
};

/// Rolls forward a rewrite of a file with several names that was cut short, and removes what a kill left beside the
/// file. To be called before a file is read in order to be changed. sharing_violation while another process is at it.
win32_error finish_interrupted_rewrite(const std::string& path);

}  // namespace platform::host
