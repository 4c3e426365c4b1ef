"""The frames of an upgrade, written down a second time, and a modem that keeps those it gets."""

import os
import select
import struct
import threading
import tty
import zlib

DATA_PORT, AT_PORT = "/dev/ttyUSB1", "/dev/ttyUSB3"
PIECE, FRAME = 2048, 2064
BEGIN, END = 0x42454749, 0x454E444C
COMMAND, DATA = 1, 16
ANSWERS = {COMMAND: 2, DATA: 32}


def checksum(data):
    """The common one without its inversions at the beginning and the end."""
    return zlib.crc32(data, 0xFFFFFFFF) ^ 0xFFFFFFFF


def command(index, length=0, check=0):
    return struct.pack("<4I2048x", index, COMMAND, length, check)


def data(index, length, payload, check=None):
    payload = payload.ljust(PIECE, b"\0")
    return struct.pack("<4I", index, DATA, length, checksum(payload) if check is None else check) + payload


def parse(frame):
    """(index, type, length, checksum, payload)"""
    return (*struct.unpack("<4I", frame[:16]), frame[16:])


def response(index, kind, status):
    return struct.pack("<2I8x", index, kind) + status.encode()


def parse_response(answer):
    """(index, type, status)"""
    return (*struct.unpack("<2I", answer[:8]), answer[16:].rstrip(b"\0").decode())


class ServedPort:
    """A serial port whose far end a thread serves until it is closed."""

    def __init__(self, path):
        self.path = path
        self.far, self.near = os.openpty()
        tty.setraw(self.near)
        os.symlink(os.ttyname(self.near), path)
        self.waking, self.wake = os.pipe()
        self.thread = threading.Thread(target=self._serve)
        self.thread.start()

    def _serve(self):
        received = b""
        while self.waking not in select.select([self.far, self.waking], [], [])[0]:
            received = self.answer(received + os.read(self.far, 4096))

    def answer(self, received):
        """Answers what is complete and returns the rest."""
        raise NotImplementedError

    def close(self):
        os.write(self.wake, b"x")
        self.thread.join()
        os.unlink(self.path)
        for fd in (self.far, self.near, self.waking, self.wake):
            os.close(fd)


class RecordingModem(ServedPort):
    """Accepts every frame that comes to the data port."""

    def __init__(self):
        self.frames = []
        super().__init__(DATA_PORT)

    def answer(self, received):
        while len(received) >= FRAME:
            frame, received = received[:FRAME], received[FRAME:]
            self.frames.append(frame)
            index, kind = parse(frame)[:2]
            os.write(self.far, response(index, ANSWERS[kind], "RSP_OK"))
        return received
