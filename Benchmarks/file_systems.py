"""The places where files are changed: the machine's own disk, and file systems in memory where they may be mounted."""
import contextlib
import dataclasses
import os
import pathlib
import shutil
import subprocess
import tempfile

from measuring import WORK, unavailable

MEMORY = "/dev/shm"
MOUNT_POINT = WORK / "mounted"
# As their own programs make them by default.
MAKERS = {"ext4": ["mkfs.ext4", "-q"], "xfs": ["mkfs.xfs", "-q"], "btrfs": ["mkfs.btrfs", "-q"]}
NAMES = ("disk", *MAKERS)
IMAGE_SIZE = 3 << 30
MEMORY_NEEDED = 2 * IMAGE_SIZE  # what is on the image can be in the page cache as well


@dataclasses.dataclass
class place:
    kind: str
    name: str
    details: str
    folder: pathlib.Path


def run(*command):
    try:
        ran = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    except FileNotFoundError:
        raise unavailable(f"{command[0]} is not installed") from None
    if ran.returncode != 0:
        raise unavailable(" ".join(ran.stdout.split()) or f"{command[0]} ended with {ran.returncode}")
    return ran.stdout.strip()


def described(folder, where):
    kind, device, options = run("findmnt", "-n", "-o", "FSTYPE,SOURCE,OPTIONS", "-T", str(folder)).split(maxsplit=2)
    return place(kind, f"{kind} {where}", f"{device}, {options}", folder)


def available_memory():
    for line in pathlib.Path("/proc/meminfo").read_text().splitlines():
        if line.startswith("MemAvailable:"):
            return int(line.split()[1]) * 1024
    return 0


def look_for_room():
    room = shutil.disk_usage(MEMORY).free if os.path.isdir(MEMORY) else 0
    if min(room, available_memory()) < MEMORY_NEEDED:
        raise unavailable(f"{MEMORY} has {room >> 20} MB and the machine {available_memory() >> 20} MB free, not "
                          f"{MEMORY_NEEDED >> 20}")


def mount_image(kind):
    with tempfile.NamedTemporaryFile(dir=MEMORY, prefix="bench_", suffix=f".{kind}") as image:
        image.truncate(IMAGE_SIZE)
        run(*MAKERS[kind], image.name)
        run("mount", "-o", "loop", "-t", kind, image.name, str(MOUNT_POINT))
    # The image has no name any more, and is gone with the mount.


def unmount():
    # Lazily, as a tool of a run that was cut short may still be at work there.
    subprocess.run(["umount", "--lazy", str(MOUNT_POINT)], check=True)


@contextlib.contextmanager
def in_memory(kind):
    if os.geteuid() != 0:
        raise unavailable("mounting needs root")
    look_for_room()
    MOUNT_POINT.mkdir(exist_ok=True)
    mount_image(kind)
    try:
        yield described(MOUNT_POINT, "in memory")
    finally:
        unmount()


@contextlib.contextmanager
def opened(name):
    """The place of that name: `disk`, or a kind of file system."""
    if name == "disk":
        yield described(WORK, "on the machine's disk")
    else:
        with in_memory(name) as found:
            yield found


def remove_work():
    """Also what a killed run left mounted."""
    if MOUNT_POINT.is_mount():
        unmount()
    shutil.rmtree(WORK, ignore_errors=True)
