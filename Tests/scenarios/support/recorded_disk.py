"""A disk that writes down what reaches it: what it held at any moment can be mounted afterwards, as after a power cut.

A copy of the image of a loop device tells less, since it isn't taken at one instant. No write waits here either: what
the system hasn't sent to the disk yet isn't in the record.
"""
import bisect
import dataclasses
import mmap
import os
import pathlib
import shutil
import subprocess
import sys

from support import disks
from support.disk_server import READING, RECORD, WRITING

SERVER = pathlib.Path(__file__).with_name("disk_server.py")
WORKING, UNREADABLE, UNWRITABLE, GONE = 0, READING, WRITING, READING | WRITING


class recorded_disk:
    """A file system on such a disk, mounted on a folder for the rest of the test."""

    def __init__(self, test, kind, folder, size=0, options=()):
        self.folder, self.kind, self.options = folder, kind, options
        scratch = disks.scratch_folder(test, 4 * max(size, disks.MAKERS[kind][1]))
        self.image = scratch / "disk.img"
        disks.make_image(kind, self.image, size)
        copy_sparse(self.image, scratch / "first.img")
        self.point = scratch / "disk"
        self.point.touch()
        state = scratch / "disk.img.state"
        state.write_bytes(bytes([WORKING]))
        with open(state, "r+b") as file:
            self.state = mmap.mmap(file.fileno(), 1)
        self.serve(test)
        disks.mount(test, self.point, folder, *options)

    def serve(self, test):
        self.server = subprocess.Popen([sys.executable, str(SERVER), str(self.image), str(self.point)],
                                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        test.addCleanup(self.stop)
        if self.server.stdout.readline() != b"serving\n":
            words = self.server.stderr.read().decode("utf-8", "replace").strip()
            test.skipTest(f"this machine mounts no FUSE file system ({words.splitlines()[-1]})")

    def remount(self):
        """Mounts it anew: nothing of it is in memory then."""
        disks.unmount(self.folder)
        words = disks.mount_words(self.point, self.folder, *self.options)
        if words:
            raise OSError(words)

    def stop(self):
        """Unmounts it and ends the record."""
        disks.unmount(self.folder)
        disks.unmount(self.point)
        self.server.communicate(timeout=60)

    def fail(self, accesses):
        """From now on these accesses end in an I/O error."""
        self.state[0] = accesses

    def position(self):
        """How long the record is by now."""
        return os.path.getsize(f"{self.image}.log")

    def record(self):
        return record(self.image.with_name("first.img"), pathlib.Path(f"{self.image}.log"))


@dataclasses.dataclass
class entry:
    """One write, or a flush, which has no size."""
    seconds: float
    at: int  # where its header stands in the record
    offset: int
    size: int


class record:
    """What reached a disk, in order. A moment is the number of the first entry that didn't reach it any more."""

    def __init__(self, first_image, log):
        self.log = open(log, "rb", buffering=0)
        self.entries = list(self.read_entries())
        self.flushes = [number for number, found in enumerate(self.entries) if not found.size]
        self.working = first_image  # has every entry below `applied`
        self.applied = 0

    def read_entries(self):
        at = 0
        while header := os.pread(self.log.fileno(), RECORD.size, at):
            nanoseconds, offset, size = RECORD.unpack(header)
            yield entry(nanoseconds / 1e9, at, offset, size)
            at += RECORD.size + size

    def moment_at(self, position):
        """The moment at which the record had this length."""
        return bisect.bisect_left([found.at for found in self.entries], position)

    def moment_after(self, seconds):
        """The moment at this time of the monotonic clock."""
        return bisect.bisect_left([found.seconds for found in self.entries], seconds)

    def write_image(self, moment, image, chance=None):
        """The disk as a power cut at the moment leaves it. With `chance`, a random.Random, each write since the last
        flush is there or not, as with a disk that has a cache of its own. One moment after the other, never back."""
        flushes = bisect.bisect_left(self.flushes, moment)
        flushed = self.flushes[flushes - 1] if flushes else 0
        self.apply(self.working, range(self.applied, flushed))
        self.applied = max(self.applied, flushed)
        copy_sparse(self.working, image)
        self.apply(image, (number for number in range(self.applied, moment) if not chance or chance.random() < 0.5))

    def apply(self, image, numbers):
        with open(image, "r+b", buffering=0) as disk:
            for number in numbers:
                written = self.entries[number]
                os.pwrite(disk.fileno(), os.pread(self.log.fileno(), written.size, written.at + RECORD.size),
                          written.offset)


def copy_sparse(source, target):
    subprocess.run(["cp", "--sparse=auto", str(source), str(target)], check=True)
