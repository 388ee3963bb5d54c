#include "platform/host/terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using clock_type = std::chrono::steady_clock;
using platform::host::terminal;

constexpr std::chrono::milliseconds patience = 10s;

// Runs `body` in a child whose standard streams are a pseudo terminal; the test holds its other end.
class terminal_child {
 public:
  explicit terminal_child(const std::function<void(terminal&)>& body) {
    const winsize size = {25, 132, 0, 0};
    int other_end = -1;
    // The test keeps a descriptor of the terminal itself: its mode outlives the child with that.
    if (::openpty(&master_, &other_end, nullptr, nullptr, &size) != 0) return;
    slave_ = other_end;
    // Else the child would write the test run's pending output a second time, to its terminal.
    std::fflush(nullptr);
    child_ = ::fork();
    if (child_ != 0) return;
    ::close(master_);
    ::login_tty(other_end);
    for (const int signal : {SIGINT, SIGQUIT, SIGTSTP})
      std::signal(signal, SIG_DFL);
    terminal terminal;
    body(terminal);
    std::exit(0);
  }
  terminal_child(const terminal_child&) = delete;
  terminal_child& operator=(const terminal_child&) = delete;
  ~terminal_child() {
    if (child_ > 0 && !reaped_) {
      ::kill(child_, SIGKILL);
      ::waitpid(child_, nullptr, 0);
    }
    ::close(master_);
    ::close(slave_);
  }

  void type(std::string_view keys) const {
    ASSERT_EQ(::write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  // What the terminal shows, until `text` has come; what came without it when patience is over.
  std::string shown_until(std::string_view text) {
    const auto end = clock_type::now() + patience;
    while (shown_.find(text) == std::string::npos && clock_type::now() < end) {
      pollfd ready = {master_, POLLIN, 0};
      char buffer[256];
      if (::poll(&ready, 1, 50) <= 0) continue;
      const ssize_t count = ::read(master_, buffer, sizeof(buffer));
      if (count <= 0) break;
      shown_.append(buffer, static_cast<std::size_t>(count));
    }
    return shown_;
  }

  [[nodiscard]] bool mode_has(tcflag_t flag) const {
    termios mode = {};
    return ::tcgetattr(slave_, &mode) == 0 && (mode.c_lflag & flag) != 0;
  }

  // The child's wait status; SIGKILL as its end if it doesn't come.
  int wait(int options = 0) {
    const auto end = clock_type::now() + patience;
    int status = 0;
    while (::waitpid(child_, &status, WNOHANG | options) == 0) {
      if (clock_type::now() > end) {
        ADD_FAILURE() << "the child goes on";
        ::kill(child_, SIGKILL);
      }
      std::this_thread::sleep_for(5ms);
    }
    reaped_ = WIFEXITED(status) || WIFSIGNALED(status);
    return status;
  }

  [[nodiscard]] pid_t id() const { return child_; }

 private:
  int master_ = -1;
  int slave_ = -1;
  pid_t child_ = -1;
  bool reaped_ = false;
  std::string shown_;
};

void say(terminal& terminal, wchar_t key) { terminal.write("<" + std::to_string(static_cast<int>(key)) + ">"); }

// Enters the key mode and says so.
void get_ready(terminal& terminal) {
  static_cast<void>(terminal.read_key(0ms));
  terminal.write("ready");
}

// What the test types comes some time later.
void wait_for_typed_text() {
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  if (::poll(&input, 1, static_cast<int>(patience.count())) != 1) std::_Exit(9);
}

[[nodiscard]] bool ended_well(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }

TEST(terminal, is_interactive_with_the_width_of_its_window) {
  terminal_child child([](terminal& terminal) {
    terminal.write(terminal.interactive() ? "interactive " : "mute ");
    terminal.write(std::to_string(terminal.columns()) + " columns");
  });
  EXPECT_EQ(child.shown_until("columns"), "interactive 132 columns");
  EXPECT_TRUE(ended_well(child.wait()));
}

TEST(terminal, may_draw_without_a_keyboard_and_not_into_a_file) {
  for (const int descriptor : {STDIN_FILENO, STDERR_FILENO}) {
    terminal_child child([descriptor](terminal& terminal) {
      if (!terminal.may_draw()) std::_Exit(3);
      ::close(descriptor);
      if (::open("/dev/null", O_RDWR) != descriptor) std::_Exit(2);
      const bool may_draw = descriptor == STDIN_FILENO;
      std::_Exit(terminal.may_draw() == may_draw && !terminal.interactive() ? 0 : 1);
    });
    EXPECT_TRUE(ended_well(child.wait())) << descriptor;
  }
}

TEST(terminal, in_the_background_may_not_draw_nor_drop_what_is_typed_for_others) {
  terminal_child child([](terminal& terminal) {
    terminal.write("ready");
    wait_for_typed_text();
    const pid_t job = ::fork();
    if (job == 0) {
      ::setpgid(0, 0);
      if (terminal.may_draw()) std::_Exit(1);
      terminal.discard_keys();
      std::_Exit(terminal.interactive() ? 0 : 2);
    }
    int status = 0;
    ::waitpid(job, &status, WUNTRACED);
    if (!ended_well(status)) std::_Exit(3);
    std::_Exit(terminal.may_draw() && terminal.read_key(0ms) == L'y' ? 0 : 4);
  });
  child.shown_until("ready");
  child.type("y\n");
  EXPECT_TRUE(ended_well(child.wait()));
}

TEST(terminal, discards_what_was_typed_before_keys_were_read_one_by_one) {
  terminal_child child([](terminal& terminal) {
    terminal.write("ready");
    wait_for_typed_text();
    terminal.discard_keys();
    terminal.write(" asked");
    say(terminal, terminal.read_key(patience));
  });
  child.shown_until("ready");
  child.type("o\n");
  child.shown_until("asked");
  child.type("x");
  EXPECT_NE(child.shown_until(">").find("<120>"), std::string::npos);
}

TEST(terminal, discards_the_keys_typed_ahead) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    wait_for_typed_text();
    terminal.discard_keys();
    terminal.write(" asked");
    say(terminal, terminal.read_key(patience));
  });
  child.shown_until("ready");
  child.type("aoe");
  child.shown_until("asked");
  child.type("x");
  EXPECT_EQ(child.shown_until(">"), "ready asked<120>");
}

TEST(terminal, has_80_columns_and_is_not_interactive_when_standard_error_is_a_file) {
  terminal_child child([](terminal& terminal) {
    ::close(STDERR_FILENO);
    if (::open("/dev/null", O_WRONLY) != STDERR_FILENO) std::_Exit(2);
    std::_Exit(!terminal.interactive() && terminal.columns() == 80 ? 0 : 1);
  });
  EXPECT_TRUE(ended_well(child.wait()));
}

TEST(terminal, reads_a_key_without_enter_and_without_showing_it) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    say(terminal, terminal.read_key(patience));
  });
  EXPECT_EQ(child.shown_until("ready"), "ready");
  EXPECT_FALSE(child.mode_has(ECHO));
  EXPECT_FALSE(child.mode_has(ICANON));
  child.type("y");
  EXPECT_EQ(child.shown_until(">"), "ready<121>");
  EXPECT_TRUE(ended_well(child.wait()));
}

TEST(terminal, puts_the_mode_back_at_exit) {
  terminal_child child([](terminal& terminal) { get_ready(terminal); });
  EXPECT_TRUE(ended_well(child.wait()));
  EXPECT_TRUE(child.mode_has(ECHO));
  EXPECT_TRUE(child.mode_has(ICANON));
}

TEST(terminal, gives_a_key_of_several_bytes_as_one_character) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    say(terminal, terminal.read_key(patience));
    say(terminal, terminal.read_key(patience));
  });
  child.shown_until("ready");
  child.type("\xe2\x82\xac\xf0\x9f\x98\x80");
  EXPECT_EQ(child.shown_until("<128512>"), "ready<8364><128512>");
}

TEST(terminal, takes_no_letter_of_an_arrow_or_function_key_for_an_answer) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    say(terminal, terminal.read_key(patience));
  });
  child.shown_until("ready");
  child.type("\x1b[A\x1b[15;2~\x1bOPx");
  EXPECT_EQ(child.shown_until(">"), "ready<120>");
}

TEST(terminal, gives_the_escape_key) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    say(terminal, terminal.read_key(patience));
  });
  child.shown_until("ready");
  child.type("\x1b");
  EXPECT_EQ(child.shown_until(">"), "ready<27>");
}

TEST(terminal, waits_no_longer_than_asked_for_a_key) {
  terminal_child child([](terminal& terminal) {
    const auto start = clock_type::now();
    const wchar_t key = terminal.read_key(100ms);
    const auto took = clock_type::now() - start;
    std::exit(key == 0 && took >= 100ms && took < 5s ? 0 : 1);
  });
  EXPECT_TRUE(ended_well(child.wait()));
}

TEST(terminal, sleeps_instead_of_spinning_where_there_is_no_keyboard) {
  for (const char* input : {"/dev/null", "/dev/zero"}) {
    terminal_child child([input](terminal& terminal) {
      ::close(STDIN_FILENO);
      if (::open(input, O_RDONLY) != STDIN_FILENO) std::exit(2);
      const auto start = clock_type::now();
      const wchar_t key = terminal.read_key(100ms);
      std::exit(key == 0 && clock_type::now() - start >= 100ms ? 0 : 1);
    });
    EXPECT_TRUE(ended_well(child.wait())) << input;
  }
}

TEST(terminal, sleeps_instead_of_spinning_when_the_terminal_is_gone) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    // Not the controlling terminal: its end sends no signal.
    ::dup2(slave, STDIN_FILENO);
    terminal terminal;
    static_cast<void>(terminal.read_key(0ms));
    ::close(slave);
    ::close(master);
    const auto start = clock_type::now();
    for (int i = 0; i < 3; ++i)
      if (terminal.read_key(50ms) != 0) std::_Exit(2);
    std::_Exit(clock_type::now() - start >= 150ms ? 0 : 1);
  }
  ::close(master);
  ::close(slave);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(ended_well(status));
}

TEST(terminal, only_notes_the_first_ctrl_c) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    terminal.write(terminal.interrupted() ? " early" : " calm");
    while (!terminal.interrupted())
      static_cast<void>(terminal.read_key(10ms));
    terminal.write(" noted");
  });
  child.shown_until("calm");
  child.type("\x03");
  EXPECT_NE(child.shown_until("noted").find("ready calm"), std::string::npos);
  EXPECT_TRUE(ended_well(child.wait()));
  EXPECT_TRUE(child.mode_has(ECHO));
}

TEST(terminal, ends_the_process_at_the_second_ctrl_c_with_the_mode_put_back) {
  terminal_child child([](terminal& terminal) {
    get_ready(terminal);
    while (!terminal.interrupted())
      static_cast<void>(terminal.read_key(10ms));
    terminal.write(" noted");
    for (;;)
      static_cast<void>(terminal.read_key(1s));
  });
  child.shown_until("ready");
  child.type("\x03");
  child.shown_until("noted");
  EXPECT_FALSE(child.mode_has(ECHO));
  child.type("\x03");
  const int status = child.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  EXPECT_TRUE(child.mode_has(ECHO));
  EXPECT_TRUE(child.mode_has(ICANON));
}

TEST(terminal, watches_for_ctrl_c_from_the_first_question_without_reading_keys) {
  terminal_child child([](terminal& terminal) {
    terminal.write(terminal.interrupted() ? "early" : "calm");
    while (!terminal.interrupted())
      std::this_thread::sleep_for(5ms);
    terminal.write(" noted");
  });
  child.shown_until("calm");
  child.type("\x03");
  child.shown_until("noted");
  EXPECT_TRUE(ended_well(child.wait()));
}

TEST(terminal, goes_on_ignoring_ctrl_c_where_it_was_started_so) {
  terminal_child child([](terminal& terminal) {
    std::signal(SIGINT, SIG_IGN);
    get_ready(terminal);
    say(terminal, terminal.read_key(patience));
    terminal.write(terminal.interrupted() ? "interrupted" : "ignored");
  });
  child.shown_until("ready");
  child.type("\x03\x03q");
  EXPECT_NE(child.shown_until("ignored").find("<113>ignored"), std::string::npos);
}

TEST(terminal, puts_the_mode_back_when_a_signal_ends_the_process) {
  for (const int signal : {SIGTERM, SIGHUP, SIGQUIT}) {
    terminal_child child([](terminal& terminal) {
      get_ready(terminal);
      for (;;)
        static_cast<void>(terminal.read_key(1s));
    });
    child.shown_until("ready");
    EXPECT_FALSE(child.mode_has(ECHO));
    ::kill(child.id(), signal);
    const int status = child.wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_TRUE(child.mode_has(ECHO)) << signal;
  }
}

TEST(terminal, gives_the_mode_back_while_it_is_stopped_and_takes_it_again) {
  terminal_child child([](terminal& terminal) {
    // The part of a shell: a job of its own group in the foreground, and the terminal taken back when it stops.
    std::signal(SIGTTOU, SIG_IGN);
    const pid_t job = ::fork();
    if (job == 0) {
      ::setpgid(0, 0);
      ::tcsetpgrp(STDIN_FILENO, ::getpid());
      std::signal(SIGTTOU, SIG_DFL);
      get_ready(terminal);
      for (wchar_t key = 0; key != L'q'; key = terminal.read_key(patience))
        say(terminal, key);
      std::exit(0);
    }
    int status = 0;
    ::waitpid(job, &status, WUNTRACED);
    ::tcsetpgrp(STDIN_FILENO, ::getpgrp());
    terminal.write(WIFSTOPPED(status) ? "stopped" : "ended");
    char key = 0;
    if (::read(STDIN_FILENO, &key, 1) != 1) std::_Exit(2);
    ::tcsetpgrp(STDIN_FILENO, job);
    ::kill(-job, SIGCONT);
    ::waitpid(job, &status, 0);
    std::_Exit(ended_well(status) ? 0 : 1);
  });
  child.shown_until("ready");
  EXPECT_FALSE(child.mode_has(ECHO));
  child.type("\x1a");
  EXPECT_NE(child.shown_until("stopped").find("stopped"), std::string::npos);
  EXPECT_TRUE(child.mode_has(ECHO));
  EXPECT_TRUE(child.mode_has(ICANON));
  child.type("\n");
  for (int i = 0; i < 1000 && child.mode_has(ECHO); ++i)
    std::this_thread::sleep_for(5ms);
  EXPECT_FALSE(child.mode_has(ECHO));
  child.type("x");
  child.shown_until("<120>");
  child.type("q");
  EXPECT_TRUE(ended_well(child.wait()));
}

}  // namespace
