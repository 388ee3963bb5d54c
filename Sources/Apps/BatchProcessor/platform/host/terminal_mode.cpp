#include "platform/host/terminal_mode.h"

#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>

namespace platform::host {

namespace {

// What the handlers share with the rest. The modes are written once, before key_mode_wanted.
std::atomic<bool> interrupt_seen = false;
std::atomic<bool> key_mode_wanted = false;
std::atomic<bool> key_mode_on = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers use them");
termios original_mode = {};
termios key_mode = {};

void handle(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

void handle_unless_ignored(int signal, void (*handler)(int)) {
  struct sigaction before = {};
  if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) handle(signal, handler);
}

// Safe in a signal handler. A process that went to the background meanwhile must not be stopped for the change.
template <class Change>
bool change_in_foreground(Change change) {
  if (!in_foreground(STDIN_FILENO)) return false;
  sigset_t stop;
  sigset_t before;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &stop, &before);
  const bool changed = change() == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return changed;
}

bool set_mode(const termios& mode) {
  return change_in_foreground([&mode] { return ::tcsetattr(STDIN_FILENO, TCSANOW, &mode); });
}

void put_mode_back() {
  // In the background the terminal has another owner, who has set it up for itself.
  if (key_mode_on.exchange(false)) static_cast<void>(set_mode(original_mode));
}

void take_key_mode() {
  if (key_mode_wanted && !key_mode_on) key_mode_on = set_mode(key_mode);
}

void die_of(int signal) {
  put_mode_back();
  handle(signal, SIG_DFL);
  // Blocked until the handler returns.
  raise(signal);
}

void on_interrupt(int signal) {
  const int error = errno;
  if (interrupt_seen.exchange(true)) die_of(signal);
  errno = error;
}

void on_stop(int signal) {
  const int error = errno;
  put_mode_back();
  handle(signal, SIG_DFL);
  sigset_t stop;
  sigset_t before;
  sigemptyset(&stop);
  sigaddset(&stop, signal);
  raise(signal);
  // The process stops here, and goes on here some day.
  pthread_sigmask(SIG_UNBLOCK, &stop, &before);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  handle(signal, on_stop);
  take_key_mode();
  errno = error;
}

void on_continue(int /*signal*/) {
  const int error = errno;
  // Whoever had the terminal meanwhile may have set it up anew.
  key_mode_on = false;
  take_key_mode();
  errno = error;
}

void prepare_key_mode() {
  if (::tcgetattr(STDIN_FILENO, &original_mode) != 0) return;
  key_mode = original_mode;
  key_mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  key_mode.c_cc[VMIN] = 1;
  key_mode.c_cc[VTIME] = 0;
  key_mode_wanted = true;
  for (const int signal : {SIGTERM, SIGHUP, SIGQUIT})
    handle_unless_ignored(signal, die_of);
  handle_unless_ignored(SIGTSTP, on_stop);
  handle(SIGCONT, on_continue);
  // Without it the terminal would stay as it is; there is nobody who could be told.
  static_cast<void>(std::atexit(put_mode_back));
}

}  // namespace

// A terminal that is not the controlling one has no background.
bool in_foreground(int descriptor) {
  const pid_t group = ::tcgetpgrp(descriptor);
  return group == -1 ? errno == ENOTTY : group == ::getpgrp();
}

void discard_input() {
  // Fails where standard input is no terminal: there is no keyboard then.
  static_cast<void>(change_in_foreground([] { return ::tcflush(STDIN_FILENO, TCIFLUSH); }));
}

bool enter_key_mode() {
  static std::once_flag once;
  std::call_once(once, prepare_key_mode);
  if (!key_mode_wanted || !in_foreground(STDIN_FILENO)) return false;
  take_key_mode();
  return key_mode_on;
}

void watch_for_interrupt() {
  static std::once_flag once;
  std::call_once(once, [] { handle_unless_ignored(SIGINT, on_interrupt); });
}

bool interrupt_pending() { return interrupt_seen; }

}  // namespace platform::host
