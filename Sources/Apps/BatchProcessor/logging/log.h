// The one log of the program: a plain text file per calendar day, shared by all threads and processes.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

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
  void write_utf8_line(std::string_view line);

  /// Closes the file; a test opens it anew on another machine.
  void close();

 private:
  std::mutex lock_;
  std::unique_ptr<platform::file> stream_;  ///< null until opened, and when the file couldn't be
};

/// The process's logger.
[[nodiscard]] const std::shared_ptr<plain_text_logger>& logger();

/// "[2026-11-14 12:05:17.1234567] [P:4120 T:8836] [INFO] ": local time, process, thread and level.
[[nodiscard]] std::wstring log_prefix(level level);

/// Logs a message that is UTF-8 already, such as one made of an exception's text.
void log_utf8(level level, std::string_view message);

void log_formatted(level level, fmt::wstring_view format, fmt::wformat_args arguments);

template <class... Arguments>
void log(level level, text::wformat_string<const Arguments&...> format, const Arguments&... arguments) {
  log_formatted(level, format, fmt::make_format_args<fmt::wformat_context>(arguments...));
}

}  // namespace logging
