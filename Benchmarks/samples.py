"""The photos that are changed, and fresh copies of them."""
import dataclasses
import os
import pathlib
import shutil
import subprocess

import camera_metadata
from measuring import WORK, progress

CONVERT = shutil.which("convert", path="/usr/bin") or "convert"  # /usr/local may hold a stand-in


@dataclasses.dataclass
class sample_set:
    size: str
    count: int
    kinds: int  # the first so many differ from each other
    folder: pathlib.Path

    def __str__(self):
        return f"{self.count:,} JPEGs of {self.size}"

    def paths(self):
        return sorted(self.folder.iterdir())

    def first(self, count):
        return dataclasses.replace(self, count=min(count, self.count))


def plasma(seed, pixels, quality, tile=None):
    """A JPEG of many colours, of tiles where it is large: plasma takes long."""
    return subprocess.run([CONVERT, "-seed", str(seed), "-size", tile or pixels, "plasma:tomato-steelblue", "-write",
                           "mpr:tile", "+delete", "-size", pixels, "tile:mpr:tile", "-strip", "-quality", str(quality),
                           "jpg:-"], stdout=subprocess.PIPE, check=True).stdout


def make_samples(size, count, kinds, pixels, tile=None):
    """`count` photos of `kinds` different contents. The thumbnails differ in size, and with them the place within its
    page at which the XMP begins."""
    progress(f"making {count} sample photos of {size}")
    folder = WORK / f"photos of {size}"
    folder.mkdir()
    contents = []
    for kind in range(min(kinds, count)):
        thumbnail = camera_metadata.padded(plasma(kind, "160x120", 90), 9_200 + 370 * kind)
        contents.append(camera_metadata.camera_photo(plasma(kind, pixels, 95, tile), thumbnail))
    for number in range(count):
        (folder / f"photo {number:04}.jpg").write_bytes(contents[number % len(contents)])
    return sample_set(size, count, len(contents), folder)


def small_and_large(count):
    return (make_samples("100 KB", count, 10, "336x252"),
            make_samples("8 MB", max(count // 20, 1), 2, "4048x3036", "1012x759"))


def fresh_copy(samples, place):
    """In the folder `copy` of the place. Synced, so that no contender pays for what was there before it."""
    folder = place / "copy"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    for path in samples.paths()[:samples.count]:
        shutil.copyfile(path, folder / path.name)
    os.sync()
    return sorted(folder.iterdir())
