#include "platform/windows/terminal.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "platform/windows/scoped_resources.h"
#include "platform/windows/windows_headers.h"
#include "text/conversions.h"

namespace platform::windows {

namespace {

std::atomic<bool> ctrl_c_pressed = false;

// Runs on a thread of the system's. What it doesn't take goes to the default, which ends the process.
BOOL WINAPI on_control_event(DWORD event) {
  if (event != CTRL_C_EVENT) return FALSE;
  const bool pressed_before = ctrl_c_pressed.exchange(true);
  return pressed_before ? FALSE : TRUE;
}

// A program with a window can inherit numbers of handles that it doesn't have.
bool is_open(HANDLE handle) {
  return handle != nullptr && handle != INVALID_HANDLE_VALUE && GetFileType(handle) != FILE_TYPE_UNKNOWN;
}

bool is_console(HANDLE handle) {
  DWORD mode = 0;
  return is_open(handle) && GetConsoleMode(handle, &mode) != FALSE;
}

file_handle open_console_output() {
  return file_handle(CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr));
}

/// Standard error and standard input as they were given; without a standard error, the parent's console to write to.
class standard_handles {
 public:
  standard_handles() : error_(GetStdHandle(STD_ERROR_HANDLE)), input_(GetStdHandle(STD_INPUT_HANDLE)) {
    if (!is_open(error_)) join_console_of_parent();
    has_console_output_ = is_console(error_);
    has_console_input_ = !has_joined_console_ && is_console(input_);
    // After a failure the first Ctrl-C ends the process, which is no harm. Joining a console drops handlers, so this
    // comes last.
    SetConsoleCtrlHandler(on_control_event, TRUE);
  }

  [[nodiscard]] HANDLE error() const { return error_; }
  [[nodiscard]] HANDLE input() const { return input_; }
  [[nodiscard]] bool has_error() const { return is_open(error_); }
  [[nodiscard]] bool has_joined_console() const { return has_joined_console_; }
  [[nodiscard]] bool has_console_output() const { return has_console_output_; }
  [[nodiscard]] bool has_console_input() const { return has_console_input_; }

 private:
  void join_console_of_parent() {
    if (AttachConsole(ATTACH_PARENT_PROCESS) == FALSE) return;  // started without a console: there is nobody to tell
    has_joined_console_ = true;
    console_output_ = open_console_output();
    error_ = console_output_.get();
  }

  HANDLE error_;
  HANDLE input_;
  file_handle console_output_;
  bool has_joined_console_ = false;
  bool has_console_output_ = false;
  bool has_console_input_ = false;
};

const standard_handles& handles() {
  static const standard_handles found;
  return found;
}

void write_to_console(HANDLE console, std::wstring_view text) {
  // Older consoles refuse more at once.
  constexpr std::size_t units_per_call = 8192;
  while (!text.empty()) {
    const std::wstring_view part = text::utf16_prefix(text, units_per_call);
    DWORD written = 0;
    if (WriteConsoleW(console, part.data(), static_cast<DWORD>(part.size()), &written, nullptr) == FALSE) return;
    if (written == 0) return;
    text.remove_prefix(std::min<std::size_t>(written, text.size()));
  }
}

void write_to_file(HANDLE file, std::string_view text) {
  constexpr std::size_t bytes_per_call = 1 << 20;
  while (!text.empty()) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(text.size(), bytes_per_call));
    if (WriteFile(file, text.data(), wanted, &written, nullptr) == FALSE || written == 0) return;
    text.remove_prefix(std::min<std::size_t>(written, text.size()));
  }
}

}  // namespace

bool terminal::interactive() { return handles().has_console_output() && handles().has_console_input(); }

bool terminal::may_draw() { return handles().has_console_output() && !handles().has_joined_console(); }

int terminal::columns() {
  constexpr int unknown = 80;
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  if (!handles().has_console_output()) return unknown;
  if (GetConsoleScreenBufferInfo(handles().error(), &info) == FALSE) return unknown;
  const int width = info.srWindow.Right - info.srWindow.Left + 1;
  return width > 0 ? width : unknown;
}

void terminal::write(std::string_view text) {
  if (handles().has_console_output()) {
    write_to_console(handles().error(), text::wide_from_utf8(text));
  } else if (handles().has_error()) {
    write_to_file(handles().error(), text);
  }
}

wchar_t terminal::read_key(std::chrono::milliseconds timeout) {
  using std::chrono::milliseconds;
  constexpr milliseconds longest_wait = std::chrono::hours(24);  // far below the limits of the clock and of the call
  timeout = std::clamp(timeout, milliseconds::zero(), longest_wait);
  if (!handles().has_console_input()) {
    // No key will come; a caller that asks again and again must not spin.
    std::this_thread::sleep_for(timeout);
    return 0;
  }

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (true) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    const auto wait = static_cast<DWORD>(std::max(left, milliseconds::zero()).count());
    if (WaitForSingleObject(handles().input(), wait) != WAIT_OBJECT_0) return 0;

    INPUT_RECORD record = {};
    DWORD count = 0;
    if (ReadConsoleInputW(handles().input(), &record, 1, &count) == FALSE || count == 0) return 0;
    if (record.EventType != KEY_EVENT || record.Event.KeyEvent.bKeyDown == FALSE) continue;
    // Shift and its like have no character.
    if (const wchar_t key = record.Event.KeyEvent.uChar.UnicodeChar; key != 0) return key;
  }
}

void terminal::discard_keys() {
  if (!handles().has_console_input()) return;
  // After a failure the keys stay: they count as the answer then.
  static_cast<void>(FlushConsoleInputBuffer(handles().input()));
}

bool terminal::interrupted() {
  handles();  // from here on Ctrl-C is ours
  return ctrl_c_pressed;
}

}  // namespace platform::windows
