"""ltectl trace, with trace files that the library writes and renames.

usage: trace_test.py LTECTL WANSIM UPGRADE_CALLS"""

import json
import os
import pathlib
import re
import signal
import sys
import time

import support
from support import DONE, FAILED, ToolTest, ltectl

WRITER = sys.argv.pop(3)
CURRENT, PREVIOUS = support.TRACES
LIMIT = 262144
PIECE = 2048  # what is shown at once of a line
# Fewer entries than make the file too long, however they come out.
FEW = 2000
MORE_THAN_FIT = 20000
# What upgrade_calls traces are sizes, and a size has to be above that of a piece.
BASE = 1000000


def write(first, last):
    support.run(WRITER, "sizes", str(BASE + first), str(BASE + last), check=True)


def numbers(text):
    """Of the entries of upgrade_calls, in their order."""
    return [int(number) - BASE for number in re.findall(r"img file len:(\d+),", text)]


def inode(path):
    """None when there is no such file."""
    return os.stat(path).st_ino if os.path.exists(path) else None


class TraceTest(ToolTest):
    def setUp(self):
        super().setUp()
        for path in (CURRENT, PREVIOUS):
            os.rmdir(path) if os.path.isdir(path) else pathlib.Path(path).unlink(missing_ok=True)
        self.next = 1

    def write_few(self):
        """Their numbers."""
        first, self.next = self.next, self.next + FEW
        write(first, self.next - 1)
        return list(range(first, self.next))

    def rotate(self):
        """Writes until the file has been renamed; the numbers."""
        before = inode(PREVIOUS)
        written = []
        while inode(PREVIOUS) == before:
            self.assertLess(len(written), MORE_THAN_FIT, "the file is never renamed")
            written += self.write_few()
        return written


class Whole(TraceTest):
    def test_the_generation_before_comes_first(self):
        written = self.rotate() + self.write_few()
        self.assertGreater(os.path.getsize(PREVIOUS), LIMIT)
        result = ltectl("trace")
        self.assertEqual((result.returncode, result.stderr, numbers(result.stdout)), (DONE, "", written))
        self.assertEqual(result.stdout.encode(), support.read_file(PREVIOUS) + support.read_file(CURRENT))

    def test_only_the_current_one(self):
        write(7, 7)
        self.assertRegex(ltectl("trace").stdout,
                         r"\A\[lib/lc_up:lc_set_img_size:\d+\]img file len:1000007, split into 489 pic\n\n\Z")

    ABOVE_ASCII = b"\xc2\x9b2J\x9b2J \x80\xe0\x82\x9b\x9f\xc2\x80\xc2\xa0\xc3\x9b \xe2\x9b\x80\xa0\xc2\n"

    def test_what_is_shown_of_what_the_files_hold(self):
        long, longest = "a" * PIECE, "c" * (PIECE - 1)
        for claim, previous, current, shown in (
                ("only the one before", b"just renamed\n\n", None, "just renamed\n\n"),
                ("an entry that was cut short", b"whole\nhalf", b"more\n\nhal", "whole\nhalf\nmore\n\nhal\n"),
                ("nothing can drive the terminal", None, b"OK\r\n\x1b[2J\0\r\r\n", "OK\n?[2J??\n"),
                ("nor can control characters above ASCII", None, self.ABOVE_ASCII,
                 "?2J?2J ?\udce0????\u00a0\u00db \u26c0\udca0\udcc2\n"),
                ("a line longer than any is shown in pieces", None, f"{long}bb\r\n{longest}\nd\n".encode(),
                 f"{long}\nbb\n{longest}\nd\n")):
            with self.case(claim):
                for path, content in ((PREVIOUS, previous), (CURRENT, current)):
                    content and support.write_file(path, content)
                self.assert_runs("trace", shown)

    def test_control_characters_above_ascii_as_json(self):
        support.write_file(CURRENT, self.ABOVE_ASCII)
        result = ltectl("trace", "--json")
        self.assertIn('"\\u009b2J\\ufffd2J \\ufffd', result.stdout)
        self.assertEqual(self.objects(result.stdout)[0]["text"],
                         "\u009b2J\ufffd2J \ufffd\ufffd\ufffd\ufffd\ufffd\u0080\u00a0\u00db \u26c0\ufffd\ufffd")

    def test_nothing_there(self):
        for command in ("trace", "trace --json"):
            self.assert_fails(command, f"cannot read {CURRENT}: No such file or directory")

    def test_a_file_that_cannot_be_opened(self):
        for path, beside in ((CURRENT, PREVIOUS), (PREVIOUS, CURRENT)):
            with self.case(path):
                support.write_file(beside, b"readable\n")
                os.symlink(path, path)
                for options in ((), ("-f",)):
                    result = ltectl("trace", *options)
                    self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
                    self.assertRegex(result.stderr, rf"\Altectl: cannot read {re.escape(path)}: \w.+\n\Z")

    def test_what_is_no_file(self):
        """Nor is a pipe waited for."""
        os.mkfifo(CURRENT)
        self.assert_runs("trace")
        os.unlink(CURRENT)
        os.mkdir(CURRENT)
        support.write_file(PREVIOUS, b"before\n")
        for command in ("trace", "trace -f"):
            self.assert_fails(command, f"cannot read {CURRENT}: Is a directory", out="before\n")

    def test_as_json(self):
        write(7, 7)
        others = ("another", "[a]b", "[a:b]c", "[a:b:c]d", "[a:b:1:2]e", "x[a:b:1]f")
        with open(CURRENT, "ab") as file:
            file.write(b"[lib/a:f:2]one\r\n[::0]\n" + "\n".join(others).encode() +
                       b"\n\n[a:b:99999999999999]g\n\xff\n")
        answers = self.objects(ltectl("trace", "--json").stdout)
        line = answers[0].pop("line")
        self.assertGreater(line, 1)
        self.assertEqual(answers, [{"event": "trace", **entry} for entry in (
            {"unit": "lib/lc_up", "function": "lc_set_img_size", "text": "img file len:1000007, split into 489 pic"},
            {"unit": "lib/a", "function": "f", "line": 2, "text": "one"},
            {"unit": "", "function": "", "line": 0, "text": ""},
            *({"text": text} for text in (*others, "[a:b:99999999999999]g", "\ufffd")))])


class Follow(TraceTest):
    def start(self, *options, seen=None):
        """seen: the entries that are there. Without them it waits for the file."""
        self.trace = self.start_ltectl("trace", *(options or ("-f",)))
        if seen is None:
            self.trace.err.next()
        else:
            self.assert_seen(seen)

    def seen(self, count):
        """The numbers of so many entries more."""
        found = []
        deadline = time.monotonic() + support.TIMEOUT
        while len(found) < count:
            self.assertLess(time.monotonic(), deadline, "too few entries are shown")
            found += numbers(self.trace.out.next())
        return found

    def assert_seen(self, written):
        self.assertEqual(self.seen(len(written)), written)

    def assert_ends(self, number=signal.SIGINT):
        """Nothing more is shown."""
        status, out, err = self.trace.end(number)
        self.assertEqual((status, out.strip(), err), (DONE, "", ""))

    def pause(self):
        """Nothing is looked at until its end."""
        self.trace.process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self.trace.process.pid, os.WSTOPPED)

    def go_on(self):
        self.trace.process.send_signal(signal.SIGCONT)

    def test_what_is_there_then_what_is_added(self):
        self.start("--follow", seen=self.rotate() + self.write_few())
        self.assert_seen(self.write_few())
        self.assert_ends()

    def test_a_signal_ends_it_in_order(self):
        write(1, 1)
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start(seen=[1])
            self.assert_ends(number)

    def test_so_it_does_while_nobody_reads(self):
        self.start()
        self.trace.fill()
        write(1, 1)
        self.assertEqual(self.trace.end_unread(), DONE)

    def test_a_reader_that_goes_away_ends_it_without_another_line(self):
        write(1, 1)
        self.start(seen=[1])
        self.trace.out.close()
        self.assertEqual(self.trace.finish(), (DONE, "", ""))

    def test_rotation_after_rotation_loses_and_doubles_nothing(self):
        self.start()
        files = set()
        for _ in range(7):
            self.assert_seen(self.write_few())
            files.add(inode(CURRENT))
        self.assertGreater(len(files), 3)
        self.assert_ends()

    def test_a_rotation_between_two_looks(self):
        self.start(seen=self.write_few())
        self.pause()
        written = self.rotate() + self.write_few()
        self.go_on()
        self.assert_seen(written)
        self.assert_ends()

    def test_a_file_that_was_just_renamed(self):
        self.start()
        support.write_file(CURRENT, b"x" * LIMIT + b"\n")
        write(1, 1)
        self.assertFalse(os.path.exists(CURRENT))
        self.assert_seen([1])
        self.assert_seen(self.write_few())
        self.assert_ends()

    def test_two_rotations_between_two_looks_are_told(self):
        written = self.write_few()
        self.start(seen=written)
        self.pause()
        for _ in range(3):
            self.rotate()
        left = numbers(ltectl("trace").stdout)
        self.go_on()
        shown = self.seen(len(left))
        deadline = time.monotonic() + support.TIMEOUT
        while shown[-len(left):] != left:
            self.assertLess(time.monotonic(), deadline, "what is left is not shown")
            shown += self.seen(1)
        self.assertEqual(self.trace.err.next(),
                         "ltectl: the trace file was renamed more than once meanwhile: lines may be lost")
        # What was written to the file that it had open is shown too, and none of it twice.
        self.assertEqual(shown, sorted(set(shown)))
        self.assertGreater(shown[0], written[-1])
        self.assert_ends()

    def test_who_had_the_file_open_writes_to_the_one_before(self):
        self.start(seen=self.write_few())
        with open(CURRENT, "ab", buffering=0) as late:
            self.assert_seen(self.rotate())
            self.assert_seen(self.write_few())
            late.write(b"img file len:-,\nimg file len:9999999,\n")
            self.assert_seen([8999999])
        self.assert_seen(self.write_few())
        self.assert_ends()

    def test_an_entry_is_shown_when_it_is_whole(self):
        write(1, 1)
        self.start(seen=[1])
        with open(CURRENT, "ab", buffering=0) as file:
            file.write(b"img file len:100000")
            self.assertFalse(self.trace.out.more(0.6) and b"len" in self.trace.out.buffer)
            file.write(b"3,\n")
            self.assert_seen([3])

    def test_what_goes_on_without_an_end_is_shown_in_pieces(self):
        self.start()
        with open(CURRENT, "ab", buffering=0) as file:
            file.write(b"x" * (4 * PIECE + 5))
            for _ in range(4):
                self.assertEqual(self.trace.out.next(), "x" * PIECE)
            file.write(b"y\n")
            self.assertEqual(self.trace.out.next(), "xxxxxy")
        self.assert_ends()

    def test_a_file_that_is_not_there_yet_is_waited_for(self):
        self.trace = self.start_ltectl("trace", "-f")
        self.assertEqual(self.trace.err.next(), f"ltectl: waiting for {CURRENT}")
        write(1, 2)
        self.assert_seen([1, 2])
        self.assert_ends()

    def test_a_file_that_somebody_removes(self):
        self.start(seen=self.rotate())
        write(1, 2)
        self.assert_seen([1, 2])
        self.pause()
        write(3, 4)
        os.unlink(CURRENT)
        write(5, 6)
        self.go_on()
        self.assert_seen([3, 4, 5, 6])
        os.unlink(CURRENT)
        os.unlink(PREVIOUS)
        write(7, 7)
        self.assert_seen([7])
        self.assert_ends()

    def test_a_file_that_somebody_empties(self):
        write(100, 110)
        self.start(seen=list(range(100, 111)))
        os.truncate(CURRENT, 0)
        write(1, 2)
        self.assert_seen([1, 2])
        self.assert_ends()

    def test_waiting_costs_next_to_nothing(self):
        write(1, 1)
        self.start(seen=[1])
        time.sleep(0.3)  # past what an emulator translates for the first look
        ticks = self.ticks()
        time.sleep(2)
        spent = (self.ticks() - ticks) / os.sysconf("SC_CLK_TCK")
        self.assertLess(spent, 0.2)

    def ticks(self):
        """Of processor time that the program has taken."""
        with open(f"/proc/{self.trace.process.pid}/stat") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return int(fields[11]) + int(fields[12])

    def test_as_json(self):
        self.start("-f", "--json")
        for number in (1, 2):
            write(number, number)
            self.assertEqual(json.loads(self.trace.out.next())["text"],
                             f"img file len:100000{number}, split into 489 pic")


if __name__ == "__main__":
    support.main()
