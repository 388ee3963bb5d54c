"""Reads the program's log."""
import dataclasses
import re

PREFIX = re.compile(r"\[(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{7})\] \[P:(\d+) T:(\d+)\] "
                    r"\[(DEBUG|INFO|WARNING|ERROR|CRITICAL|UNKNOWN)\] (.*)")


@dataclasses.dataclass
class line:
    """One line of the log; further lines of a message of several stand in it too."""
    time: str
    process: int
    thread: int
    level: str
    message: str


def parse(text):
    lines = []
    for row in text.removesuffix("\n").split("\n"):
        match = PREFIX.fullmatch(row)
        if match:
            time, process, thread, level, message = match.groups()
            lines.append(line(time, int(process), int(thread), level, message))
        elif lines:
            lines[-1].message += "\n" + row
        elif row:
            raise ValueError(f"the log begins with a line without prefix: {row!r}")
    return lines


def read(folder):
    """The lines of all logs in a log folder, oldest day first."""
    found = []
    for path in sorted(folder.glob("*.log")):
        found += parse(path.read_text("utf-8"))
    return found
