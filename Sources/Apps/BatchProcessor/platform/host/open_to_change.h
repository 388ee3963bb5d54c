// Opening a file of the user's in order to change it.
#pragma once

#include <chrono>
#include <string>

#include "platform/host/file_stamp.h"
#include "platform/host/unique_descriptor.h"
#include "platform/result.h"

namespace platform::host {

/// Locked among the runs of this program for as long as it lives, and whole: a change that was cut short is recovered,
/// and what killed runs left beside the file is gone.
struct changeable_file {
  std::string path;
  unique_descriptor file;  ///< for reading and writing
  unique_descriptor lock;  ///< has the lock where `file` hasn't
  file_stamp stamp;        ///< of its content now
  bool has_several_names = false;
};

/// sharing_violation where another program has the file open for writing, or another run has it for longer than
/// `patience`; access_denied for a folder and for a file with the read-only attribute; invalid_function for a pipe or a
/// device.
[[nodiscard]] win32_result<changeable_file> open_to_change(const std::string& path,
                                                           std::chrono::steady_clock::duration patience = {});

/// A second descriptor, for reading and writing, of the file that `path` names and that `reading` has open for reading
/// alone: sharing_violation where somebody has it open for writing, or the path names another file.
[[nodiscard]] win32_result<unique_descriptor> open_for_writing(const std::string& path, int reading);

}  // namespace platform::host
