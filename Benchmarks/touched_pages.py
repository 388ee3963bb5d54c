"""The pages of a photo that a changed rating touches. In photos of cameras Exif and XMP stand on different ones."""
import collections
import subprocess
import sys

import contenders
from measuring import WORK, measurement
from samples import fresh_copy

PAGE = 4096


def pages_that_differ(before, after):
    return [at // PAGE for at in range(0, max(len(before), len(after)), PAGE)
            if before[at:at + PAGE] != after[at:at + PAGE]]


def rate_by_exiftool(paths, step):
    changes = [f"-{group}:Rating={step.rating}" for group in ("XMP", "EXIF")]
    subprocess.run(["exiftool", "-q", "-overwrite_original", *changes, *paths], check=True)


def touched(samples, rate):
    """{number of pages: of how many of these photos}"""
    paths = fresh_copy(samples, WORK)
    rate(paths, contenders.FIRST_RATING)
    before = [path.read_bytes() for path in paths]
    rate(paths, contenders.CHANGED_RATING)
    return collections.Counter(len(pages_that_differ(was, path.read_bytes())) for was, path in zip(before, paths))


def in_words(found):
    return ", ".join(f"{pages} in {count} of them" for pages, count in sorted(found.items()))


def check(options, photos):
    for samples in photos:
        different = samples.first(samples.kinds)
        by_exiftool = touched(different, rate_by_exiftool)
        by_program = touched(different, lambda paths, step: measurement(contenders.program(options, step, paths)))
        print(f"Pages that a changed rating touches, {different.count} photos of {samples.size}: by the program "
              f"{in_words(by_program)}; by exiftool, in Exif and XMP, {in_words(by_exiftool)}")
        if min(by_exiftool) < 2:
            sys.exit("The samples are not what cameras write: their Exif and XMP stand on one page.")
    print(flush=True)
