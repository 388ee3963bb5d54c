"""Changing photos on one file system: ratings and tags, for the first time and again."""
import os
import subprocess

import contenders
from change_table import change_table
from measuring import measurement, median, progress
from samples import fresh_copy


class figures:
    """Of one set of samples: the runs of each contender and step, and the share of photos that the program changed in
    place: those that are the same file afterwards."""

    def __init__(self):
        self.runs = {}
        self.in_place = {}

    def add(self, name, step, run):
        self.runs.setdefault((name, step), []).append(run)

    def seconds(self, name, step):
        return median(self.runs[name, step])

    def written(self, name, step):
        return median(self.runs[name, step], "written")


COMMANDS = {"program": contenders.program, "exiv2": contenders.exiv2, "exiftool": contenders.exiftool,
            "raw limit": contenders.raw_limit}


def file_numbers(paths):
    return [os.stat(path).st_ino for path in paths]


def change(options, found, name, command, steps, paths):
    for step in steps:
        before = file_numbers(paths)
        found.add(name, step, measurement(command(options, step, paths)))
        if name == "program":
            found.in_place[step] = sum(map(int.__eq__, before, file_numbers(paths))) / len(paths)
        os.sync()


def program_syncs(options, folder):
    said = subprocess.run([options.tools / "raw_replace", "--syncs", folder], stdout=subprocess.PIPE, text=True,
                          check=True)
    return said.stdout == "yes\n"


def measure(options, place, samples, syncs):
    """The contenders in turn, each on fresh copies."""
    found = figures()
    for number in range(options.rounds):
        progress(f"{place.name}, {samples}: round {number + 1} of {options.rounds}")
        for steps in contenders.WORKS.values():
            for name, command in COMMANDS.items():
                paths = fresh_copy(samples, place.folder)
                change(options, found, name, command, steps, paths)
                if number == 0 and name != "raw limit":
                    contenders.check_change(name, steps, paths[-1])
        if syncs:
            change(options, found, "unsynced", contenders.raw_limit_unsynced, [contenders.FIRST_RATING],
                   fresh_copy(samples, place.folder))
    return found


def bench(options, results, place, samples_of_sizes):
    syncs = program_syncs(options, place.folder)
    measured = [(samples, measure(options, place, samples, syncs)) for samples in samples_of_sizes]
    table = change_table(results, place)
    for step in contenders.STEPS:
        for samples, found in measured:
            table.add_row(step, samples, found)
    print()
    table.add_mean_of_patches([found for _, found in measured])
    for samples, found in measured:
        table.add_changed_tags(samples, found)
    for samples, found in measured:
        table.add_sync(samples, found, syncs)
    results.mark_shown()
