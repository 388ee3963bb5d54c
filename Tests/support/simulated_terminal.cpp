#include "support/simulated_terminal.h"

#include <thread>

#include "text/format.h"

namespace support {

namespace {
constexpr wchar_t ctrl_c = L'\x03';
}

bool simulated_terminal::interactive() {
  const auto guard = calls_.record("interactive", "");
  return interactive_;
}

bool simulated_terminal::may_draw() {
  const auto guard = calls_.record("may_draw", "");
  return drawable_;
}

int simulated_terminal::columns() {
  const auto guard = calls_.record("columns", "");
  return columns_;
}

void simulated_terminal::write(std::string_view text) {
  const auto guard = calls_.record("write_terminal", text);
  output_ += text;
  for (auto answer = answers_.begin(); answer != answers_.end(); ++answer) {
    if (text.find(answer->question) == std::string_view::npos) continue;
    keys_.insert(keys_.end(), answer->keys.begin(), answer->keys.end());
    answers_.erase(answer);
    return;
  }
}

wchar_t simulated_terminal::read_key(std::chrono::milliseconds timeout) {
  {
    const auto guard = calls_.record("read_key", text::format("{}", timeout.count()));
    if (!keys_.empty()) {
      const wchar_t key = keys_.front();
      keys_.pop_front();
      if (key != ctrl_c) return key;
      interrupted_ = true;
      return 0;
    }
    clock_.advance(timeout);
  }
  // A thread that polls must not starve the one that it watches.
  std::this_thread::yield();
  return 0;
}

void simulated_terminal::discard_keys() {
  const auto guard = calls_.record("discard_keys", "");
  keys_.clear();
}

bool simulated_terminal::interrupted() {
  const auto guard = calls_.record("interrupted", "");
  return interrupted_;
}

void simulated_terminal::set_interactive(bool interactive) {
  const auto guard = calls_.hold();
  interactive_ = interactive;
  drawable_ = interactive;
}

void simulated_terminal::set_drawable(bool drawable) {
  const auto guard = calls_.hold();
  drawable_ = drawable;
}

void simulated_terminal::set_columns(int columns) {
  const auto guard = calls_.hold();
  columns_ = columns;
}

void simulated_terminal::press(std::wstring_view keys) {
  const auto guard = calls_.hold();
  keys_.insert(keys_.end(), keys.begin(), keys.end());
}

void simulated_terminal::answer(std::string_view question, std::wstring_view keys) {
  const auto guard = calls_.hold();
  answers_.push_back({std::string(question), std::wstring(keys)});
}

void simulated_terminal::interrupt() {
  const auto guard = calls_.hold();
  interrupted_ = true;
}

std::string simulated_terminal::output() const {
  const auto guard = calls_.hold();
  return output_;
}

}  // namespace support
