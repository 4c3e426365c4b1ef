"""The README's program: built as C and as C++ against an installed copy, run, and held against what the
README says that it prints. usage: readme_test.py README INSTALLED_PREFIX"""

import os
import pathlib
import re
import subprocess
import sys
import time
import unittest

README, PREFIX = (pathlib.Path(sys.argv.pop(1)) for _ in range(2))


def block_after(heading, language):
    """The first fenced block of that language below a heading."""
    section = README.read_text().split(heading, 1)[1]
    return re.search(rf"```{language}\n(.*?)```", section, re.S).group(1)


def environment():
    pkgconfig = next(PREFIX.rglob("lterouter.pc")).parent
    return {**os.environ, "PKG_CONFIG_PATH": str(pkgconfig), "LD_LIBRARY_PATH": str(pkgconfig.parent)}


def build(compiler, suffix):
    source = pathlib.Path(f"/tmp/link_events{suffix}")
    source.write_text(block_after("## A program of your own", "c"))
    flags = subprocess.run(["pkg-config", "--cflags", "--libs", "lterouter"], check=True, text=True,
                           capture_output=True, env=environment()).stdout.split()
    program = f"/tmp/link_events_{compiler}"
    subprocess.run([compiler, "-Wall", "-Wextra", "-Wpedantic", "-Werror", str(source), *flags,
                    "-o", program], check=True, env=environment())
    return program


class Readme(unittest.TestCase):
    def run_program(self, compiler, suffix):
        program = build(compiler, suffix)
        manager = subprocess.Popen([PREFIX / "bin/wansim", "--delay", "100"], stdout=subprocess.PIPE,
                                   text=True)
        self.assertIn("ready", manager.stdout.readline())
        # What the program prints reaches us while it runs, as it would a terminal.
        running = subprocess.Popen(["stdbuf", "-oL", program], stdout=subprocess.PIPE, text=True,
                                   env=environment())
        lines = [running.stdout.readline()]
        subprocess.run([PREFIX / "bin/ltectl", "connect", "--wait", "10"], check=True,
                       stdout=subprocess.DEVNULL)
        time.sleep(0.3)
        running.terminate()
        lines += running.stdout.readlines()
        running.wait()
        manager.terminate()
        manager.communicate()
        self.assertEqual("".join(lines), block_after("It prints", "text"))

    def test_it_builds_and_runs_as_c(self):
        self.run_program("gcc", ".c")

    def test_it_builds_and_runs_as_cxx(self):
        self.run_program("g++", ".cpp")


if __name__ == "__main__":
    unittest.main()
