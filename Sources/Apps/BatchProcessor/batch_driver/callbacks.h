// How a run talks to its user.
#pragma once

#include <string>

namespace quill_box::batch_processor {

/// All operations are called on the worker thread; the prompts block it until they are answered.
class batch_processor_callbacks {
 public:
  virtual ~batch_processor_callbacks() = default;

  virtual void set_progress(int percent) = 0;
  /// Makes the hidden display visible.
  virtual void bring_to_front() = 0;
  /// The user has cancelled, or report_autotag_components_missing has stopped the run.
  virtual bool is_cancelled() = 0;
  virtual bool is_paused() = 0;
  /// Shows a failure. True means that the user wants to hear of no other failure with this message in this run.
  virtual bool report_error(const std::wstring& path, const std::wstring& message) = 0;
  /// Asks before a missing target folder is made; true means yes.
  virtual bool confirm_create_folder(const std::wstring& path) = 0;
  virtual void report_unexpected_action() = 0;
  /// Stops the run and offers the settings application.
  virtual void report_autotag_components_missing() = 0;
  /// Raises the error for this item; the first two arguments are not used.
  [[noreturn]] virtual void raise_unsupported_autotag_type(const std::wstring& path, const std::wstring& error_text,
                                                           const std::wstring& supported_types) = 0;
  virtual void set_status_text(const std::wstring& text) = 0;
  /// The smaller line under the bar.
  virtual void set_detail_text(const std::wstring& text) = 0;
};

}  // namespace quill_box::batch_processor
