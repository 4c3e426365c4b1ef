"""Parameter files and their checksums, exchanged with a program that knows zlib instead of this library.

usage: zlib_test.py EXCHANGE
"""

import os
import random
import shutil
import subprocess
import sys
import unittest
import zlib

EXCHANGE = sys.argv[1]
STORE = "/2ndfile/nv/"
FILE = "/tmp/parameters"
LINE_BUFFER = 4256


def checksum(data):
    """zlib inverts its register before and after; neither is wanted."""
    return zlib.crc32(data, 0xFFFFFFFF) ^ 0xFFFFFFFF


def exchange(*arguments, data=b""):
    return subprocess.run([EXCHANGE, *arguments], input=data, check=True, capture_output=True,
                          timeout=60).stdout.decode().strip()


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def random_bytes(generator, size, without=b""):
    return bytes(generator.choices([byte for byte in range(256) if byte not in without], k=size))


class Exchange(unittest.TestCase):
    def setUp(self):
        self.generator = random.Random(1)
        self.empty_store()
        self.values = {b"p%d" % i: random_bytes(self.generator, i * 31, without=b"\0\n") for i in range(100)}
        write(STORE + "default.cfg", b"".join(b"%s=%x=default\n" % (name, 1 << i % 32)
                                              for i, name in enumerate(self.values)))

    def empty_store(self):
        for folder in "currentnv", "backupnv":
            shutil.rmtree(STORE + folder, ignore_errors=True)
            os.makedirs(STORE + folder)

    def lines(self):
        return b"".join(b"%s=%x=%s\n" % (name, 1 << i % 32, value)
                        for i, (name, value) in enumerate(self.values.items()))

    def put_values(self):
        for name, value in self.values.items():
            write(STORE + "currentnv/" + name.decode(), value + b"\0")

    def stored(self, folder):
        return {name: read(STORE + folder + "/" + name.decode()) for name in self.values}

    def test_checksums_agree(self):
        for size in [*range(40), 255, 256, 257, 999, 1000, 1001, 100000]:
            data = random_bytes(self.generator, size)
            self.assertEqual(exchange("checksum", data=data), f"{checksum(data):08X}", size)

    def test_exported_file_is_verified_elsewhere(self):
        self.put_values()
        self.assertEqual(exchange("export", FILE, "ffffffff"), "0")
        lines = self.lines()
        self.assertGreater(len(lines), 5 * LINE_BUFFER)
        self.assertEqual(read(FILE), b"%08X\n" % checksum(lines) + lines)

    def test_file_written_elsewhere_is_imported(self):
        lines = self.lines()
        for header in b"%08X\n", b"%08x\n":
            self.empty_store()
            write(FILE, header % checksum(lines) + lines)
            self.assertEqual(exchange("import", FILE, "ffffffff"), "0")
            expected = {name: value + b"\0" for name, value in self.values.items()}
            self.assertEqual(self.stored("currentnv"), expected)
            self.assertEqual(self.stored("backupnv"), expected)

    def test_file_with_the_common_checksum_is_refused(self):
        lines = self.lines()
        write(FILE, b"%08X\n" % zlib.crc32(lines) + lines)
        self.assertEqual(exchange("import", FILE, "ffffffff"), "3")
        self.assertEqual(os.listdir(STORE + "currentnv"), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
