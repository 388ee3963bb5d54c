// Changing a file so that it is whole at every instant. There are three ways, tried in this order: a patch
// (patch_writer.h), a new file that takes the name (staged_file.h), and an undo file (undo_file.h).
#pragma once

#include <memory>
#include <string>

#include "platform/host/edit_plan.h"
#include "platform/host/file_stamp.h"
#include "platform/host/unique_descriptor.h"
#include "platform/result.h"

namespace platform::host {

/// A change that is worked out and has its disk space, but has touched nothing yet.
class file_rewrite {
 public:
  virtual ~file_rewrite() = default;

  /// Makes the change. Whether it fails or the process is killed, the file keeps its old content or has its new one;
  /// after a kill that may take the next open. sharing_violation when someone changed the file since it was prepared.
  /// To be called once.
  virtual win32_error commit() = 0;

  /// After a commit that put a new file in the old one's place: that file, open for reading and writing, locked.
  [[nodiscard]] virtual unique_descriptor take_replacement() { return {}; }
};

/// What a plan was made from: a file that open_to_change opened. File and source stay until the commit.
struct rewritten_file {
  int file = -1;
  std::string path;
  file_stamp stamp;  ///< of the content that `source` reads
  byte_source& source;
};

/// Prepares the change: a new file is written here and now, so that a full disk shows while nothing has changed.
/// invalid_parameter for a plan out of order or beyond the end, sharing_violation if the file has moved on since the
/// stamp, or the path names another file.
[[nodiscard]] win32_result<std::unique_ptr<file_rewrite>> prepare_rewrite(const rewritten_file& from,
                                                                          const edit_plan& plan);

}  // namespace platform::host
