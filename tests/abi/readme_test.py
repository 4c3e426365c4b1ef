"""The README's program: built as C and as C++ against an installed copy, run, and held against what the
README says that it prints. When it has ended nothing of it is left at the WAN manager.

usage: readme_test.py README INSTALLED_PREFIX C_COMPILER CXX_COMPILER [EMULATOR...]
  C_COMPILER, CXX_COMPILER  each with its options, as one argument"""

import contextlib
import os
import pathlib
import re
import shlex
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "documents"))
import installed  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools"))
import support  # noqa: E402
from support import TIMEOUT, stranger  # noqa: E402

README, PREFIX = (pathlib.Path(path) for path in sys.argv[1:3])
C, CXX = (shlex.split(command) for command in sys.argv[3:5])
EMULATOR = sys.argv[5:]
COPY = installed.Installed(PREFIX, EMULATOR)


def block_after(heading, language):
    """The first fenced block of that language below a heading."""
    section = README.read_text().split(heading, 1)[1]
    return re.search(rf"```{language}\n(.*?)```", section, re.S).group(1)


def build(compiler, suffix):
    source = pathlib.Path(f"/tmp/link_events{suffix}")
    source.write_text(block_after("## A program of your own", "c"))
    program = source.with_suffix("")
    subprocess.run([*compiler, *installed.STRICT, source, *COPY.flags(), "-o", program], check=True,
                   env=COPY.environment())
    return program


class Readme(unittest.TestCase):
    def start(self, *command, **options):
        process = subprocess.Popen([*EMULATOR, *command], text=True, **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        return process

    def start_in_terminal(self, program):
        """What the program prints then reaches us while it runs. Gives it and the terminal."""
        ours, its_own = os.openpty()
        process = self.start(program, stdout=its_own, env=COPY.environment())
        os.close(its_own)
        terminal = open(ours)
        self.addCleanup(terminal.close)
        return process, terminal

    def start_manager(self, *options):
        manager = self.start(PREFIX / "bin/wansim", *options, stdout=subprocess.PIPE)
        self.addCleanup(manager.stdout.close)
        self.assertIn("ready", manager.stdout.readline())

    def run_program(self, compiler, suffix):
        expected = block_after("It prints", "text")
        program = build(compiler, suffix)
        self.start_manager()
        running, terminal = self.start_in_terminal(program)
        lines = [terminal.readline()]
        subprocess.run([*EMULATOR, PREFIX / "bin/ltectl", "connect", "--wait", "10"], check=True,
                       stdout=subprocess.DEVNULL)
        lines += [terminal.readline() for _ in expected.splitlines()[1:]]
        running.terminate()
        with contextlib.suppress(OSError):  # how a terminal tells that nobody is left to write
            lines += terminal
        self.assertEqual("".join(lines), expected)

    def test_it_leaves_no_subscription_behind(self):
        program = build(C, ".c")
        failed = support.FailedSends(self)
        self.start_manager()
        for number in [signal.SIGINT, signal.SIGTERM] * 3:
            running, terminal = self.start_in_terminal(program)
            self.assertEqual(terminal.readline(), "roaming off\n")
            running.send_signal(number)
            self.assertEqual(running.wait(TIMEOUT), 0)
        with contextlib.closing(stranger.Stranger()) as peer:
            self.assertEqual(failed.count(peer), 0)

    def test_it_ends_without_an_answer(self):
        program = build(C, ".c")
        self.start_manager("--fault", "get-roaming=silent")
        running, _ = self.start_in_terminal(program)
        self.assertEqual(running.wait(TIMEOUT), 1)

    def test_it_builds_and_runs_as_c(self):
        self.run_program(C, ".c")

    def test_it_builds_and_runs_as_cxx(self):
        self.run_program(CXX, ".cpp")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
