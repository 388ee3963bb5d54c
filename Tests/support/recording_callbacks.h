// A user interface that writes down what a run says to it and gives the answers that a test has set.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "batch_driver/callbacks.h"
#include "text/format.h"

namespace support {

class recording_callbacks final : public quill_box::batch_processor::batch_processor_callbacks {
 public:
  std::vector<std::wstring> said;  ///< one line for each call but set_progress, in order
  std::vector<int> percents;       ///< of set_progress
  std::size_t said_at_first_percent = 0;
  bool tick_all_current_items = false;  ///< the answer of report_error
  bool let_create_folders = true;       ///< the answer of confirm_create_folder
  int cancel_at_question = 0;           ///< is_cancelled says yes from this call on (1 is the first); 0 never
  int paused_questions = 0;             ///< is_paused says yes so many times
  std::function<void()> on_prompt;      ///< runs inside whatever waits for an answer

  void set_progress(int percent) override {
    if (percents.empty()) said_at_first_percent = said.size();
    percents.push_back(percent);
  }
  void bring_to_front() override { said.emplace_back(L"bring_to_front"); }
  bool is_cancelled() override {
    ++cancel_questions_;
    return stopped_ || (cancel_at_question != 0 && cancel_questions_ >= cancel_at_question);
  }
  bool is_paused() override { return paused_questions > 0 && paused_questions-- > 0; }
  bool report_error(const std::wstring& path, const std::wstring& message) override {
    prompt(text::format(L"error {}: {}", path, message));
    return tick_all_current_items;
  }
  bool confirm_create_folder(const std::wstring& path) override {
    prompt(text::format(L"create {}?", path));
    return let_create_folders;
  }
  void report_unexpected_action() override { prompt(L"unexpected action"); }
  void report_autotag_components_missing() override {
    prompt(L"components missing");
    stopped_ = true;
  }
  [[noreturn]] void raise_unsupported_autotag_type(const std::wstring& /*path*/, const std::wstring& /*error_text*/,
                                                   const std::wstring& /*supported_types*/) override {
    throw std::runtime_error("unsupported type");
  }
  void set_status_text(const std::wstring& text) override { said.push_back(L"status " + text); }
  void set_detail_text(const std::wstring& text) override { said.push_back(L"detail " + text); }

 private:
  void prompt(std::wstring text) {
    said.push_back(std::move(text));
    if (on_prompt) on_prompt();
  }

  int cancel_questions_ = 0;
  bool stopped_ = false;
};

}  // namespace support
