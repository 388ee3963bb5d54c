"""Runs of whole processes, measured, and the table of what was to be reached."""
import json
import os
import pathlib
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "bench"


class measurement:
    """One run of a whole process: wall time in seconds, bytes that it wrote, peak memory in bytes."""
    tools = None  # the folder of the helper that measures

    def __init__(self, command):
        environment = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(WORK / "home"),
                       "XDG_DATA_HOME": str(WORK / "home")}
        ran = subprocess.run([str(self.tools / "measure"), *command], env=environment, stdin=subprocess.DEVNULL,
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


class table:
    """The rows with their targets, and the verdict on each."""

    def __init__(self):
        self.rows = []

    def add(self, work, to_reach, measured, reached):
        self.rows.append((work, to_reach, measured, "yes" if reached else "NO"))

    def add_ratio(self, work, whom, at_least, ratio):
        self.add(work, f"at least {at_least:g} times {whom}", f"{ratio:.1f} times", ratio >= at_least)

    def add_limit(self, work, below, value, unit):
        self.add(work, f"below {below:g} {unit}", f"{value:.1f} {unit}", value < below)

    def show(self):
        head = ("work", "to reach", "measured", "reached")
        widths = [max(len(row[column]) for row in [head, *self.rows]) for column in range(4)]
        for row in [head, tuple("-" * width for width in widths), *self.rows]:
            print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


def median(measurements, what="seconds"):
    return statistics.median(getattr(one, what) for one in measurements)


def least(measurements):
    """Seconds of the best round. For runs so short that what else goes on doubles one: it only ever adds."""
    return min(one.seconds for one in measurements)
