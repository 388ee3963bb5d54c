"""Runs of whole processes, measured, and the table of what was to be reached."""
import json
import os
import pathlib
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "bench"


def environment():
    return {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(WORK / "home"),
            "XDG_DATA_HOME": str(WORK / "home")}


class measurement:
    """One run of a whole process: wall time in seconds, bytes that it wrote, peak memory in bytes."""
    tools = None  # the folder of the helper that measures

    def __init__(self, command):
        ran = subprocess.run([str(self.tools / "measure"), *command], env=environment(), stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=True)
        seconds, written, peak, code = ran.stdout.split()
        self.seconds, self.written, self.peak = float(seconds), int(written), int(peak) * 1024
        if code != "0" or ran.stderr:
            sys.exit(f"{command[0]} ended with {code}: {ran.stderr[:2000]}")


def job(executable, action, parameters, paths):
    """The command of a run over the paths. The job file is written before the clock starts."""
    path = WORK / "job.json"
    path.write_text(json.dumps({
        "version": "1", "job": {"guid": "bench", "action_type": action, "action_parameters": parameters},
        "files": [{"path": str(path)} for path in paths]}))
    return [str(executable), str(path)]


def progress(text):
    print(text, file=sys.stderr, flush=True)


class unavailable(Exception):
    """A part that this machine or this user can't measure. Its words say why."""


class table:
    """The rows with their targets, and the verdict on each."""

    def __init__(self):
        self.rows, self.shown, self.left_out = [], 0, []

    def add(self, work, to_reach, measured, reached):
        self.rows.append((work, to_reach, measured, "yes" if reached else "NO"))

    def add_ratio(self, work, whom, at_least, ratio):
        self.add(work, f"at least {at_least:g} times {whom}", f"{ratio:.1f} times", ratio >= at_least)

    def add_limit(self, work, below, value, unit):
        self.add(work, f"below {below:g} {unit}", f"{value:.1f} {unit}", value < below)

    def judge(self, work, measured, to_reach, reached):
        """The same for a cell of another table; answers what that cell says."""
        self.add(work, to_reach, measured, reached)
        return f"{measured} ({to_reach}{'' if reached else ': NO'})"

    def leave_out(self, part, why):
        self.left_out.append(f"{part}: {why}")
        print(f"NOT MEASURED: {part}: {why}\n", flush=True)

    def show(self):
        """The rows since the last time."""
        self.show_rows(self.rows[self.shown:])
        self.mark_shown()

    def mark_shown(self):
        self.shown = len(self.rows)

    def show_rows(self, rows):
        if not rows:
            return
        head = ("work", "to reach", "measured", "reached")
        widths = [max(len(row[column]) for row in [head, *rows]) for column in range(4)]
        for row in [head, tuple("-" * width for width in widths), *rows]:
            print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
        print(flush=True)

    def sum_up(self):
        missed = [row for row in self.rows if row[3] == "NO"]
        print(f"{len(self.rows) - len(missed)} of {len(self.rows)} targets reached.\n")
        self.show_rows(missed)
        for words in self.left_out:
            print(f"NOT MEASURED: {words}")


def median(measurements, what="seconds"):
    return statistics.median(getattr(one, what) for one in measurements)


def least(measurements):
    """Seconds of the best round. For runs so short that what else goes on doubles one: it only ever adds."""
    return min(one.seconds for one in measurements)
