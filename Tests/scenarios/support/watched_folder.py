"""Tells which names come up in a folder, also those that stand there for a moment only."""
import ctypes
import os
import struct

CREATED, MOVED_IN = 0x100, 0x80
EVENT = struct.Struct("iIII")  # watch, kinds, cookie, length of the name
library = ctypes.CDLL(None, use_errno=True)


class watched_folder:
    """The names that came up since the block was entered are in `names` once it is left."""

    def __init__(self, folder):
        self.folder = folder
        self.names = set()

    def __enter__(self):
        self.queue = library.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if self.queue < 0 or library.inotify_add_watch(self.queue, os.fsencode(self.folder), CREATED | MOVED_IN) < 0:
            raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))
        return self

    def __exit__(self, *_):
        try:
            while events := os.read(self.queue, 1 << 16):
                self.take(events)
        except BlockingIOError:
            pass  # that was all
        os.close(self.queue)

    def take(self, events):
        at = 0
        while at < len(events):
            length = EVENT.unpack_from(events, at)[3]
            at += EVENT.size
            self.names.add(events[at:at + length].rstrip(b"\0").decode())
            at += length
