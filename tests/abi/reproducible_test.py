"""Built and installed from two folders, the library and the tools are the same bytes, and so are their debug
information and every other file.

usage: reproducible_test.py SOURCE_DIR CMAKE_CACHE
  CMAKE_CACHE  of the build whose compilers and options are taken"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv[1])
CACHE = dict(re.findall(r"^(\w+):\w+=(.*)$", pathlib.Path(sys.argv[2]).read_text(), re.M))
KIND = CACHE["CMAKE_BUILD_TYPE"]
KEPT = ("CMAKE_BUILD_TYPE", "CMAKE_TOOLCHAIN_FILE", "CMAKE_C_COMPILER", "CMAKE_CXX_COMPILER", "CMAKE_C_FLAGS",
        "CMAKE_CXX_FLAGS", f"CMAKE_C_FLAGS_{KIND.upper()}", f"CMAKE_CXX_FLAGS_{KIND.upper()}", "LTEROUTER_WERROR")

# Of different lengths and depths.
FOLDERS = (("a", "a/build/b"), ("another/place/lterouter", "somewhere/else/entirely/out"))

# Make of the archivers those that note times and owners unless they are told not to.
NOTING = {"CMAKE_AR": 'case $1 in *D*) ;; *) does=$1; shift; set -- "${does}U" "$@" ;; esac',
          "CMAKE_RANLIB": '[ "$1" = -D ] || set -- -U "$@"'}


def files(folder):
    return {str(path.relative_to(folder)): path for path in sorted(folder.rglob("*")) if path.is_file()}


class Reproducible(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory()
        cls.addClassCleanup(place.cleanup)
        cls.place = pathlib.Path(place.name)
        # No cache: it hands out what was compiled in another folder.
        cls.environment = {name: value for name, value in os.environ.items()
                           if not re.match("(CMAKE|CCACHE)_|C(XX)?FLAGS$|DESTDIR$", name)} | {"CCACHE_DISABLE": "1"}
        cls.archivers = [*cls.noting_archivers()]
        cls.builds = [cls.build(cls.place / source, cls.place / build) for source, build in FOLDERS]

    @classmethod
    def noting_archivers(cls):
        for name, note in NOTING.items():
            path = cls.place / name
            path.write_text(f'#!/bin/sh\n{note}\nexec {CACHE[name]} "$@"\n')
            path.chmod(0o755)
            yield f"-D{name}={path}"

    @classmethod
    def call(cls, *command):
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                env=cls.environment)
        if result.returncode != 0:
            raise AssertionError(f"{command} ended with {result.returncode}:\n{result.stdout}")

    @classmethod
    def build(cls, source, build):
        """Gives the build folder, in which what is installed lies too."""
        shutil.copytree(SOURCE, source, ignore=lambda folder, names: {".git", "build", "tests"} & {*names})
        (source / "build").mkdir()
        (source / "build/musl-mips").symlink_to(SOURCE / "build/musl-mips")  # a toolchain may want it
        # With debug information too where there would be none: names of folders get there first.
        options = {name: CACHE[name].replace(str(SOURCE), str(source)) + (" -g" if name.endswith("_FLAGS") else "")
                   for name in KEPT if name in CACHE}
        cls.call("cmake", "-S", source, "-B", build, "-G", CACHE["CMAKE_GENERATOR"], "-DLTEROUTER_TESTS=OFF",
                 *cls.archivers, *(f"-D{name}={value}" for name, value in options.items()))
        cls.call("cmake", "--build", build, "-j2")
        cls.call("cmake", "--install", build, "--prefix", build / "installed")
        return build

    def assert_same(self, names, one, other):
        self.assertEqual([name for name in names if one[name].read_bytes() != other[name].read_bytes()], [])

    def test_all_that_is_installed(self):
        one, other = (files(build / "installed") for build in self.builds)
        self.assertEqual(one.keys(), other.keys())
        self.assertLessEqual({"bin/ltectl", "bin/wansim", "bin/modemsim"}, one.keys())
        self.assertTrue([name for name in one if name.endswith("liblterouter.a")])
        self.assert_same(one, one, other)

    def test_the_debug_information_of_a_release(self):
        one, other = (files(build) for build in self.builds)
        names = [name for name in one if name.endswith(".debug")]
        of_release = {"lib/liblterouter.so", "tools/ltectl.debug", "tools/modemsim.debug", "tools/wansim.debug"}
        if CACHE.get("LTEROUTER_MICROHTTPD", "").startswith("/"):
            of_release.add("tools/lteweb.debug")
        there = KIND == "Release" and not CACHE.get("CMAKE_TOOLCHAIN_FILE")
        found = {re.sub(r"\.so\..*", ".so", name) for name in names}
        self.assertEqual(found, of_release if there else set())
        self.assert_same(names, one, other)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
