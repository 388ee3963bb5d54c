// The terminal that the program was started from.
#pragma once

#include "platform/terminal.h"

namespace platform::host {

class terminal final : public platform::terminal {
 public:
  bool interactive() override;
  /// False in the background, where the line is the shell's.
  bool may_draw() override;
  int columns() override;
  void write(std::string_view text) override;
  /// Keys that are no characters (arrows, function keys) don't count as keys. At the end of the input, and while the
  /// process is in the background, the whole time passes.
  wchar_t read_key(std::chrono::milliseconds timeout) override;
  void discard_keys() override;
  bool interrupted() override;
};

}  // namespace platform::host
