// The job file: the one input of a run. Its format is described in Documents/job-file.md.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "batch_driver/path_list.h"

namespace quill_box::batch_processor {

/// The job in memory. It owns the job file: the destructor deletes it, unless the caller asked to keep it.
struct job_record {
  path_list files;
  std::wstring action_type;
  std::wstring action_parameters;
  std::wstring version;
  std::wstring source_path;
  bool delete_on_destroy = true;

  job_record() = default;
  job_record(const job_record&) = delete;
  job_record& operator=(const job_record&) = delete;
  ~job_record();
};

/// What the file holds: the fields as UTF-8.
struct job_document {
  std::string version;
  std::string guid;
  std::string action_type;
  std::string action_parameters;
  path_list files;
};

/// Where the text of a document comes from: fills the buffer and returns how much; 0 at the end.
class byte_stream {
 public:
  virtual std::size_t read(std::span<char> buffer) = 0;

 protected:
  ~byte_stream() = default;
};

/// Raises a std::runtime_error with the message of the first check that fails. A text that isn't JSON fails the
/// first one, "JSON root must be an object". So does one nested more than 16 million deep.
[[nodiscard]] job_document parse_job_document(byte_stream& text);

/// Opens, reads and parses the file. Raises "Failed to open JSON file: " and the shortened path where it can't be
/// opened.
[[nodiscard]] job_document read_job_document(const std::wstring& path);

/// Loads the file into `job`, which owns the file from then on, also when the load raises. Consumes the path. Text
/// is converted up to its first NUL. Always returns true.
bool load_job(job_record& job, std::wstring&& path, bool delete_on_destroy);

}  // namespace quill_box::batch_processor
