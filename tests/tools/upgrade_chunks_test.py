"""Whatever the chunks an image is passed in, the modem gets the frames that the rules of the pieces ask for.

usage: upgrade_chunks_test.py UPGRADE_CALLS"""

import random
import subprocess
import sys
import unittest

import frames
from frames import PIECE

[PROGRAM] = sys.argv[1:]

SIZES = (2049, 4096, 4097, 5000, 65536, 1000003)
CHUNKS = (1, 100, 1000, 2047, 2048, 2049, 4096)


def calls_until(offset, chunk):
    """How many calls it takes to pass more than offset bytes."""
    return offset // chunk + 1


def last_piece_at(size):
    return (size - 1) // PIECE * PIECE


def expected(image, chunk, calls):
    """The frames after so many calls. A full piece goes out as soon as a byte behind it is passed; the
    last one with the call that begins it, as far as that call goes, counted twice; then the end."""
    passed = min(len(image), chunk * calls)
    last = last_piece_at(len(image))
    full = min((passed - 1) // PIECE, last // PIECE)
    result = [frames.command(frames.BEGIN)]
    result += [frames.data(index, PIECE, image[index * PIECE:][:PIECE]) for index in range(full)]
    if passed > last:
        rest = image[last:calls_until(last, chunk) * chunk]
        result += [frames.data(full, 2 * len(rest), rest), frames.command(frames.END)]
    return result


class Model(unittest.TestCase):
    """It agrees with examples worked out by hand."""

    def heads(self, size, chunk, calls):
        return [frames.parse(frame)[:3] for frame in expected(bytes(size), chunk, calls)]

    def test_whole(self):
        self.assertEqual(self.heads(5000, 5000, 1), [
            (0x42454749, 1, 0), (0, 16, 2048), (1, 16, 2048), (2, 16, 1808), (0x454E444C, 1, 0)])

    def test_the_call_that_completes_the_last_full_piece_ends_the_transfer(self):
        self.assertEqual(self.heads(5000, 100, 40), [(0x42454749, 1, 0), (0, 16, 2048)])
        self.assertEqual(self.heads(5000, 100, 41), [
            (0x42454749, 1, 0), (0, 16, 2048), (1, 16, 2048), (2, 16, 8), (0x454E444C, 1, 0)])
        self.assertEqual(self.heads(5000, 100, 41), self.heads(5000, 100, 50))

    def test_a_chunk_that_fills_the_buffer_sends_nothing(self):
        self.assertEqual(self.heads(4096, 2048, 1), [(0x42454749, 1, 0)])

    def test_a_last_piece_can_claim_more_than_a_frame_holds(self):
        self.assertEqual(self.heads(4096, 2048, 2)[2:], [(1, 16, 4096), (0x454E444C, 1, 0)])

    def test_bytes_on_the_wire(self):
        begin, piece = expected(b"123456789" * 1000, 2049, 1)[:2]
        self.assertEqual(begin, bytes.fromhex("49474542 01000000") + bytes(2056))
        self.assertEqual(piece[:12], bytes.fromhex("00000000 10000000 00080000"))
        self.assertEqual(frames.checksum(b"123456789"), 0x2DFD2D88)


class Chunks(unittest.TestCase):
    def setUp(self):
        self.modem = frames.RecordingModem()
        self.addCleanup(self.modem.close)

    def assert_frames(self, image, chunk, calls):
        with self.subTest(size=len(image), chunk=chunk, calls=calls):
            self.modem.frames.clear()
            subprocess.run([PROGRAM, "chunks", "/tmp/image", str(chunk), str(calls)], check=True, timeout=60)
            got = self.modem.frames
            wanted = expected(image, chunk, calls)
            self.assertEqual([frames.parse(frame)[:4] for frame in got],
                             [frames.parse(frame)[:4] for frame in wanted])
            self.assertEqual(got, wanted)

    def pass_image(self, size):
        image = random.Random(size).randbytes(size)
        with open("/tmp/image", "wb") as file:
            file.write(image)
        for chunk in (*CHUNKS, size):
            deciding = calls_until(last_piece_at(size), chunk)
            for calls in {deciding - 1, deciding, calls_until(size - 1, chunk)} - {0}:
                self.assert_frames(image, chunk, calls)


for _size in SIZES:
    setattr(Chunks, f"test_an_image_of_{_size}_bytes", lambda self, size=_size: self.pass_image(size))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
