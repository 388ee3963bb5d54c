"""Keeps the blocks of a disk for recorded_disk.py, in a process of its own:

    disk_server.py IMAGE POINT

The file POINT becomes a file system of one file, which has the bytes of IMAGE and which a loop device makes a disk of.
Every write is appended to IMAGE.log as it arrives: a header `RECORD` of time, offset and size, then the bytes. A flush
of the disk has the size 0. The first byte of IMAGE.state tells which accesses fail. Prints one line once it serves, and
ends when POINT is unmounted.
"""
import ctypes
import errno
import mmap
import os
import signal
import struct
import subprocess
import sys
import time

RECORD = struct.Struct("<QQQ")  # nanoseconds of the monotonic clock, offset, size
READING, WRITING = 1, 2  # bits of the state: what fails

LARGEST_WRITE = 1 << 20
IN_HEADER = struct.Struct("<IIQQIIII")  # size, operation, number of the request, node, user, group, process, padding
OUT_HEADER = struct.Struct("<IiQ")
INIT_IN, INIT_OUT = struct.Struct("<4I"), struct.Struct("<4IHHIIHHI7I")
TRANSFER_IN = struct.Struct("<QQI")  # handle, offset, size; a write's bytes stand behind WRITE_IN_SIZE
WRITE_IN_SIZE = 40
FORGET, GETATTR, SETATTR, OPEN, READ, WRITE, STATFS, RELEASE = 2, 3, 4, 14, 15, 16, 17, 18
FSYNC, FLUSH, INIT, INTERRUPT, BATCH_FORGET = 20, 25, 26, 36, 42
BIG_WRITES, MAX_PAGES = 1 << 5, 1 << 22
DIRECT = 1  # no page of the disk is cached here, so that a disk that fails does so at once


class server:
    def __init__(self, image, point):
        self.disk = os.open(image, os.O_RDWR)
        self.log = os.open(image + ".log", os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600)
        with open(image + ".state", "r+b") as state:
            self.state = mmap.mmap(state.fileno(), 1)
        self.device = os.open("/dev/fuse", os.O_RDWR)
        options = f"fd={self.device},rootmode=100600,user_id=0,group_id=0,max_read={LARGEST_WRITE}"
        subprocess.run(["mount", "-i", "-t", "fuse", "-o", options, "disk", point], check=True, pass_fds=[self.device])

    def serve(self):
        while True:
            try:
                request = os.read(self.device, LARGEST_WRITE + 8192)
            except OSError as error:
                if error.errno == errno.ENODEV:  # unmounted
                    return
                if error.errno in (errno.EINTR, errno.ENOENT):
                    continue
                raise
            self.answer(request)

    def answer(self, request):
        _, operation, number, *_ = IN_HEADER.unpack_from(request)
        if operation in (FORGET, BATCH_FORGET, INTERRUPT):
            return  # these take no answer
        try:
            code, content = 0, self.result(operation, request)
        except OSError as error:
            code, content = -error.errno, b""
        os.write(self.device, OUT_HEADER.pack(OUT_HEADER.size + len(content), code, number) + content)

    def result(self, operation, request):
        if operation == INIT:
            _, _, read_ahead, offered = INIT_IN.unpack_from(request, IN_HEADER.size)
            return INIT_OUT.pack(7, 31, read_ahead, offered & (BIG_WRITES | MAX_PAGES), 16, 12, LARGEST_WRITE, 1,
                                 LARGEST_WRITE // mmap.PAGESIZE, 0, 0, *[0] * 7)
        if operation in (GETATTR, SETATTR):
            return self.attributes()
        if operation == OPEN:
            return struct.pack("<QII", 1, DIRECT, 0)
        if operation == READ:
            self.fail_if(READING)
            _, offset, size = TRANSFER_IN.unpack_from(request, IN_HEADER.size)
            return os.pread(self.disk, size, offset)
        if operation == WRITE:
            self.fail_if(WRITING)
            return self.write(request)
        if operation == FSYNC:
            self.fail_if(WRITING)
            os.write(self.log, RECORD.pack(time.monotonic_ns(), 0, 0))
            return b""
        if operation in (FLUSH, RELEASE):
            return b""
        raise OSError(errno.ENOSYS, "")

    def fail_if(self, access):
        if self.state[0] & access:
            raise OSError(errno.EIO, "")

    def write(self, request):
        _, offset, size = TRANSFER_IN.unpack_from(request, IN_HEADER.size)
        begin = IN_HEADER.size + WRITE_IN_SIZE
        content = memoryview(request)[begin:begin + size]
        os.writev(self.log, [RECORD.pack(time.monotonic_ns(), offset, size), content])
        os.pwrite(self.disk, content, offset)
        return struct.pack("<II", size, 0)

    def attributes(self):
        size = os.fstat(self.disk).st_size
        return struct.pack("<QII", 3600, 0, 0) + struct.pack(
            "<6Q10I", 1, size, size // 512, 0, 0, 0, 0, 0, 0, 0o100600, 1, 0, 0, 0, 4096, 0)


if __name__ == "__main__":
    # Without this process an access to the disk fails; it must not wait for a test that was killed.
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG
    serving = server(*sys.argv[1:])
    print("serving", flush=True)
    serving.serve()
