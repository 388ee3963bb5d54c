"""Processes that a program started, and killing them all at one instant."""
import os
import pathlib
import signal


def children(process):
    found = []
    for children in pathlib.Path("/proc", str(process), "task").glob("*/children"):
        try:
            found += map(int, children.read_text().split())
        except OSError:
            pass  # a thread that has just ended
    return found


def descendants(process):
    found = children(process)
    for child in list(found):
        found += descendants(child)
    return found


def kill_all(program):
    """Kills a program that leads a process group, the group, and whatever else it started."""
    others = descendants(program.pid)
    try:
        os.killpg(program.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass  # it has ended by itself
    for process in others:
        try:
            os.kill(process, signal.SIGKILL)
        except ProcessLookupError:
            pass
