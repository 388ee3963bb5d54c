#include "batch_driver/console_progress_and_processor.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>

#include "batch_driver/process_job.h"
#include "batch_driver/progress_line.h"
#include "batch_driver/prompt_texts.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/letter_case.h"

namespace quill_box::batch_processor {

namespace {

constexpr std::chrono::milliseconds redraw_interval(50);

platform::terminal& terminal() { return platform::current().terminal; }

void write(std::wstring_view wide) { terminal().write(text::utf8_from_wide(wide)); }

std::wstring choices_line(std::span<const prompt_choice> choices) {
  std::wstring line;
  for (const prompt_choice& choice : choices)
    line += text::format(L"  [{}] {}", choice.letter, choice.words);
  return line;
}

}  // namespace

console_progress_and_processor::~console_progress_and_processor() {
  if (worker_.joinable()) worker_.join();
}

void console_progress_and_processor::create() {
  worker_ = std::thread([this] { worker_main(); });
}

void console_progress_and_processor::worker_main() {
  cancelled_ = false;
  processing_context context;
  context.callbacks = this;
  context.job_path = job_path;
  context.delete_job_file = delete_job_file;
  process_job(context);
  const std::lock_guard guard(lock_);
  results_ = {context.item_count,
              context.error_count,
              context.action,
              {context.changed_folders.begin(), context.changed_folders.end()},
              context.unidentified_face_count};
  worker_done_ = true;
  changed_.notify_all();
}

void console_progress_and_processor::message_loop() {
  for (;;) {
    std::unique_lock guard(lock_);
    if (worker_done_) break;
    const bool wants_keys = terminal().interactive() && (visible_ || !pending_choices_.empty());
    if (!wants_keys) changed_.wait_for(guard, redraw_interval);
    guard.unlock();
    if (is_cancelled()) {
      cancelled_ = true;
      break;
    }
    if (!wants_keys) continue;
    draw_progress_line();
    handle_key(terminal().read_key(redraw_interval));
  }
  const std::lock_guard guard(lock_);
  loop_ended_ = true;
  changed_.notify_all();
  clear_progress_line();
}

run_results console_progress_and_processor::results() {
  const std::lock_guard guard(lock_);
  return results_;
}

void console_progress_and_processor::handle_key(wchar_t key) {
  const std::lock_guard guard(lock_);
  const bool is_enter = key == L'\r' || key == L'\n';
  const wchar_t letter = is_enter ? safe_letter_ : text::to_lower(key);
  const auto is_letter = [letter](const prompt_choice& choice) { return choice.letter == letter; };
  if (std::any_of(pending_choices_.begin(), pending_choices_.end(), is_letter)) {
    answer_ = letter;
    pending_choices_ = {};
    changed_.notify_all();
  } else if (letter == L'p' && pending_choices_.empty()) {
    paused_ = !paused_;
  }
}

void console_progress_and_processor::draw_progress_line() {
  const std::lock_guard guard(lock_);
  if (!visible_ || !pending_choices_.empty()) return;
  std::wstring line = progress_line(percent_, paused_, status_text_, detail_text_, terminal().columns());
  if (line == drawn_line_) return;
  // Back to the first column, the line, and what is left of a longer one erased.
  write(L"\r" + line + L"\x1b[K");
  drawn_line_ = std::move(line);
}

void console_progress_and_processor::clear_progress_line() {
  if (drawn_line_.empty()) return;
  write(L"\r\x1b[K");
  drawn_line_.clear();
}

wchar_t console_progress_and_processor::ask(std::wstring_view text, std::span<const prompt_choice> choices,
                                            wchar_t safe_letter) {
  bring_to_front();
  std::unique_lock guard(lock_);
  clear_progress_line();
  write(text);
  write(L"\n");
  if (!terminal().interactive() || loop_ended_) return safe_letter;
  write(choices_line(choices));
  answer_ = 0;
  pending_choices_ = choices;
  safe_letter_ = safe_letter;
  changed_.notify_all();
  changed_.wait(guard, [this] { return answer_ != 0 || loop_ended_; });
  pending_choices_ = {};
  const wchar_t letter = answer_ != 0 ? answer_ : safe_letter;
  write(text::format(L"  {}\n", letter));
  return letter;
}

void console_progress_and_processor::set_progress(int percent) {
  const std::lock_guard guard(lock_);
  percent_ = percent;
}

void console_progress_and_processor::bring_to_front() {
  const std::lock_guard guard(lock_);
  if (visible_) return;
  visible_ = true;
  changed_.notify_all();
}

// Asked anew each time, so that no further item starts after Ctrl-C, whenever the entry thread looks.
bool console_progress_and_processor::is_cancelled() { return cancelled_ || terminal().interrupted(); }

bool console_progress_and_processor::is_paused() { return paused_; }

bool console_progress_and_processor::report_error(const std::wstring& path, const std::wstring& message) {
  static constexpr std::array choices = {prompt_choice{L'o', L"OK"},
                                         prompt_choice{L'a', L"Do this for all current items"}};
  return ask(error_text(path, message), choices, L'o') == L'a';
}

bool console_progress_and_processor::confirm_create_folder(const std::wstring& path) {
  static constexpr std::array choices = {prompt_choice{L'f', L"Create Folder"}, prompt_choice{L'c', L"Cancel"}};
  return ask(create_folder_text(path), choices, L'c') == L'f';
}

void console_progress_and_processor::report_unexpected_action() {
  static constexpr std::array choices = {prompt_choice{L'o', L"OK"}};
  ask(unexpected_action_text, choices, L'o');
}

void console_progress_and_processor::report_autotag_components_missing() {
  static constexpr std::array choices = {prompt_choice{L'o', L"OK"}};
  cancelled_ = true;
  ask(autotag_components_missing_text, choices, L'o');
}

void console_progress_and_processor::raise_unsupported_autotag_type(const std::wstring& /*path*/,
                                                                    const std::wstring& /*error_text*/,
                                                                    const std::wstring& supported_types) {
  throw std::runtime_error(text::utf8_from_wide(unsupported_autotag_type_text(supported_types)));
}

void console_progress_and_processor::set_status_text(const std::wstring& text) {
  const std::lock_guard guard(lock_);
  status_text_ = text;
}

void console_progress_and_processor::set_detail_text(const std::wstring& text) {
  const std::lock_guard guard(lock_);
  detail_text_ = text;
}

}  // namespace quill_box::batch_processor
