// The run with a terminal, or with nothing, to show it: owns the worker, draws the progress line, asks the questions.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "batch_driver/action_types.h"
#include "batch_driver/callbacks.h"

namespace quill_box::batch_processor {

/// One answer that a prompt offers.
struct prompt_choice {
  wchar_t letter;
  std::wstring_view words;
};

/// What the worker publishes at its end. A run that was cancelled has these first values until then.
struct run_results {
  int processed_count = 0;
  int error_count = 0;
  action_types::actions action = action_types::actions::unknown;
  std::vector<std::wstring> changed_folders;
  int unidentified_face_count = 0;
};

/// The entry thread creates it, sets its job, calls create() and message_loop() and destroys it; the worker calls the
/// callbacks. Only the entry thread reads keys, draws the progress line and offers the choices of a prompt.
class console_progress_and_processor final : public batch_processor_callbacks {
 public:
  std::wstring job_path;
  bool delete_job_file = true;

  console_progress_and_processor() = default;
  console_progress_and_processor(const console_progress_and_processor&) = delete;
  console_progress_and_processor& operator=(const console_progress_and_processor&) = delete;
  /// Waits for the worker, which after a cancel may still be busy with an item.
  ~console_progress_and_processor() override;

  /// Starts the worker.
  void create();
  /// Returns when the worker has published its results or the user has cancelled.
  void message_loop();
  [[nodiscard]] run_results results();

  void set_progress(int percent) override;
  void bring_to_front() override;
  bool is_cancelled() override;
  bool is_paused() override;
  bool report_error(const std::wstring& path, const std::wstring& message) override;
  bool confirm_create_folder(const std::wstring& path) override;
  void report_unexpected_action() override;
  void report_autotag_components_missing() override;
  [[noreturn]] void raise_unsupported_autotag_type(const std::wstring& path, const std::wstring& error_text,
                                                   const std::wstring& supported_types) override;
  void set_status_text(const std::wstring& text) override;
  void set_detail_text(const std::wstring& text) override;

 private:
  /// A question that the worker waits on; without choices there is none.
  struct prompt {
    std::span<const prompt_choice> choices;
    wchar_t safe_letter = 0;  ///< what Enter says
  };

  void worker_main();
  /// Shows the text and waits for one of the choices' letters; the safe one where nobody can be asked.
  wchar_t ask(std::wstring_view text, const prompt& question);

  // The entry thread's part.
  void offer_choices();
  void handle_key(wchar_t key);
  void give_answer(wchar_t letter);
  void draw_progress_line();
  void end_loop();

  /// With output_lock_ held.
  void clear_progress_line();

  std::atomic<bool> paused_ = false;
  std::atomic<bool> cancelled_ = false;
  std::atomic<int> percent_ = 0;

  /// Held while the terminal is written to, which may take as long as a person likes. Taken ahead of lock_.
  std::mutex output_lock_;
  std::wstring drawn_line_;  ///< as it stands on the terminal; empty when none does

  prompt offered_;  ///< the entry thread's: the prompt whose choices stand on the terminal

  std::mutex lock_;  ///< guards what follows; never held while the terminal is written to
  std::condition_variable changed_;
  bool visible_ = false;
  bool worker_done_ = false;
  run_results results_;
  bool loop_ended_ = false;  ///< nobody reads keys any more
  std::wstring status_text_;
  std::wstring detail_text_;
  prompt pending_;
  wchar_t answer_ = 0;  ///< of the last prompt, 0 until given

  std::thread worker_;
};

}  // namespace quill_box::batch_processor
