"""Upgrades of a modemsim by an ltectl whose waits are cut short."""

import os
import random
import re
import sys
import unittest

import frames
import support
from support import DONE, TIMEOUT, TRACES

IMAGE, RECEIVED = "/tmp/image", "/tmp/received"
START, STATUS = "at+syscmd=sys_upgrade_start", "at+syscmd=sys_upgrader_get"

modemsim_program = None


def main():
    """Runs the tests of the calling file: FILE HURRIED_LTECTL MODEMSIM [TEST...]."""
    global modemsim_program
    support.ltectl_program, modemsim_program = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)


def modemsim(*arguments):
    """Runs a modemsim that is to end by itself."""
    return support.run(modemsim_program, *arguments)


def make_image(size):
    image = random.Random(size).randbytes(size)
    with open(IMAGE, "wb") as file:
        file.write(image)
    return image


def received():
    with open(RECEIVED, "rb") as file:
        return file.read()


def trace():
    """[(function, text)], the library's part of the trace file."""
    with open(TRACES[0], newline="") as file:
        parts = re.split(r"^\[lib/lc_up:(\w+):\d+\]", file.read(), flags=re.M)
    return list(zip(parts[1::2], [text.removesuffix("\n\n") for text in parts[2::2]]))


class Port:
    """A host's end of a port that does without the library."""

    def __init__(self, test, path=frames.DATA_PORT):
        self.fd = os.open(path, os.O_RDWR | os.O_NOCTTY)
        test.addCleanup(os.close, self.fd)

    def send(self, data):
        os.write(self.fd, data)

    def receive(self, ends=b"", timeout=TIMEOUT):
        """What comes until it ends with one of these; without them what comes at once."""
        data = b""
        lines = support.Lines(os.fdopen(os.dup(self.fd), "rb", buffering=0))
        try:
            while lines.more(timeout):
                data = lines.buffer
                if data.endswith(ends):
                    return data
        finally:
            lines.close()
        return data

    def ask(self, frame):
        """(index, type, status) of the response."""
        self.send(frame)
        return frames.parse_response(self.receive())

    def command(self, text):
        """The whole answer."""
        self.send(text.encode() + b"\r\n")
        return self.receive((b"OK\r\n", b"ERROR\r\n")).decode()


class UpgradeTest(support.ToolTest):
    """Every test starts with an image of 5000 bytes: three pieces."""

    SIZE = 5000

    def setUp(self):
        for path in (*TRACES, RECEIVED, frames.DATA_PORT, frames.AT_PORT):
            if os.path.lexists(path):
                os.unlink(path)
        self.image = make_image(self.SIZE)

    def start_modem(self, *options):
        modem = support.Background(self, modemsim_program, f"--image={RECEIVED}",
                                   f"--size={len(self.image)}", "--restart=0", *options)
        if "--quiet" not in options:
            self.assertIn("ready", modem.out.next())
        else:
            self.await_path(frames.DATA_PORT)
        return modem

    def start_upgrade(self, *options, **streams):
        return support.Background(self, support.ltectl_program, "upgrade", IMAGE, *options, **streams)

    def end_modem(self, modem):
        """What is left of its output."""
        status, out, errors = modem.end()
        self.assertEqual((status, errors), (DONE, ""))
        return out

    def await_path(self, path, there=True):
        support.eventually(lambda: os.path.exists(path) == there)
