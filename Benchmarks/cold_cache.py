"""Changing photos that the system has nothing of in memory."""
import os
import pathlib

import contenders
from measuring import job, measurement, median, progress, unavailable
from samples import fresh_copy

PHOTOS = 600
BESIDE_EXIV2 = 3
DROP_CACHES = pathlib.Path("/proc/sys/vm/drop_caches")


def drop_caches():
    os.sync()
    try:
        DROP_CACHES.write_text("3\n")
    except OSError as failed:
        raise unavailable(f"{DROP_CACHES}: {failed.strerror}") from None


def bench(options, results, place, small):
    drop_caches()
    photos = small.first(PHOTOS)
    # Starting without photos brings a tool itself back into memory.
    starts = {"program": lambda: job(options.executable, "set_rating", "4", []),
              "exiv2": lambda: ["exiv2", "--version"]}
    runs = {(name, step): [] for step in contenders.WORKS["rating"] for name in starts}
    for number in range(options.rounds):
        progress(f"{photos}, cold: round {number + 1} of {options.rounds}")
        for name, start in starts.items():
            paths = fresh_copy(photos, place.folder)
            for step in contenders.WORKS["rating"]:
                drop_caches()
                measurement(start())
                runs[name, step].append(measurement(getattr(contenders, name)(options, step, paths)))
    print(f"The same with a cold cache, {photos} on {place.name}: files a second\n")
    for step in contenders.WORKS["rating"]:
        seconds = {name: median(runs[name, step]) for name in starts}
        ratio = seconds["exiv2"] / seconds["program"]
        cell = f"{ratio:.1f}x"
        if step is contenders.CHANGED_RATING:
            cell = results.judge(f"{step.name}, {photos}, cold, beside exiv2", cell, f">= {BESIDE_EXIV2}",
                                 ratio >= BESIDE_EXIV2)
        print(f"{step.name:<20} program {photos.count / seconds['program']:.0f}, exiv2 "
              f"{photos.count / seconds['exiv2']:.0f}, beside exiv2 {cell}")
    print(flush=True)
    results.mark_shown()
