#pragma once

#include "platform/terminal.h"

namespace platform::windows {

/// A program with a window has no console of its own, but may have been given handles, or been started from a shell
/// whose console it can join. That is found out at the first use; from then on Ctrl-C is caught. A shell doesn't wait
/// for a program with a window: a console that was joined has its keyboard and its line, and only takes messages.
class terminal final : public platform::terminal {
 public:
  bool interactive() override;
  bool may_draw() override;
  int columns() override;
  void write(std::string_view text) override;
  wchar_t read_key(std::chrono::milliseconds timeout) override;
  void discard_keys() override;
  bool interrupted() override;
};

}  // namespace platform::windows
