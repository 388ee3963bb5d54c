"""System calls for each photo: those of a run over twice as many photos less those of a run over so many."""
import collections
import os
import subprocess

import contenders
from measuring import environment, progress, unavailable
from samples import fresh_copy

PHOTOS = 100
AT_MOST = 20


def calls_of(command, place):
    """{name of the call: how often}"""
    summary = place.folder / "calls"
    subprocess.run(["strace", "-f", "-c", "-U", "calls,name", "-o", str(summary), *command], env=environment(),
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    rows = (line.split() for line in summary.read_text().splitlines())
    return collections.Counter({row[1]: int(row[0]) for row in rows
                                if len(row) == 2 and row[0].isdigit() and row[1] != "total"})


def calls_of_steps(options, place, samples):
    """{step: calls} over these photos."""
    found = {}
    for steps in contenders.WORKS.values():
        paths = fresh_copy(samples, place.folder)
        for step in steps:
            found[step] = calls_of(contenders.program(options, step, paths), place)
    return found


def look_for_strace():
    try:
        subprocess.run(["strace", "-o", os.devnull, "true"], stderr=subprocess.PIPE, check=True)
    except FileNotFoundError:
        raise unavailable("strace is not installed") from None
    except subprocess.CalledProcessError as failed:
        raise unavailable(failed.stderr.decode().strip()) from None


def bench(options, results, place, small):
    look_for_strace()
    progress("system calls")
    half = small.first(small.count // 2).first(PHOTOS)
    whole = small.first(2 * half.count)
    once, twice = calls_of_steps(options, place, half), calls_of_steps(options, place, whole)
    print(f"System calls for each photo on {place.name} ({whole.count} photos less {half.count})\n")
    for step in contenders.STEPS:
        calls = {name: (twice[step][name] - once[step][name]) / half.count for name in once[step] | twice[step]}
        total = sum(calls.values())
        cell = f"{total:.1f}"
        if step is contenders.CHANGED_RATING:
            cell = results.judge("system calls, changed rating", cell, f"<= {AT_MOST}", total <= AT_MOST)
        most = sorted(((count, name) for name, count in calls.items() if count >= 0.05), reverse=True)
        print(f"{step.name:<20} {cell:<17} " + " ".join(f"{name} {count:.1f}" for count, name in most))
    print(flush=True)
    results.mark_shown()
