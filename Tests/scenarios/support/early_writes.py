"""A process that has parts of other files written to the disk early, as a system short of memory does, and whatever its
file system knows of names and sizes, as any program that syncs a file of its own does."""
import ctypes
import os
import threading

NOW = 7  # SYNC_FILE_RANGE_WAIT_BEFORE, _WRITE and _WAIT_AFTER
SECONDS_BETWEEN = 0.002
library = ctypes.CDLL(None, use_errno=True)


class early_writes:
    """Does so from a thread while the block is open; at its end another file is synced once more."""

    def __init__(self, disk, chance):
        self.disk, self.chance = disk, chance
        self.ended = threading.Event()
        self.thread = threading.Thread(target=self.work)

    def __enter__(self):
        self.thread.start()

    def __exit__(self, *_):
        self.ended.set()
        self.thread.join()
        self.sync_another_file()

    def work(self):
        while not self.ended.wait(SECONDS_BETWEEN):
            names = [entry.path for entry in os.scandir(self.disk / "photos")]
            self.write_pages(self.chance.choice(names))
            if self.chance.random() < 0.1:
                self.sync_another_file()

    def write_pages(self, path):
        try:
            file = os.open(path, os.O_RDONLY | os.O_NOFOLLOW)
        except OSError:
            return  # a name for a moment
        pages = max(1, os.fstat(file).st_size // 4096)
        first = self.chance.randrange(pages)
        library.sync_file_range(file, ctypes.c_int64(4096 * first),
                                ctypes.c_int64(4096 * self.chance.randint(1, pages)), NOW)
        os.close(file)

    def sync_another_file(self):
        file = os.open(self.disk / "another file", os.O_WRONLY | os.O_CREAT, 0o600)
        os.write(file, b"text")
        os.fsync(file)
        os.close(file)
