#!/usr/bin/env python3
"""Measures the program as a whole process, from the job file to its exit, beside the tools that people use today.

    Benchmarks/run.py --executable PATH --tools FOLDER [--rounds N] [PART]...

All contenders of a row work in turn on fresh copies of the same files, in every round; a figure is the median of the
rounds, unless its table says otherwise. Each tool that changes a rating again does so on the files that it rated
itself. Works in build/bench and leaves nothing behind; the table goes to standard output.
"""
import argparse
import os
import pathlib
import shutil
import subprocess

import organizing
from measuring import WORK, job, least, measurement, median, progress, table

CONVERT = shutil.which("convert", path="/usr/bin") or "convert"  # /usr/local may hold a stand-in


# Samples

def make_samples(name, count, kinds, pixels, quality):
    """`count` JPEGs with the Exif of a camera, of `kinds` different contents."""
    folder = WORK / name
    if folder.exists():
        return folder
    progress(f"making {count} sample pictures: {name}")
    making = WORK / "making"
    making.mkdir()
    for kind in range(kinds):
        path = making / f"{kind}.jpg"
        subprocess.run([CONVERT, "-seed", str(kind), "-size", pixels, "plasma:tomato-steelblue", "-strip", "-quality",
                        str(quality), str(path)], check=True)
        subprocess.run(["exiftool", "-q", "-overwrite_original", "-Make=Some Maker", "-Model=Model 1",
                        "-Orientation#=1", "-DateTimeOriginal=2026:03:01 10:20:30", "-ExposureTime=1/250",
                        "-FNumber=2.8", "-ISO=100", "-GPSLatitude=48.1", "-GPSLatitudeRef=N", "-GPSLongitude=11.5",
                        "-GPSLongitudeRef=E", str(path)], check=True)
    for number in range(count):
        shutil.copy(making / f"{number % kinds}.jpg", making / f"picture {number:04}.jpg")
    for kind in range(kinds):
        (making / f"{kind}.jpg").unlink()
    making.rename(folder)
    return folder


def fresh_copy(samples):
    folder = WORK / "copy"
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(samples, folder)
    os.sync()
    return [str(path) for path in sorted(folder.iterdir())]


# Pictures: who changes them, by which command, for the first time and again.

def contenders(executable, tools, work):
    if work == "rating":
        return {
            "program": lambda paths, again: job(executable, "set_rating", "2" if again else "4", paths),
            "exiv2": lambda paths, again: ["exiv2", "-M", f"set Xmp.xmp.Rating {2 if again else 4}", *paths],
            "exiftool": lambda paths, again: ["exiftool", "-q", "-overwrite_original",
                                              f"-Rating={2 if again else 4}", *paths],
            "raw": lambda paths, again: [str(tools / "raw_limits"), "in_place" if again else "rewrite", *paths],
        }
    return {
        "program": lambda paths, again: job(executable, "update_tags", "+sea" if again else "+beach", paths),
        "exiv2": lambda paths, again: ["exiv2", "-M", f"add Xmp.dc.subject XmpBag {'sea' if again else 'beach'}",
                                       *paths],
        "exiftool": lambda paths, again: ["exiftool", "-q", "-overwrite_original",
                                          f"-Subject+={'sea' if again else 'beach'}", *paths],
        "raw": lambda paths, again: [str(tools / "raw_limits"), "in_place" if again else "rewrite", *paths],
    }


def measure_pictures(commands, samples, rounds):
    """{(name, again): [measurement of each round]}"""
    found = {(name, again): [] for name in commands for again in (False, True)}
    for number in range(rounds):
        progress(f"{samples.name}: round {number + 1} of {rounds}")
        for name, command in commands.items():
            paths = fresh_copy(samples)
            for again in (False, True):
                found[name, again].append(measurement(command(paths, again)))
                os.sync()
    shutil.rmtree(WORK / "copy")
    return found


def bench_pictures(options, results, small, large):
    print("Pictures: files a second (median of the rounds), and KB that a file costs to write\n")
    columns = "{:<10} {:<24} {:<7} {:>14} {:>14} {:>14} {:>14} {:>10}"
    print(columns.format("work", "files", "", "program", "exiv2", "exiftool", "raw limit", "KB a file"))
    for work in ("rating", "tags"):
        for samples in (small, large):
            found = measure_pictures(contenders(options.executable, options.tools, work), samples, options.rounds)
            count = len(list(samples.iterdir()))
            for again in (False, True):
                seconds = {name: median(found[name, again]) for name in ("program", "exiv2", "exiftool", "raw")}
                written = median(found["program", again], "written") / count
                name = f"{'changed' if again else 'first'} {work}, {samples.name}"
                print(columns.format(work, samples.name, "changed" if again else "first",
                                     *(f"{count / value:.0f}" for value in seconds.values()), f"{written / 1000:.1f}"))
                ratio = seconds["exiv2"] / seconds["program"]
                if samples is small:
                    results.add_ratio(name, "exiv2", 5 if again else 2, ratio)
                    if not again:
                        results.add_ratio(name, "exiftool", 3, seconds["exiftool"] / seconds["program"])
                else:
                    results.add_ratio(name, "exiv2", 30 if again else 1.5, ratio)
                    if again:
                        results.add_limit(name + ", written per file", 8, written / 1024, "KB")
    print()


def bench_skipped_items(options, results):
    folder = WORK / "skipped"
    folder.mkdir(exist_ok=True)
    paths = [folder / f"file {number:03}.unknown" for number in range(1000)]
    for path in paths:
        path.write_text("something of another program\n")
    processors = os.sched_getaffinity(0)
    # Program and yardstick alike: what the system's scheduler does doubles runs as short as these.
    os.sched_setaffinity(0, {max(processors)})
    print("Items of an unsupported type (1,000 small files, named again and again; best of the rounds, one processor)\n")
    columns = "{:>10} {:>12} {:>16} {:>12} {:>18}"
    print(columns.format("items", "seconds", "us an item", "peak MB", "log alone, s"))
    cost = {}
    for count in (1000, 10_000, 100_000, 1_000_000):
        progress(f"{count} skipped items")
        runs, loops = [], []
        for _ in range(options.rounds if count < 1_000_000 else min(options.rounds, 3)):
            shutil.rmtree(WORK / "home", ignore_errors=True)
            runs.append(measurement(job(options.executable, "set_rating", "4", [paths[number % 1000]
                                                                                for number in range(count)])))
            log, = (WORK / "home").glob("*/*/*/*/Logs/*.log")
            copy = WORK / "log copy"
            copy.unlink(missing_ok=True)
            loops.append(measurement([str(options.tools / "log_lines"), str(log), str(copy)]))
            copy.unlink()
        seconds, alone, peak = least(runs), least(loops), median(runs, "peak") / 1e6
        cost[count] = seconds / count
        print(columns.format(count, f"{seconds:.3f}", f"{seconds / count * 1e6:.2f}", f"{peak:.1f}",
                             f"{alone:.3f}"))
        if count == 100_000:
            ratio = seconds / alone
            results.add("100,000 skipped items", "at most 3 times the log alone", f"{ratio:.2f} times", ratio <= 3)
            results.add_limit("100,000 skipped items, peak memory", 100, peak, "MB")
    growth = cost[1_000_000] / cost[100_000]
    results.add("1,000,000 skipped items, an item's cost", "at most 1.2 times that at 100,000", f"{growth:.2f} times",
                growth <= 1.2)
    os.sched_setaffinity(0, processors)
    print()


def bench_empty_job(options, results):
    progress("empty job")
    measurement(job(options.executable, "set_rating", "4", []))  # the settings are there from now on
    runs, yardstick = [], []
    for _ in range(10 * options.rounds):
        runs.append(measurement(job(options.executable, "set_rating", "4", [])))
        yardstick.append(measurement(["exiv2", "--version"]))
    print(f"An empty job: {median(runs) * 1000:.1f} ms; exiv2 --version: {median(yardstick) * 1000:.1f} ms\n")
    ratio = median(runs) / median(yardstick)
    results.add("an empty job, start to exit", "at most 2 times exiv2 --version", f"{ratio:.2f} times", ratio <= 2)
    results.add_limit("an empty job, peak memory", 20, median(runs, "peak") / 1e6, "MB")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--executable", type=pathlib.Path, required=True)
    parser.add_argument("--tools", type=pathlib.Path, required=True, help="where log_lines, measure and raw_limits stand")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("parts", nargs="*", help="pictures, skipped, empty, organizing; all of them by default")
    options = parser.parse_args()
    options.executable = options.executable.resolve()
    options.tools = measurement.tools = options.tools.resolve()
    shutil.rmtree(WORK, ignore_errors=True)
    (WORK / "home").mkdir(parents=True)

    versions = [subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split("\n")[0]
                for command in (["exiv2", "--version"], ["exiftool", "-ver"])]
    print(f"{os.cpu_count()} cores, {options.rounds} rounds; {versions[0]}; exiftool {versions[1]}")
    print("""rating: exiv2 -M"set Xmp.xmp.Rating 4" FILES, exiftool -q -overwrite_original -Rating=4 FILES
tags:   exiv2 -M"add Xmp.dc.subject XmpBag beach" FILES, exiftool -q -overwrite_original -Subject+=beach FILES
raw limit: first, reading each file and writing its bytes to a new one; changed, 2 KB written in place
""")
    results = table()
    small = make_samples("1,000 JPEGs of 100 KB", 1000, 10, "420x315", 95)
    large = make_samples("50 JPEGs of 8 MB", 50, 2, "4200x3150", 95)
    parts = {"pictures": lambda: bench_pictures(options, results, small, large),
             "skipped": lambda: bench_skipped_items(options, results),
             "empty": lambda: bench_empty_job(options, results),
             "organizing": lambda: organizing.bench(options, results, small, large)}
    for name in options.parts or parts:
        parts[name]()
    results.show()
    shutil.rmtree(WORK)


if __name__ == "__main__":
    main()
