#include "batch_driver/console_progress_and_processor.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>

#include "batch_driver/process_job.h"
#include "batch_driver/progress_line.h"
#include "batch_driver/prompt_texts.h"
#include "platform/machine.h"
#include "shell_companions/settings_app.h"
#include "text/conversions.h"
#include "text/display_columns.h"
#include "text/format.h"
#include "text/letter_case.h"

namespace quill_box::batch_processor {

namespace {

constexpr std::chrono::milliseconds redraw_interval(50);
constexpr std::string_view ai_settings_tab = "labelhub:orchid-lens-ai";

platform::terminal& terminal() { return platform::current().terminal; }

void write(std::wstring_view wide) { terminal().write(text::utf8_from_wide(wide)); }

std::wstring choices_line(std::span<const prompt_choice> choices) {
  std::wstring line;
  for (const prompt_choice& choice : choices)
    line += text::format(L"  [{}] {}", choice.letter, choice.words);
  return line + L"? ";
}

// The last column stays free.
std::size_t widest_line(int columns) { return static_cast<std::size_t>(std::max(columns - 1, 0)); }

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
  // Only Ctrl-C ends the loop early. A run that stopped itself still has a question to be answered and results.
  while (!terminal().interrupted()) {
    offer_choices();
    draw_progress_line();
    const bool can_ask = terminal().interactive();
    std::unique_lock guard(lock_);
    const auto has_news = [this, can_ask] { return worker_done_ || (can_ask && visible_); };
    if (!changed_.wait_for(guard, redraw_interval, has_news)) continue;
    if (worker_done_) break;
    guard.unlock();
    handle_key(terminal().read_key(redraw_interval));
  }
  end_loop();
}

void console_progress_and_processor::end_loop() {
  if (terminal().interrupted()) cancelled_ = true;
  wchar_t unanswered = 0;
  bool still_at_work = false;
  {
    const std::lock_guard guard(lock_);
    loop_ended_ = true;
    unanswered = pending_.safe_letter;
    still_at_work = worker_.joinable() && !worker_done_;
  }
  if (unanswered != 0) give_answer(unanswered);
  const std::lock_guard output(output_lock_);
  clear_progress_line();
  if (still_at_work && terminal().may_draw()) write(text::format(L"{}\n", cancelling_text));
}

run_results console_progress_and_processor::results() {
  const std::lock_guard guard(lock_);
  return results_;
}

void console_progress_and_processor::offer_choices() {
  prompt question;
  {
    const std::lock_guard guard(lock_);
    question = pending_;
  }
  if (question.choices.empty()) return;
  if (!terminal().interactive()) {
    // The terminal was taken away while somebody was to answer.
    give_answer(question.safe_letter);
  } else if (offered_.choices.empty()) {
    // What was typed ahead was not meant for this question.
    terminal().discard_keys();
    const std::lock_guard output(output_lock_);
    write(choices_line(question.choices));
    offered_ = question;
  }
}

void console_progress_and_processor::handle_key(wchar_t key) {
  const bool is_enter = key == L'\r' || key == L'\n';
  const wchar_t letter = is_enter ? offered_.safe_letter : text::to_lower(key);
  const auto is_letter = [letter](const prompt_choice& choice) { return choice.letter == letter; };
  if (std::any_of(offered_.choices.begin(), offered_.choices.end(), is_letter)) {
    give_answer(letter);
  } else if (letter == L'p' && offered_.choices.empty()) {
    paused_ = !paused_;
  }
}

void console_progress_and_processor::give_answer(wchar_t letter) {
  if (!offered_.choices.empty()) {
    const std::lock_guard output(output_lock_);
    write(text::format(L"{}\n", letter));
  }
  offered_ = {};
  const std::lock_guard guard(lock_);
  pending_ = {};
  answer_ = letter;
  changed_.notify_all();
}

void console_progress_and_processor::draw_progress_line() {
  const std::lock_guard output(output_lock_);
  progress_view view;
  {
    const std::lock_guard guard(lock_);
    if (!visible_ || !pending_.choices.empty()) return;
    view = {percent_, paused_, false, status_text_, detail_text_};
  }
  if (!terminal().may_draw()) {
    // Whoever has the terminal meanwhile has written over the line.
    drawn_line_.clear();
    return;
  }
  view.keys_are_read = terminal().interactive();
  const int columns = terminal().columns();
  std::wstring line = progress_line(view, columns);
  if (line == drawn_line_) return;
  // Blanks for what is left of a longer line; not every console knows how to erase.
  const std::size_t old_columns = std::min(text::display_columns(drawn_line_), widest_line(columns));
  const std::size_t new_columns = text::display_columns(line);
  write(text::format(L"\r{}{}", line, std::wstring(std::max(old_columns, new_columns) - new_columns, L' ')));
  drawn_line_ = std::move(line);
}

void console_progress_and_processor::clear_progress_line() {
  if (drawn_line_.empty()) return;
  drawn_line_.clear();
  // The whole width: a terminal without key mode has shown what was typed behind the line.
  if (terminal().may_draw()) write(text::format(L"\r{}\r", std::wstring(widest_line(terminal().columns()), L' ')));
}

wchar_t console_progress_and_processor::ask(std::wstring_view text, const prompt& question) {
  bring_to_front();
  {
    const std::lock_guard output(output_lock_);
    clear_progress_line();
    write(text::format(L"{}\n", text));
    if (!terminal().interactive()) return question.safe_letter;
    const std::lock_guard guard(lock_);
    if (loop_ended_) return question.safe_letter;
    // Pending before the terminal is free for the next progress line.
    answer_ = 0;
    pending_ = question;
  }
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this] { return answer_ != 0; });
  return answer_;
}

void console_progress_and_processor::set_progress(int percent) { percent_ = percent; }

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
  return ask(error_text(path, message), {choices, L'o'}) == L'a';
}

bool console_progress_and_processor::confirm_create_folder(const std::wstring& path) {
  static constexpr std::array choices = {prompt_choice{L'f', L"Create Folder"}, prompt_choice{L'c', L"Cancel"}};
  return ask(create_folder_text(path), {choices, L'c'}) == L'f';
}

void console_progress_and_processor::report_unexpected_action() {
  static constexpr std::array choices = {prompt_choice{L'o', L"OK"}};
  ask(unexpected_action_text, {choices, L'o'});
}

void console_progress_and_processor::report_autotag_components_missing() {
  static constexpr std::array choices = {prompt_choice{L'o', L"OK"}, prompt_choice{L'c', L"Cancel"}};
  cancelled_ = true;
  if (ask(autotag_components_missing_text, {choices, L'c'}) == L'o') settings_app::launch(ai_settings_tab);
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
