"""What a run costs besides its changes: items that are passed over, and an empty job."""
import os
import shutil

from measuring import WORK, job, least, measurement, median, progress


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
