"""File systems of a test's own, each in an image file and mounted while the test runs."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time
import unittest

from support import machines

MEMORY = pathlib.Path("/dev/shm")
SYSTEM_PATH = "/usr/sbin:/sbin:/usr/bin:/bin"

# The program that makes each, with its options, and the smallest image that it takes.
MAKERS = {
    "ext4": (("mkfs.ext4", "-q", "-m", "0", "-b", "4096"), 16 << 20),
    "xfs": (("mkfs.xfs", "-q"), 320 << 20),
    "btrfs": (("mkfs.btrfs", "-q"), 128 << 20),
    "vfat": (("mkfs.vfat",), 8 << 20),
}


def scratch_folder(test, size):
    """A folder for image files that goes with the test: in memory where there is so much room, else beside the test."""
    base = test.folder
    if MEMORY.is_dir() and shutil.disk_usage(MEMORY).free > size:
        base = MEMORY
    folder = pathlib.Path(tempfile.mkdtemp(prefix=f"{test.machine.name}-", dir=base))
    test.addCleanup(shutil.rmtree, folder)
    return folder


def make_image(kind, image, size=0):
    """Makes a file system in a new file, which takes no more room than what is in it."""
    command, smallest = MAKERS[kind]
    maker = shutil.which(command[0], path=SYSTEM_PATH)
    if not maker:
        raise unittest.SkipTest(f"this machine has no {command[0]}")
    with open(image, "wb") as file:
        file.truncate(max(size, smallest))
    subprocess.run([maker, *command[1:], str(image)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)


def mount_words(image, folder, *options):
    """Mounts an image; what the system says against it, and nothing when it is mounted."""
    ran = subprocess.run(["mount", "-o", ",".join(("loop", *options)), str(image), str(folder)],
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    return "" if ran.returncode == 0 else ran.stderr.strip() or "mount failed"


def mount(test, image, folder, *options):
    """Mounts an image for the rest of the test, which is skipped where that isn't allowed."""
    words = mount_words(image, folder, *options)
    if words:
        test.skipTest(f"this machine mounts no such file system ({words.splitlines()[0]}); unit tests stand in for it "
                      "with injected faults")
    test.addCleanup(unmount, folder)


def unmount(folder, seconds=10):
    """Also of a file system that still was in use a moment ago; nothing where none is mounted."""
    end = time.monotonic() + seconds
    while os.path.ismount(folder):
        ran = subprocess.run(["umount", str(folder)], stderr=subprocess.PIPE, text=True)
        if ran.returncode != 0 and time.monotonic() > end:
            raise OSError(f"umount {folder}: {ran.stderr.strip()}")
        if ran.returncode != 0:
            time.sleep(0.1)


def sync(folder):
    """Brings all of one file system to its disk."""
    subprocess.run(["sync", "--file-system", str(folder)], check=True)


def make_and_mount(test, kind, size=0, *options):
    """A new file system on a folder of the test's, which is returned."""
    folder = test.folder / "disk"
    folder.mkdir()
    image = scratch_folder(test, max(size, MAKERS[kind][1])) / "disk.img"
    make_image(kind, image, size)
    mount(test, image, folder, *options)
    return folder


def fill(folder):
    """Leaves no byte of room, in a file "filler" whose path is returned."""
    filler = folder / "filler"
    with open(filler, "wb", buffering=0) as file:
        while write_to_the_end(file):
            try:
                os.fsync(file.fileno())  # gives back room that was set apart for the writes
            except OSError:
                break  # over quota: what couldn't be written isn't wanted
    return filler


def write_to_the_end(file):
    """Writes until nothing goes in any more; how much that was."""
    written = 0
    for size in (1 << 16, 1 << 12, 1):
        try:
            while True:
                written += file.write(b"\0" * size)
        except OSError:
            continue  # no room for so much
    return written
