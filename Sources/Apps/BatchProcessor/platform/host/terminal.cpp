#include "platform/host/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <optional>
#include <string>

#include "platform/host/system_calls.h"
#include "platform/host/terminal_mode.h"
#include "text/conversions.h"

namespace platform::host {

namespace {

using std::chrono::milliseconds;
using deadline = std::chrono::steady_clock::time_point;

constexpr int usual_columns = 80;
constexpr char escape = '\x1b';
/// The bytes of one key arrive together; over a slow line a little apart.
constexpr milliseconds within_a_key(30);

int milliseconds_until(deadline end) {
  const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

// False when the time is over, or an interrupt has come that somebody waits for.
bool wait_for_input(deadline end) {
  const bool interrupted_before = interrupt_pending();
  for (;;) {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    const int ready = ::poll(&input, 1, milliseconds_until(end));
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR || interrupt_pending() != interrupted_before) return false;
  }
}

void sleep_until(deadline end) {
  const bool interrupted_before = interrupt_pending();
  // Woken by a signal: of those only the interrupt is worth an early return.
  while (::poll(nullptr, 0, milliseconds_until(end)) != 0 && interrupt_pending() == interrupted_before) {
  }
}

// None at the end of the input and when it can't be read any more.
std::optional<char> read_byte() {
  char byte = 0;
  const ssize_t count = retried([&byte] { return ::read(STDIN_FILENO, &byte, 1); });
  if (count == 1) return byte;
  return std::nullopt;
}

std::optional<char> next_byte_of_key() {
  if (!wait_for_input(std::chrono::steady_clock::now() + within_a_key)) return std::nullopt;
  return read_byte();
}

// Takes what a key that is no character sends behind its escape byte. True when there was something: otherwise it was
// the Escape key itself.
bool skip_rest_of_sequence() {
  auto byte = next_byte_of_key();
  if (!byte) return false;
  if (*byte == 'O') {
    byte = next_byte_of_key();
  } else if (*byte == '[') {
    // Parameters, then one final byte.
    do {
      byte = next_byte_of_key();
    } while (byte && (*byte < '@' || *byte > '~'));
  }
  return true;
}

std::size_t length_of_utf8(char first) {
  const auto lead = static_cast<unsigned char>(first);
  if (lead < 0xc0) return 1;
  if (lead < 0xe0) return 2;
  return lead < 0xf0 ? 3 : 4;
}

wchar_t character_starting_with(char first) {
  std::string bytes(1, first);
  for (std::size_t length = length_of_utf8(first); bytes.size() < length;) {
    const auto byte = next_byte_of_key();
    if (!byte) break;
    bytes.push_back(*byte);
  }
  return text::wide_from_utf8(bytes).front();
}

}  // namespace

bool terminal::interactive() { return ::isatty(STDERR_FILENO) == 1 && ::isatty(STDIN_FILENO) == 1; }

bool terminal::may_draw() { return ::isatty(STDERR_FILENO) == 1 && in_foreground(STDERR_FILENO); }

int terminal::columns() {
  winsize size = {};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usual_columns;
  return size.ws_col;
}

void terminal::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = retried([text] { return ::write(STDERR_FILENO, text.data(), text.size()); });
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
      continue;
    }
    // Someone who shares the terminal has set it not to wait.
    pollfd output = {STDERR_FILENO, POLLOUT, 0};
    if (errno != EAGAIN || ::poll(&output, 1, -1) < 0) return;
  }
}

wchar_t terminal::read_key(milliseconds timeout) {
  watch_for_interrupt();
  const deadline end = std::chrono::steady_clock::now() + timeout;
  if (!enter_key_mode()) {
    sleep_until(end);
    return 0;
  }
  while (wait_for_input(end)) {
    const auto byte = read_byte();
    if (!byte) {
      sleep_until(end);
      return 0;
    }
    if (*byte != escape || !skip_rest_of_sequence()) return character_starting_with(*byte);
  }
  return 0;
}

void terminal::discard_keys() { discard_input(); }

bool terminal::interrupted() {
  watch_for_interrupt();
  return interrupt_pending();
}

}  // namespace platform::host
