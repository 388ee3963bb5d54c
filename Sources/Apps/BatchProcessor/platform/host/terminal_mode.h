// The keyboard's mode and the signals that have to do with it. One terminal for each process: standard input.
#pragma once

namespace platform::host {

/// Has keys arrive at once and without echo, from now on to the end of the process; the mode that was there is put
/// back at exit, when the process is stopped, and before a signal ends it. False while that can't be: standard input is
/// no terminal, or the process is in its background.
[[nodiscard]] bool enter_key_mode();

/// True unless the descriptor is the terminal of this process and another process group has its foreground.
[[nodiscard]] bool in_foreground(int descriptor);

/// Drops what was typed and not read yet, also while lines are still edited. In the background what was typed is for
/// others, and stays.
void discard_input();

/// From the first call on, the first Ctrl-C only sets what interrupt_pending() tells, and the second one ends the
/// process. A process that was started to ignore it goes on doing so.
void watch_for_interrupt();

[[nodiscard]] bool interrupt_pending();

}  // namespace platform::host
