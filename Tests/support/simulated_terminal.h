#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/terminal.h"
#include "support/simulated_calls.h"
#include "support/simulated_clock.h"

namespace support {

/// A terminal with scripted keys. Waiting for a key that doesn't come passes time.
class simulated_terminal final : public platform::terminal {
 public:
  simulated_terminal(simulated_calls& calls, simulated_clock& clock) : calls_(calls), clock_(clock) {}

  bool interactive() override;
  bool may_draw() override;
  int columns() override;
  void write(std::string_view text) override;
  wchar_t read_key(std::chrono::milliseconds timeout) override;
  void discard_keys() override;
  bool interrupted() override;

  /// For tests.
  /// A terminal with a keyboard: a person can be asked, and lines drawn.
  void set_interactive(bool interactive);
  /// Lines can be drawn, whether or not a person can be asked.
  void set_drawable(bool drawable);
  void set_columns(int columns);
  void press(std::wstring_view keys);
  /// Presses the keys, of which \x03 is Ctrl-C, when text that holds `question` is written; once. Of several the first
  /// that fits is taken.
  void answer(std::string_view question, std::wstring_view keys);
  void interrupt();
  [[nodiscard]] std::string output() const;

 private:
  simulated_calls& calls_;
  simulated_clock& clock_;
  bool interactive_ = false;
  bool drawable_ = false;
  bool interrupted_ = false;
  int columns_ = 80;
  struct prepared_answer {
    std::string question;
    std::wstring keys;
  };

  std::deque<wchar_t> keys_;
  std::vector<prepared_answer> answers_;
  std::string output_;
};

}  // namespace support
