#include "logging/log.h"

#include <array>
#include <span>

#include "files/family_folders.h"
#include "files/file_functions.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace logging {

namespace {

constexpr std::array<std::wstring_view, 5> level_names = {L"DEBUG", L"INFO", L"WARNING", L"ERROR", L"CRITICAL"};

std::wstring_view level_name(level level) {
  const auto index = static_cast<std::size_t>(level);
  return index < level_names.size() ? level_names[index] : L"UNKNOWN";
}

platform::local_time local_now() {
  platform::clock& clock = platform::current().clock;
  return clock.to_local(clock.now());
}

void append_prefix(fmt::wmemory_buffer& line, level level) {
  const platform::local_time now = local_now();
  platform::processes& processes = platform::current().processes;
  fmt::format_to(std::back_inserter(line), L"[{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:07}] [P:{} T:{}] [{}] ", now.year,
                 now.month, now.day, now.hour, now.minute, now.second, now.ticks, processes.process_id(),
                 processes.thread_id(), level_name(level));
}

std::wstring_view view_of(const fmt::wmemory_buffer& buffer) { return {buffer.data(), buffer.size()}; }

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

void plain_text_logger::write_line(std::wstring_view line) {
  std::string utf8;
  utf8.reserve(line.size() + 1);
  text::append_utf8(utf8, line);
  write_utf8_line(utf8);
}

void plain_text_logger::write_utf8_line(std::string_view line) {
  // One write for text and line end, so that lines of several processes don't mix.
  std::string bytes;
  bytes.reserve(line.size() + 1);
  bytes.append(line).push_back('\n');
  const std::lock_guard guard(lock_);
  if (!stream_) return;
  const auto written = stream_->write(std::as_bytes(std::span(bytes)));
  // A full disk loses lines and nothing else.
  static_cast<void>(written);
}

void plain_text_logger::close() {
  const std::lock_guard guard(lock_);
  stream_.reset();
}

const std::shared_ptr<plain_text_logger>& logger() {
  static const auto instance = std::make_shared<plain_text_logger>();
  return instance;
}

std::wstring log_prefix(level level) {
  fmt::wmemory_buffer line;
  append_prefix(line, level);
  return std::wstring(view_of(line));
}

void log_utf8(level level, std::string_view message) {
  std::string line = text::utf8_from_wide(log_prefix(level));
  line += message;
  logger()->write_utf8_line(line);
}

void log_formatted(level level, fmt::wstring_view format, fmt::wformat_args arguments) {
  fmt::wmemory_buffer line;
  append_prefix(line, level);
  fmt::vformat_to(std::back_inserter(line), format, arguments);
  logger()->write_line(view_of(line));
}

}  // namespace logging
