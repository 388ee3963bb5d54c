// The terminal that the program was started from, if any: its standard error and its keyboard.
#pragma once

#include <chrono>
#include <string_view>

namespace platform {

class terminal {
 public:
  /// True when a person can be asked: standard error and standard input are a terminal.
  [[nodiscard]] virtual bool interactive() = 0;
  /// True while a line may be drawn there and drawn over: standard error is a terminal that no other program is using.
  /// Nobody need be there to be asked.
  [[nodiscard]] virtual bool may_draw() = 0;
  /// The width in columns; 80 where it can't be told.
  [[nodiscard]] virtual int columns() = 0;
  /// Writes UTF-8 text to standard error. A failure has nobody to be told to.
  virtual void write(std::string_view text) = 0;
  /// Waits up to `timeout` for a key; 0 when none came. A key needs no Enter and isn't shown.
  [[nodiscard]] virtual wchar_t read_key(std::chrono::milliseconds timeout) = 0;
  /// Drops the keys that were pressed and not read yet, so that none of them answers a later question.
  virtual void discard_keys() = 0;
  /// True once Ctrl-C was pressed. The first press only sets this, the second one ends the process.
  [[nodiscard]] virtual bool interrupted() = 0;

 protected:
  ~terminal() = default;
};

}  // namespace platform
