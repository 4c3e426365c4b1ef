"""What the scripts say about a target that does not exist, and about programs that a target needs and this
machine lacks. usage: targets_test.py PROJECT"""

import contextlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))


def run(*command, **options):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=100, **options)


def script(name, *arguments, **options):
    return run(PROJECT / "scripts" / name, *arguments, **options)


TARGETS = run("bash", "-c", 'source scripts/targets.bash && echo "${targets[@]}"', cwd=PROJECT).stdout.split()


def read_to_the_end(terminal):
    """What programs wrote to a terminal that they have all closed. It comes in pieces, and ends with an error."""
    text = b""
    with contextlib.suppress(OSError):
        while piece := os.read(terminal, 4096):
            text += piece
    return text.decode()


class UnknownTarget(unittest.TestCase):
    def assert_lists_targets(self, text):
        for target in TARGETS:
            self.assertRegex(text, rf"(?m)^  {target} ")

    def test_ends_with_2_and_lists_the_known_ones(self):
        """Before anything is done for those that are known."""
        for name, *targets in (("test", "mips64"), ("build", "mips64"), ("setup", "mips64"), ("demo", "mips64"),
                               ("test", "native", "mips64"), ("build", "native", "mips64"),
                               ("setup", "native", "mips64")):
            with self.subTest(name, targets=targets):
                result = script(name, *targets)
                self.assertEqual((result.returncode, result.stdout), (2, ""), result.stderr)
                self.assertIn(f'{name}: there is no target "mips64"', result.stderr)
                self.assert_lists_targets(result.stderr)

    def test_help_lists_the_known_ones(self):
        for name in ("test", "build"):
            result = script(name, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assert_lists_targets(result.stdout)

    def test_unknown_options_end_with_2(self):
        for name in ("test", "build", "demo", "footprint", "cross-musl", "debian-source", "fuzz", "bench",
                     "neighbour-sizes", "mutate", "abi", "bindings", "manual", "package"):
            result = script(name, "--no-such-option")
            self.assertEqual((name, result.returncode), (name, 2), result.stderr)


class EveryTarget(unittest.TestCase):
    def assert_are_there(self, names, there):
        self.assertTrue(names)
        self.assertEqual([name for name in names if name not in there], [])

    def test_is_explained(self):
        told = run("bash", "-c", 'source scripts/targets.bash && printf "%s\\n" "${!target_is[@]}"', cwd=PROJECT)
        self.assertEqual(sorted(told.stdout.split()), sorted(TARGETS))

    def test_has_presets(self):
        presets = json.loads((PROJECT / "CMakePresets.json").read_text())
        names = ["release" if target == "native" else target for target in TARGETS]
        for kind in "configurePresets", "buildPresets", "testPresets":
            self.assert_are_there(names, {preset["name"] for preset in presets[kind]})

    def test_has_its_packages_listed(self):
        listed = re.findall(r"(?m)^(\S+):", (PROJECT / "scripts" / "packages.list").read_text())
        self.assert_are_there([name for target in TARGETS for name in (target, f"build/{target}")], listed)


def put_program(folder, name, text="exit 1"):
    path = pathlib.Path(folder, name)
    path.write_text(f"#!/bin/sh\n{text}\n")
    path.chmod(0o755)


class MissingProgram(unittest.TestCase):
    """Where cmake and these are all that there is: this machine may have more or less."""

    TOOLCHAINS = ("mips-linux-gnu-gcc", "mips-linux-gnu-g++", "musl-gcc", "qemu-mips")

    def test_names_the_package_that_brings_it(self):
        for preset, program, package in (("mips", "mips-linux-gnu-gcc", "gcc-mips-linux-gnu"),
                                         ("mips", "mips-linux-gnu-g++", "g++-mips-linux-gnu"),
                                         ("mips-musl", "mips-linux-gnu-gcc", "gcc-mips-linux-gnu"),
                                         ("musl", "musl-gcc", "musl-tools"), ("mips", "qemu-mips", "qemu-user"),
                                         ("mips-musl", "qemu-mips", "qemu-user")):
            with self.subTest(preset, program=program), \
                    tempfile.TemporaryDirectory() as build, tempfile.TemporaryDirectory() as programs:
                for name in set(self.TOOLCHAINS) - {program}:
                    put_program(programs, name)
                result = run(shutil.which("cmake"), "--preset", preset, "-B", build, cwd=PROJECT,
                             env={**os.environ, "PATH": programs})
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(f"{program} is missing: the package {package} brings it", result.stderr)


class MissingPackages(unittest.TestCase):
    """Setup where nothing is installed at first: apt-get is one that notes what it is asked for."""

    # Says what it does as apt does, to whom APT::Status-Fd names; DENIED has what it cannot install.
    APT = """echo "$*" | sed 's/-o [^ ]* //g; s/^ *//' >>"$FOLDER/asked"
        case "$*" in
            *update) [ -z "$UNREACHABLE" ] || echo "Err:1 http://packages.invalid bookworm InRelease" ;;
            *install*)
                echo "dlstatus:1:20.5:Retrieving file 1 of 2"
                echo "pmstatus:g++:41.7:Unpacking g++ (amd64)"
                if [ -n "$DENIED" ]; then echo "E: Unable to locate package $DENIED"; exit 100; fi
                for word; do echo "$word" >>"$FOLDER/installed"; done ;;
        esac"""
    DPKG_QUERY = """[ -e "$FOLDER/installed" ] || exit 1
        while read -r package; do echo "$package installed"; done <"$FOLDER/installed" """

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

        self.tools = self.folder / "tools"
        self.tools.mkdir()
        for name in ("sh", "bash", "env", "sed", "sort", "uniq", "comm", "mktemp", "rm", "cat", "tail", "grep", "paste",
                     "fold", "dirname"):  # there is no sudo
            (self.tools / name).symlink_to(shutil.which(name))
        for name, text in ("id", "echo 0"), ("apt-get", self.APT), ("dpkg-query", self.DPKG_QUERY):
            put_program(self.tools, name, text)

    def setup(self, *names, stdout=subprocess.PIPE, **variables):
        return subprocess.run([str(PROJECT / "scripts" / "setup"), *names], stdin=subprocess.DEVNULL, stdout=stdout,
                              stderr=subprocess.PIPE, text=True, timeout=100,
                              env={"PATH": str(self.tools), "FOLDER": str(self.folder), **variables})

    def asked(self):
        return (self.folder / "asked").read_text().splitlines()

    def test_are_installed_at_once_and_not_again(self):
        result = self.setup("native", "mips", "lint")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        update, install = self.asked()
        self.assertEqual(update, "update")
        self.assertRegex(install, r"^install --yes --no-install-recommends ")
        packages = install.split()[3:]
        self.assertLessEqual({"g++", "cmake", "g++-mips-linux-gnu", "qemu-user", "cppcheck", "spin"}, set(packages))
        self.assertEqual(len(packages), len(set(packages)))
        self.assertEqual(result.stdout, f"setup: installing {len(packages)} packages: {' '.join(packages)}\n")
        result = self.setup("native")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual(len(self.asked()), 2)

    def test_that_another_package_brings_are_not_installed(self):
        put_program(self.tools, "dpkg-query", 'case "$*" in *Provides*) echo "installed sandboxes, bubblewrap (= 1)" ;; esac')
        result = self.setup("sandbox")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_are_told_in_one_line_of_a_terminal(self):
        main, terminal = os.openpty()
        self.addCleanup(os.close, main)
        try:
            self.assertEqual(self.setup("sandbox", stdout=terminal).returncode, 0)
        finally:
            os.close(terminal)
        begin = "\r\x1b[Ksetup: "
        self.assertEqual(read_to_the_end(main),
                         f"{begin}asking which packages there are{begin}downloading: 20 %"
                         f"{begin}installing 1 package: 41 %{begin}installing 1 package: done\r\n")

    def test_that_cannot_be_had_are_named(self):
        for name, denied, environment, missing, network in (
                ("build/musl", "musl-tools", {}, "cmake g++ libc++-dev musl-tools ninja-build", ""),
                ("sandbox", "bubblewrap", {"UNREACHABLE": "1"}, "bubblewrap",
                 "setup: the package registry was not reached; is there a network?\n")):
            result = self.setup(name, DENIED=denied, **environment)
            self.assertEqual(result.returncode, 1)
            self.assertIn(f"E: Unable to locate package {denied}\n", result.stderr)
            self.assertIn(f"setup: could not be had: the packages {missing}\n{network}", result.stderr)
            self.assertEqual("registry" in result.stderr, network != "")

    def test_that_only_root_can_install_are_named(self):
        put_program(self.tools, "id", "echo 1000")
        for name, package in (("mips", "qemu-user"), ("mips", "g++-mips-linux-gnu"), ("musl", "musl-tools"),
                              ("mips-musl", "qemu-user"), ("mips-musl", "g++-mips-linux-gnu"), ("valgrind", "valgrind"),
                              ("native", "g++"), ("fuzz", "libclang-rt-14-dev"), ("native", "spin"), ("lint", "cppcheck")):
            result = self.setup(name)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertIn("setup: missing here, and only root can install them: ", result.stderr)
            self.assertIn(package, result.stderr.split())

    def test_are_only_those_that_are_used(self):
        put_program(self.tools, "id", "echo 1000")
        missing = {name: set(self.setup(name).stderr.split()) for name in ("native", "build/native")}
        self.assertNotIn("qemu-user", missing["native"])
        for package in ("libgtest-dev", "python3", "spin", "mandoc", "abigail-tools", "busybox", "bubblewrap"):
            self.assertIn(package, missing["native"])
            self.assertNotIn(package, missing["build/native"])


class MissingGoogleTest(unittest.TestCase):
    def configure(self, *options):
        """Gives what CMake says, and whether it would build the library and any test."""
        with tempfile.TemporaryDirectory() as build:
            result = run("cmake", "-G", "Ninja", "-S", PROJECT, "-B", build, "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON",
                         *options)
            rules = pathlib.Path(build, "build.ninja")
            rules = rules.read_text() if rules.exists() else ""
        return result, "lib/liblterouter.so" in rules, "c_lc_list" in rules

    def test_leaves_the_tests_out_that_need_it_and_says_so(self):
        for options, with_tests in (([], False), (["-DLTEROUTER_GTEST=OFF"], True)):
            result, library, tests = self.configure(*options)
            self.assertEqual((result.returncode, library, tests), (0, True, with_tests), result.stderr)
            self.assertEqual("Without the tests: the packages that they are built with are missing: libgtest-dev\n"
                             in result.stdout, not with_tests)

    def test_fails_where_the_tests_are_asked_for(self):
        result, library, tests = self.configure("-DLTEROUTER_TESTS=ON")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("GTest", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
