"""What scripts/router says without a machine, and how it tells a command's output from its end.
usage: router_test.py PROJECT"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
sys.dont_write_bytecode = True
sys.path.insert(0, str(PROJECT / "scripts" / "router.d"))
import machine  # noqa: E402
import parts  # noqa: E402


class WithoutMachine(unittest.TestCase):
    """In a project with nothing but the script, where each other script does nothing."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        shutil.copytree(PROJECT / "scripts" / "router.d", self.root / "scripts" / "router.d")
        shutil.copy(PROJECT / "scripts" / "router", self.root / "scripts")
        for name in ("setup", "build"):
            self.put(f"scripts/{name}", "exit 0")
        self.put("bin/dpkg-query", "exit 1")

    def put(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def run_script(self, *arguments):
        environment = {**os.environ, "PATH": f"{self.root}/bin:{os.environ['PATH']}"}
        return subprocess.run([self.root / "scripts" / "router", *arguments], stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=100, env=environment)

    def assert_ends(self, status, told, *arguments):
        result = self.run_script(*arguments)
        self.assertEqual((result.returncode, result.stdout), (status, ""), result.stderr)
        self.assertRegex(result.stderr, told)

    def test_help(self):
        for arguments in ((), ("run",), ("shell",), ("test",), ("measure",), ("build",)):
            result = self.run_script(*arguments, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""), arguments)
            self.assertIn("usage: router", result.stdout)

    def test_wrong_arguments(self):
        for told, *arguments in (("COMMAND", ), ("COMMAND", "walk"), ("run wants a command", "run"),
                                 ("--memory", "run", "--memory", "none", "true"),
                                 ("--timeout", "run", "--timeout", "0", "true"),
                                 ("--flash", "run", "--flash", "fat", "true"),
                                 ('there is no check "colour"; there are c, link', "test", "colour")):
            with self.subTest(arguments):
                self.assert_ends(2, told, *arguments)

    def test_kernel_sources_that_are_missing(self):
        self.assert_ends(125, r"\Arouter: the kernel's sources are missing: the package linux-source-6\.1 has them\n\Z",
                         "run", "true")

    def test_library_that_cannot_be_built(self):
        self.put("scripts/build", "echo the reason; exit 1")
        self.assert_ends(125, r"\Arouter: the reason\nscripts/build ended with 1\n\Z", "run", "true")

    def test_emulator_that_is_missing(self):
        self.put("scripts/setup", "echo setup: could not be had: the packages qemu-system-mips >&2; exit 1")
        self.assert_ends(125, "the packages qemu-system-mips\n", "run", "true")


class Keep(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work, parts.WORK = parts.WORK, pathlib.Path(folder.name)
        self.addCleanup(setattr, parts, "WORK", self.work)
        self.made = 0

    def make(self, _, result):
        self.made += 1
        (result / "file").write_text(str(self.made))

    def test_makes_once_for_each_name_and_keeps_the_latest(self):
        first = parts.keep("part", "one", self.make)
        self.assertEqual(parts.keep("part", "one", self.make), first)
        self.assertEqual(self.made, 1)
        other = parts.keep("other", "one", self.make)
        second = parts.keep("part", "two", self.make)
        self.assertEqual((second / "file").read_text(), "3")
        self.assertEqual((first.exists(), other.exists(), second.exists()), (False, True, True))

    def test_leaves_nothing_of_what_fails(self):
        def fail(work, result):
            self.make(work, result)
            parts.run(["sh", "-c", "echo the reason; exit 3"], work / "log")

        with self.assertRaisesRegex(parts.Failure, r"\Athe reason\nfailed: sh -c"):
            parts.keep("part", "one", fail)
        self.assertEqual([path.name for path in parts.WORK.iterdir()], ["lock"])


class Configuration(unittest.TestCase):
    def test_what_the_sources_do_not_know_is_named(self):
        with tempfile.TemporaryDirectory() as folder:
            config, fragment = pathlib.Path(folder, "config"), pathlib.Path(folder, "wanted.config")
            config.write_text("CONFIG_A=y\n# CONFIG_B is not set\n# CONFIG_C is not set\n")
            fragment.write_text("# first\nCONFIG_A=y\nCONFIG_B=n\n")
            parts.require_options(config, fragment)
            fragment.write_text("CONFIG_A=y\nCONFIG_C=y\n")
            with self.assertRaisesRegex(parts.Failure, "wanted.config asks for .*: CONFIG_C=y"):
                parts.require_options(config, fragment)


class StreamOfOutput(unittest.TestCase):
    def test_ends_at_the_word_however_it_is_cut(self):
        whole = b"one en\nend-1end-2 \xff\0 end-12"
        for first in range(len(whole)):
            for second in range(first, len(whole)):
                taken = []
                stream = machine.Stream(b"end-12", taken.append)
                for piece in (whole[:first], whole[first:second], whole[second:]):
                    self.assertFalse(stream.ended)
                    stream.take(piece)
                self.assertTrue(stream.ended)
                self.assertEqual(b"".join(taken), whole[:-6])

    def test_drops_what_comes_after_the_end(self):
        """Of a program that the command has left running."""
        for pieces in ([b"one end-12two"], [b"one end-12", b"two"], [b"one ", b"end-12two", b"three"]):
            taken = []
            stream = machine.Stream(b"end-12", taken.append)
            for piece in pieces:
                stream.take(piece)
            self.assertTrue(stream.ended)
            self.assertEqual(b"".join(taken), b"one ")

    def test_holds_nothing_back_that_cannot_be_the_end(self):
        taken = []
        stream = machine.Stream(b"end-12", taken.append)
        stream.take(b"prompt> ")
        self.assertEqual(taken, [b"prompt> "])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
