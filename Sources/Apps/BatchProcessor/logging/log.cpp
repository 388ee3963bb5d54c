#include "logging/log.h"

#include <array>
#include <span>
#include <string>
#include <tuple>

#include "files/family_folders.h"
#include "files/file_functions.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace logging {

namespace {

constexpr std::array<std::string_view, 5> level_names = {"DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL"};

std::string_view level_name(level level) {
  const auto index = static_cast<std::size_t>(level);
  return index < level_names.size() ? level_names[index] : "UNKNOWN";
}

platform::local_time local_now() {
  platform::clock& clock = platform::current().clock;
  return clock.to_local(clock.now());
}

void append(fmt::memory_buffer& line, std::string_view text) { line.append(text.data(), text.data() + text.size()); }

void put_ticks(std::span<char> digits, int ticks) {
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, ticks /= 10)
    *digit = static_cast<char>('0' + ticks % 10);
}

// What the prefix of a thread's lines says. It is made anew when more of it changes than the ticks: a run logs
// thousands of lines in a second.
struct prefix_facts {
  platform::local_time time;
  std::uint32_t process = 0;
  std::uint32_t thread = 0;
  logging::level level = {};

  [[nodiscard]] auto but_for_the_ticks() const {
    return std::tie(time.second, time.minute, time.hour, time.day, time.month, time.year, level, process, thread);
  }
};

void append_prefix(fmt::memory_buffer& line, level level) {
  constexpr std::size_t ticks_start = 21;
  constexpr std::size_t ticks_length = 7;
  thread_local prefix_facts shown;
  thread_local std::string shown_text;
  platform::processes& processes = platform::current().processes;
  const prefix_facts facts = {local_now(), processes.process_id(), processes.thread_id(), level};
  if (shown_text.empty() || shown.but_for_the_ticks() != facts.but_for_the_ticks()) {
    const platform::local_time& time = facts.time;
    shown_text =
        text::format("[{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:07}] [P:{} T:{}] [{}] ", time.year, time.month, time.day,
                     time.hour, time.minute, time.second, time.ticks, facts.process, facts.thread, level_name(level));
    shown = facts;
  }
  put_ticks(std::span(shown_text).subspan(ticks_start, ticks_length), facts.time.ticks);
  append(line, shown_text);
}

std::string_view view_of(const fmt::memory_buffer& buffer) { return {buffer.data(), buffer.size()}; }

std::wstring_view first_not_empty(std::wstring_view a, std::wstring_view b, std::wstring_view c) {
  if (!a.empty()) return a;
  return b.empty() ? c : b;
}

}  // namespace

void plain_text_logger::make_log_directory_and_open(std::wstring_view file_prefix, std::wstring_view inner_folder,
                                                    std::wstring_view application) {
  std::wstring directory = paths::join(files::family_folder(), application);
  if (!inner_folder.empty()) directory = paths::join(directory, inner_folder);
  directory = paths::join(directory, L"Logs");
  if (!files::exists(directory)) files::create_directories(directory);

  // The name is made once: a run that crosses midnight stays in the file of its first day.
  const platform::local_time now = local_now();
  const std::wstring name =
      text::format(L"{} {:04}-{:02}-{:02}.log", first_not_empty(file_prefix, inner_folder, application), now.year,
                   now.month, now.day);
  const std::lock_guard guard(lock_);
  if (stream_) return;
  auto opened = platform::current().files.open(
      paths::join(directory, name),
      {platform::access::append, platform::share::all, platform::disposition::open_always});
  // A log that can't be opened must not keep the program from its work: what is written then is lost.
  if (opened) stream_ = *std::move(opened);
}

void plain_text_logger::write_line(std::wstring_view line) { write_utf8_line(text::utf8_from_wide(line)); }

void plain_text_logger::write_utf8_line(std::string_view line) {
  std::string whole;
  whole.reserve(line.size() + 1);
  whole.append(line).push_back('\n');
  write_whole_line(whole);
}

void plain_text_logger::write_whole_line(std::string_view line) {
  const std::lock_guard guard(lock_);
  if (!stream_) return;
  // A full disk loses lines and nothing else.
  static_cast<void>(stream_->write(std::as_bytes(std::span(line))));
}

void plain_text_logger::close() {
  const std::lock_guard guard(lock_);
  stream_.reset();
}

const std::shared_ptr<plain_text_logger>& logger() {
  static const auto instance = std::make_shared<plain_text_logger>();
  return instance;
}

std::string log_prefix(level level) {
  fmt::memory_buffer line;
  append_prefix(line, level);
  return std::string(view_of(line));
}

void log_formatted(level level, fmt::string_view format, fmt::format_args arguments) {
  fmt::memory_buffer line;
  append_prefix(line, level);
  fmt::vformat_to(fmt::appender(line), format, arguments);
  line.push_back('\n');
  logger()->write_whole_line(view_of(line));
}

}  // namespace logging
