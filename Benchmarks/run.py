#!/usr/bin/env python3
"""Measures the program as a whole process, from the job file to its exit, beside the tools that people use today.

    Benchmarks/run.py --executable PATH --tools FOLDER [--rounds N] [--files N] [--on PLACE]... [PART]...

All contenders of a row work in turn on fresh copies of the same files, in every round; a figure is the median of the
rounds, unless its table says otherwise. Each tool that changes a file again does so on the files that it changed
itself. Works in build/bench, and in file systems in memory where it may mount them; leaves nothing behind. The tables
go to standard output, with a last one of the targets that were missed and of what couldn't be measured.
"""
import argparse
import os
import pathlib
import signal
import subprocess
import sys

import changes
import cold_cache
import contenders
import file_systems
import organizing
import overhead
import samples
import syncing
import system_calls
import touched_pages
from measuring import WORK, job, measurement, table, unavailable

PARTS = ("changes", "calls", "cold", "skipped", "empty", "organizing")


def parsed_options():
    parser = argparse.ArgumentParser(description="Measures the program beside the tools that people use today.")
    parser.add_argument("--executable", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--tools", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--files", type=int, default=1000, metavar="N",
                        help="small photos, and a twentieth as many large ones (default: 1000)")
    parser.add_argument("--on", action="append", choices=file_systems.NAMES,
                        help="where photos are changed: the machine's disk, or a file system in memory (default: all)")
    parser.add_argument("parts", nargs="*", choices=[*PARTS, []], metavar="PART",
                        help=", ".join(PARTS) + " (default: all)")
    options = parser.parse_args()
    options.executable = options.executable.resolve()
    options.tools = measurement.tools = options.tools.resolve()
    return options


def print_conditions(options):
    versions = [subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split("\n")[0]
                for command in (["exiv2", "--version"], ["exiftool", "-ver"])]
    print(f"{os.cpu_count()} cores, {options.rounds} rounds; {versions[0]}; exiftool {versions[1]}")
    for name in ("exiv2", "exiftool"):
        for step in (contenders.FIRST_RATING, contenders.MORE_TAGS[0]):
            print(" ".join(f'"{word}"' if " " in word else word
                           for word in getattr(contenders, name)(options, step, ["FILES"])))
    print("raw limit: first, copying each file's bytes by copy_file_range into a new one with one more block, syncing "
          "where the program does,\nand renaming it over; changed, 2 KB written in place\n", flush=True)


def bench_changes(options, results, photos):
    for name in options.on or file_systems.NAMES:
        try:
            with file_systems.opened(name) as place:
                changes.bench(options, results, place, photos)
                syncing.bench(options, place, photos[0])
        except unavailable as why:
            results.leave_out(f"changes on {name}{'' if name == 'disk' else ' in memory'}", why)


def bench_on_disk(part, options, results, photos):
    with file_systems.opened("disk") as place:
        part.bench(options, results, place, photos[0])


def main():
    options = parsed_options()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that what is mounted is unmounted
    file_systems.remove_work()
    (WORK / "home").mkdir(parents=True)
    print_conditions(options)
    results = table()
    measurement(job(options.executable, "set_rating", "4", []))  # the settings are there from now on
    photos = samples.small_and_large(options.files)
    touched_pages.check(options, photos)
    parts = {"changes": lambda: bench_changes(options, results, photos),
             "calls": lambda: bench_on_disk(system_calls, options, results, photos),
             "cold": lambda: bench_on_disk(cold_cache, options, results, photos),
             "skipped": lambda: overhead.bench_skipped_items(options, results),
             "empty": lambda: overhead.bench_empty_job(options, results),
             "organizing": lambda: organizing.bench(options, results, *photos)}
    for name in options.parts or PARTS:
        try:
            parts[name]()
        except unavailable as why:
            results.leave_out(name, why)
        results.show()
    results.sum_up()
    file_systems.remove_work()


if __name__ == "__main__":
    main()
