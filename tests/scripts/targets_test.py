"""What the scripts say about a target that does not exist, and about programs that a target needs and this
machine lacks. usage: targets_test.py PROJECT"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
TARGETS = ("native", "clang", "asan", "tsan", "valgrind", "coverage", "mips", "musl", "mips-musl")


def run(*command, **options):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=100, **options)


def script(name, *arguments, **options):
    return run(PROJECT / "scripts" / name, *arguments, **options)


class UnknownTarget(unittest.TestCase):
    def assert_refused(self, name, *arguments):
        result = script(name, *arguments)
        self.assertEqual((result.returncode, result.stdout), (2, ""), result.stderr)
        self.assertIn(f'{name}: there is no target "mips64"', result.stderr)
        for target in TARGETS:
            self.assertRegex(result.stderr, rf"(?m)^  {target} ")

    def test_ends_with_2_and_lists_the_known_ones(self):
        for name in ("test", "build", "setup", "demo"):
            with self.subTest(name):
                self.assert_refused(name, "mips64")

    def test_is_seen_before_anything_is_done_for_the_known_ones(self):
        for name in ("test", "build", "setup"):
            with self.subTest(name):
                self.assert_refused(name, "native", "mips64")

    def test_help_lists_the_known_ones(self):
        for name in ("test", "build"):
            result = script(name, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            for target in TARGETS:
                self.assertRegex(result.stdout, rf"(?m)^  {target} ")

    def test_unknown_options_end_with_2(self):
        for name in ("test", "build", "demo", "footprint", "cross-musl", "fuzz", "bench", "mutate", "abi", "manual",
                     "package"):
            result = script(name, "--no-such-option")
            self.assertEqual((name, result.returncode), (name, 2), result.stderr)


class Hidden:
    """A program that is none for a while: something that cannot be executed is mounted over it."""

    def __init__(self, name):
        self.path = shutil.which(name)
        self.nothing = tempfile.NamedTemporaryFile()

    def __enter__(self):
        if self.path:
            subprocess.run(["mount", "--bind", self.nothing.name, self.path], check=True)

    def __exit__(self, *_):
        if self.path:
            subprocess.run(["umount", self.path], check=True)
        self.nothing.close()


class MissingProgram(unittest.TestCase):
    def assert_names_package(self, preset, program, package):
        with Hidden(program), tempfile.TemporaryDirectory() as build:
            result = run("cmake", "--preset", preset, "-B", build, cwd=PROJECT)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(f"{program} is missing: the package {package} brings it", result.stderr)

    def test_compiler(self):
        self.assert_names_package("mips", "mips-linux-gnu-gcc", "gcc-mips-linux-gnu")
        self.assert_names_package("mips", "mips-linux-gnu-g++", "g++-mips-linux-gnu")
        self.assert_names_package("mips-musl", "mips-linux-gnu-gcc", "gcc-mips-linux-gnu")
        self.assert_names_package("musl", "musl-gcc", "musl-tools")

    def test_emulator(self):
        for preset in ("mips", "mips-musl"):
            self.assert_names_package(preset, "qemu-mips", "qemu-user")


class MissingPackages(unittest.TestCase):
    """Setup where nothing is installed and nobody may install."""

    def setup_without_rights(self, *targets):
        with Hidden("sudo"), tempfile.TemporaryDirectory() as fakes:
            for name, script_text in (("id", "echo 1000"), ("dpkg-query", "exit 1")):
                path = pathlib.Path(fakes, name)
                path.write_text(f"#!/bin/sh\n{script_text}\n")
                path.chmod(0o755)
            return script("setup", *targets, env={**os.environ, "PATH": f"{fakes}:/usr/bin:/usr/sbin"})

    def test_are_named(self):
        for target, package in (("mips", "qemu-user"), ("mips", "g++-mips-linux-gnu"), ("musl", "musl-tools"),
                                ("mips-musl", "qemu-user"), ("valgrind", "valgrind"), ("native", "g++"),
                                ("fuzz", "libclang-rt-14-dev"), ("native", "spin"), ("lint", "cppcheck")):
            result = self.setup_without_rights(target)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertIn("setup: missing here, and only root can install them: ", result.stderr)
            self.assertIn(package, result.stderr.split())

    def test_are_only_those_that_the_target_needs(self):
        self.assertNotIn("qemu-user", self.setup_without_rights("native").stderr.split())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
