#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "batch_driver/action_types.h"
#include "batch_driver/callbacks.h"

namespace quill_box::batch_processor {

/// What the worker function and the actions of one run share.
struct processing_context {
  batch_processor_callbacks* callbacks = nullptr;  ///< never null during a run
  std::wstring job_path;
  bool delete_job_file = true;
  int item_count = 0;   ///< the number of items; at the end the number of items taken up, failed ones included
  int error_count = 0;  ///< written back at the end
  action_types::actions action = action_types::actions::unknown;
  std::set<std::wstring> changed_folders;  ///< read after the run by the index prompt
  std::int32_t unidentified_face_count = 0;
  std::map<std::string, bool> suppressed_errors;  ///< messages that the user chose not to see again in this run
};

/// The local AI components are not available: stops the run.
class autotagger_exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quill_box::batch_processor
