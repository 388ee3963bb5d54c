"""Lets a program run as on a file system that has no unnamed files: to be called in its process before it starts."""
import ctypes
import errno
import platform
import struct

LOAD, EQUAL, ANY_BIT, RETURN = 0x20, 0x15, 0x45, 0x06  # instructions of a filter
X86_64, OPENAT, UNNAMED = 0xC000003E, 257, 0o20000000
ALLOW, REFUSE = 0x7FFF0000, 0x00050000 | errno.EOPNOTSUPP
NO_NEW_PRIVILEGES, SET_FILTER, FILTER_MODE = 38, 22, 2  # for prctl
library = ctypes.CDLL(None, use_errno=True)

# The offsets are those of the machine, the number of the call and its third argument.
FILTER = [(LOAD, 0, 0, 4), (EQUAL, 0, 5, X86_64), (LOAD, 0, 0, 0), (EQUAL, 0, 3, OPENAT), (LOAD, 0, 0, 32),
          (ANY_BIT, 0, 1, UNNAMED), (RETURN, 0, 0, REFUSE), (RETURN, 0, 0, ALLOW)]


def can_refuse():
    return platform.machine() == "x86_64"


def refuse_unnamed_files():
    code = b"".join(struct.pack("HBBI", *instruction) for instruction in FILTER)
    memory = ctypes.create_string_buffer(code, len(code))
    program = ctypes.create_string_buffer(struct.pack("HxxxxxxQ", len(FILTER), ctypes.addressof(memory)))
    if library.prctl(NO_NEW_PRIVILEGES, 1, 0, 0, 0) or library.prctl(SET_FILTER, FILTER_MODE, program):
        raise OSError(ctypes.get_errno(), "the filter is refused")
