"""A terminal that a program is run on: what it shows, and keys typed into it."""
import fcntl
import os
import pty
import select
import signal
import struct
import termios
import time


class terminal_run:
    """A program on a terminal of its own, which controls it: typed Ctrl-C arrives as an interrupt."""

    def __init__(self, command, environment, columns=100):
        self.shown = ""
        self.exit_status = None
        self.process, self.device = pty.fork()
        if self.process == 0:
            try:
                # A test run in the background ignores interrupts, and what it starts would do so too.
                signal.signal(signal.SIGINT, signal.SIG_DFL)
                fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
                os.execvpe(command[0], command, environment)
            finally:
                os._exit(127)

    def close(self):
        if self.exit_status is None:
            os.kill(self.process, 9)
            os.waitpid(self.process, 0)
        os.close(self.device)

    def type(self, keys):
        os.write(self.device, keys.encode())

    def read(self, seconds):
        """Takes in what is shown within the time. False when the program has closed the terminal."""
        if not select.select([self.device], [], [], seconds)[0]:
            return True
        try:
            data = os.read(self.device, 65536)
        except OSError:  # the other end is closed
            return False
        self.shown += data.decode("utf-8", "replace").replace("\r\n", "\n")
        return bool(data)

    def wait_for(self, text, seconds=30, times=1):
        """True once the text was shown, so many times."""
        end = time.monotonic() + seconds
        while self.shown.count(text) < times and time.monotonic() < end and self.read(0.1):
            pass
        return self.shown.count(text) >= times

    def wait(self, seconds=60):
        """The exit code, negative for a signal; None when the program is still running after the time."""
        end = time.monotonic() + seconds
        while self.exit_status is None and time.monotonic() < end:
            is_open = self.read(0.02)
            finished, status = os.waitpid(self.process, 0 if not is_open else os.WNOHANG)
            if finished:
                self.exit_status = os.waitstatus_to_exitcode(status)
        while self.exit_status is not None and select.select([self.device], [], [], 0)[0] and self.read(0):
            pass
        return self.exit_status
