"""What scripts/router says without a machine, and how it tells a command's output from its end.
usage: router_test.py PROJECT"""

import os
import pathlib
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

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
                                 ("--console is for run", "shell", "--console", "file"),
                                 ('there is no check "colour"; there are c, link', "test", "colour")):
            with self.subTest(arguments):
                self.assert_ends(2, told, *arguments)

    def test_kernel_sources_that_are_missing(self):
        self.assert_ends(125, r"\Arouter: the kernel's sources are missing: the package linux-source-6\.1 has them\n\Z",
                         "run", "true")

    def test_library_that_cannot_be_built(self):
        self.put("scripts/build", "echo the reason; exit 1")
        self.assert_ends(125, r"\Arouter: the reason\nscripts/build ended with 1\n\Z", "run", "true")

    def test_package_that_cannot_be_had(self):
        self.put("scripts/setup", "echo setup: could not be had: the packages qemu-system-mips >&2; exit 1")
        self.assert_ends(125, "the packages qemu-system-mips\n", "run", "true")

    def test_python_that_is_missing(self):
        """The other script then installs it."""
        for name in ("bash", "dirname"):
            self.put(f"bin/{name}", f'exec {shutil.which(name)} "$@"')
        self.put("scripts/setup", f"echo $* >&2; {shutil.which('ln')} -s {sys.executable} {self.root}/bin/python3")
        command = [shutil.which("bash"), self.root / "scripts" / "router", "--help"]
        for told in ("router\n", ""):
            result = subprocess.run(command, capture_output=True, text=True, env={"PATH": f"{self.root}/bin"})
            self.assertEqual((result.returncode, result.stderr), (0, told))
        self.put("scripts/setup", "exit 1")
        (self.root / "bin" / "python3").unlink()
        self.assertEqual(subprocess.run(command, env={"PATH": f"{self.root}/bin"}).returncode, 125)


class WithoutEmulator(unittest.TestCase):
    """A machine whose kernel and root are there."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "vmlinux").touch()
        (self.folder / "root").touch()
        for name, made in ("kernel", self.folder), ("root_image", self.folder / "root"):
            patch = unittest.mock.patch.object(parts, name, return_value=made)
            patch.start()
            self.addCleanup(patch.stop)

    def start(self, emulator=None, **options):
        """With an emulator that is this script."""
        if emulator:
            (self.folder / machine.EMULATOR).write_text(f"#!/bin/sh\n{emulator}\n")
            (self.folder / machine.EMULATOR).chmod(0o755)
        path = f"{self.folder}:{os.environ['PATH']}" if emulator else str(self.folder)
        with unittest.mock.patch.dict(os.environ, {"PATH": path}):
            one = machine.Machine(**options)
            try:
                one.start(seconds=1)
            finally:
                one.kill()
                one.own.cleanup()

    def assert_fails(self, told, kind=parts.Failure, **options):
        with self.assertRaisesRegex(kind, told):
            self.start(**options)

    def test_the_package_is_named(self):
        self.assert_fails("qemu-system-mips is missing: the package qemu-system-mips has it")

    def test_a_start_that_hangs_shows_the_console(self):
        console = self.folder / "console"
        console.write_text("the last line\n")
        self.assert_fails("the last line\nthe machine has not started in 1 s", machine.Died, emulator="exec sleep 100",
                          console=str(console))

    def test_an_emulator_that_ends_is_heard(self):
        self.assert_fails("too much memory\nthe machine has ended", machine.Died,
                          emulator="echo too much memory >&2; exit 1")

    def test_a_shell_without_a_machine_is_a_failure(self):
        (self.folder / machine.EMULATOR).write_text("#!/bin/sh\nexit 1\n")
        (self.folder / machine.EMULATOR).chmod(0o755)
        with unittest.mock.patch.dict(os.environ, {"PATH": f"{self.folder}:{os.environ['PATH']}"}), \
                machine.Machine(shell=True) as one, self.assertRaisesRegex(machine.Died, "ended with 1"):
            one.await_exit(10)

    def test_a_flash_of_another_size_is_refused(self):
        flash = self.folder / "flash"
        flash.write_bytes(bytes(1000))
        self.assert_fails(f"{flash} has 1000 bytes, and a flash 16777216", emulator="exit 0", flash=str(flash))

    def test_a_flash_that_cannot_be_made_whole_is_not_left(self):
        flash = self.folder / "flash"
        limits = resource.getrlimit(resource.RLIMIT_FSIZE)
        self.addCleanup(resource.setrlimit, resource.RLIMIT_FSIZE, limits)
        resource.setrlimit(resource.RLIMIT_FSIZE, (4 << 20, limits[1]))
        with self.assertRaises(OSError):
            machine.make_flash(flash)
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["root", "vmlinux"])
        machine.make_flash(flash)
        self.assertEqual(flash.stat().st_size, machine.FLASH_SIZE)

    def test_a_comma_in_a_name_is_none_in_the_emulators_words(self):
        self.assertIn("file=a,,b.bin,readonly=on", machine.drive(0, "a,b.bin", "readonly=on")[1])


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

    def test_removes_what_a_build_that_was_killed_has_left(self):
        (parts.WORK / "part.abc").mkdir(parents=True)
        parts.keep("part", "one", self.make)
        self.assertEqual(sorted(path.name for path in parts.WORK.iterdir()), ["lock", "part-one"])

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


class StepsByHand(unittest.TestCase):
    def test_build_what_the_script_builds(self):
        """The lines of docs/integration.md that call make have the targets and variables of parts.py."""
        made = (PROJECT / "scripts" / "router.d" / "parts.py").read_text()
        steps = re.findall(r"^(?:KCONFIG_ALLCONFIG=\S+ )?make -C (\w+) (.*)$",
                           (PROJECT / "docs" / "integration.md").read_text(), re.M)
        self.assertEqual([folder for folder, _ in steps], ["LINUX", "LINUX", "BUSYBOX", "BUSYBOX"])
        for folder, words in steps:
            for word in shlex.split(words):
                name, is_variable, _ = word.partition("=")
                with self.subTest(folder, word=word):
                    self.assertIn(f'"{name}=' if is_variable else f'"{name}"', made)


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
