// The one log of the program: a plain text file per calendar day, shared by all threads and processes.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "logging/utf8_arguments.h"
#include "platform/file_system.h"
#include "text/format.h"

namespace logging {

enum class level : std::uint8_t { debug = 0, info = 1, warning = 2, error = 3, critical = 4 };

class plain_text_logger {
 public:
  /// Makes the log directory below the local application data folder and opens the day's file for appending.
  /// The file's name starts with `file_prefix`, else with `inner_folder`, else with `application`.
  /// Raises a files::filesystem_error when the directory can't be tested or made; a file that can't be opened is
  /// no failure: what is written then is lost.
  void make_log_directory_and_open(std::wstring_view file_prefix, std::wstring_view inner_folder,
                                   std::wstring_view application);

  /// Writes one line, prefix and message, at once and unbuffered: a crash loses nothing. A failed write loses the
  /// line in silence.
  void write_line(std::wstring_view line);
  /// The same for text that is UTF-8 already.
  void write_utf8_line(std::string_view line);
  /// The same for text that has its line end: one write for both, so that lines of several processes don't mix.
  void write_whole_line(std::string_view line);

  /// Closes the file; a test opens it anew on another machine.
  void close();

 private:
  std::mutex lock_;
  std::unique_ptr<platform::file> stream_;  ///< null until opened, and when the file couldn't be
};

/// The process's logger.
[[nodiscard]] const std::shared_ptr<plain_text_logger>& logger();

/// "[2026-11-14 12:05:17.1234567] [P:4120 T:8836] [INFO] ": local time, process, thread and level.
[[nodiscard]] std::string log_prefix(level level);

void log_formatted(level level, fmt::string_view format, fmt::format_args arguments);

/// Logs one event. The format and narrow arguments are UTF-8.
template <class... Arguments>
void log(level level, text::format_string<utf8_argument<Arguments>...> format, const Arguments&... arguments) {
  utf8_arguments utf8;
  log_formatted(level, format, fmt::make_format_args(utf8.of(arguments)...));
}

}  // namespace logging
