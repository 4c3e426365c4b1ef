"""The installed copy: every file in the place that the GNU directory conventions name; and projects outside,
in C and in C++, find it with pkg-config and with CMake, also after it was moved.

usage: installed_test.py INSTALLED_PREFIX SOURCE_DIR VERSION CMAKE_CACHE C_COMPILER CXX_COMPILER [EMULATOR...]
  CMAKE_CACHE               of the build that was installed
  C_COMPILER, CXX_COMPILER  each with its options, as one argument"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PREFIX, SOURCE = (pathlib.Path(path) for path in sys.argv[1:3])
VERSION, CACHE = sys.argv[3], pathlib.Path(sys.argv[4]).read_text()
C, CXX = sys.argv[5:7]
EMULATOR = sys.argv[7:]
OUTSIDE = pathlib.Path(__file__).parent / "outside"
PRINTS = {"c": "message 42 of an outside project\n", "cxx": "a list of 1 in an outside project\n"}


def cached(name):
    found = re.search(rf"^{name}:\w+=(.*)$", CACHE, re.M)
    return found.group(1) if found else ""


def names(pattern):
    return {path.name for path in SOURCE.glob(pattern)}


def anchors(page):
    """What links to the headings of a page end with."""
    for heading in re.findall(r"^#+ (.*)$", page.read_text(), re.M):
        yield re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")


def places():
    """Each folder below the prefix with the files that belong there."""
    lib = cached("CMAKE_INSTALL_LIBDIR")
    soname = f"liblterouter.so.{VERSION.split('.')[0]}"
    tools = {"ltectl", "modemsim", "wansim"}
    if cached("LTEROUTER_WEB") != "OFF" and cached("LTEROUTER_MICROHTTPD").startswith("/"):
        tools.add("lteweb")
    return {
        "bin": tools,
        "include/lterouter": names("include/*.h"),
        lib: {"liblterouter.a", "liblterouter.so", soname, f"liblterouter.so.{VERSION}"},
        f"{lib}/pkgconfig": {"lterouter.pc"},
        f"{lib}/cmake/lterouter": {"lterouterConfig.cmake", "lterouterConfigVersion.cmake", "lterouterTargets.cmake",
                                   f"lterouterTargets-{cached('CMAKE_BUILD_TYPE').lower()}.cmake"},
        "share/bash-completion/completions": tools,
        "share/fish/vendor_completions.d": {f"{tool}.fish" for tool in tools},
        "share/zsh/vendor-completions": {"_lterouter"},
        "share/doc/lterouter": {"README.md", "CHANGELOG.md", "CONTRIBUTING.md"},
        "share/doc/lterouter/docs": names("docs/*.md") | names("docs/*.svg") | names("docs/*.png"),
        "share/lterouter": names("share/*"),
        "share/man/man1": names("docs/man/*.1"),
        "share/man/man3": names("docs/man/*.3"),
    }


class Layout(unittest.TestCase):
    maxDiff = None

    def test_every_file_is_where_the_conventions_want_it(self):
        found = {}
        for path in PREFIX.rglob("*"):
            if not path.is_dir() or path.is_symlink():
                found.setdefault(str(path.parent.relative_to(PREFIX)), set()).add(path.name)
        self.assertEqual(found, places())

    def test_links_lead_from_the_developers_name_to_the_soname_to_the_library(self):
        folder = PREFIX / cached("CMAKE_INSTALL_LIBDIR")
        soname = f"liblterouter.so.{VERSION.split('.')[0]}"
        self.assertEqual(os.readlink(folder / "liblterouter.so"), soname)
        self.assertEqual(os.readlink(folder / soname), f"liblterouter.so.{VERSION}")

    def test_every_tool_and_every_header_has_its_page(self):
        pages = {path.name for path in PREFIX.rglob("man?/*")}
        self.assertLessEqual({"ltectl.1", "modemsim.1", "wansim.1"}, pages)
        families = {f"{path.stem}.3" for path in SOURCE.glob("include/*.h")} - {"lc_api.3"}
        self.assertLessEqual(families, pages)

    def test_the_files_for_builders_name_no_place_of_the_build(self):
        for pattern in ("*.pc", "*.cmake"):
            for path in PREFIX.rglob(pattern):
                self.assertNotIn(str(SOURCE), path.read_text(), path)

    def test_the_links_of_the_documents_lead_to_files_and_headings(self):
        for document in (PREFIX / "share/doc/lterouter").rglob("*.md"):
            for link in re.findall(r"\]\(([^):]+)\)", document.read_text()):
                name, _, heading = link.partition("#")
                target = document.parent / name if name else document
                self.assertTrue(target.exists(), f"{document}: {link}")
                if heading:
                    self.assertIn(heading, anchors(target), f"{document}: {link}")


class Outside(unittest.TestCase):
    """A copy of the project builds against a moved copy of what was installed."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.prefix = self.folder / "elsewhere"
        shutil.copytree(PREFIX, self.prefix, symlinks=True)
        self.libraries = self.prefix / cached("CMAKE_INSTALL_LIBDIR")
        # There is no C++ run time for musl.
        self.environment = {**os.environ, "CXXFLAGS": "-fno-exceptions" if "musl" in C else ""}

    def project(self, language):
        return shutil.copytree(OUTSIDE / language, self.folder / language)

    def call(self, *command, **more):
        result = subprocess.run(command, capture_output=True, text=True, env={**self.environment, **more})
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return result.stdout

    def toolchain(self):
        names = "CMAKE_C_COMPILER", "CMAKE_CXX_COMPILER", "CMAKE_TOOLCHAIN_FILE"
        return [f"-D{name}={cached(name)}" for name in names if cached(name)]

    def with_pkg_config(self, language):
        project = self.project(language)
        self.call("make", "-C", project, f"CC={C}", f"CXX={CXX}", PKG_CONFIG_PATH=str(self.libraries / "pkgconfig"))
        printed = self.call(*EMULATOR, project / "main", LD_LIBRARY_PATH=str(self.libraries))
        self.assertEqual(printed, PRINTS[language])

    def with_cmake(self, language):
        project = self.project(language)
        build = project / "build"
        where = f"-DCMAKE_PREFIX_PATH={self.prefix}"
        if cached("CMAKE_TOOLCHAIN_FILE"):  # which has packages looked for below its own root alone
            where = f"-Dlterouter_DIR={self.libraries / 'cmake/lterouter'}"
        self.call("cmake", "-S", project, "-B", build, *self.toolchain(), where)
        self.call("cmake", "--build", build)
        for library in ("lterouter", "lterouter_static"):
            program = build / f"outside_{library}"
            self.assertEqual(self.call(*EMULATOR, program), PRINTS[language])
            needed = self.call("readelf", "--dynamic", program)
            self.assertEqual("[liblterouter.so." in needed, library == "lterouter", needed)

    def test_a_c_project_with_pkg_config(self):
        self.with_pkg_config("c")

    def test_a_cxx_project_with_pkg_config(self):
        self.with_pkg_config("cxx")

    def test_a_c_project_with_cmake(self):
        self.with_cmake("c")

    def test_a_cxx_project_with_cmake(self):
        self.with_cmake("cxx")

    def test_cmake_takes_the_tree_as_a_part_of_another_project(self):
        project = self.folder / "whole"
        shutil.copytree(OUTSIDE / "c", project / "outside")
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(whole LANGUAGES C CXX)\n"
            f"add_subdirectory({SOURCE} lterouter)\n"
            "add_executable(outside outside/main.c)\ntarget_link_libraries(outside PRIVATE lterouter::lterouter)\n")
        self.call("cmake", "-S", project, "-B", project / "build", *self.toolchain())
        self.call("cmake", "--build", project / "build", "-j2")
        self.assertEqual(self.call(*EMULATOR, project / "build/outside"), PRINTS["c"])
        self.assertEqual(list(project.glob("build/lterouter/tools")), [])

    def test_cmake_refuses_folders_that_would_not_move_with_the_copy(self):
        for folder in ("LIBDIR", "INCLUDEDIR"):
            with self.assertRaisesRegex(AssertionError, rf"CMAKE_INSTALL_{folder} is to be relative"):
                self.call("cmake", "-S", SOURCE, "-B", self.folder / folder, f"-DCMAKE_INSTALL_{folder}=/opt/lib",
                          "-DLTEROUTER_TESTS=OFF")

    def test_cmake_refuses_a_copy_of_another_major_version(self):
        major = VERSION.split(".")[0]
        listfile = OUTSIDE / "c/CMakeLists.txt"
        wants = re.sub(r"(?<=find_package\(lterouter )\S+", str(int(major) + 1), listfile.read_text())
        with self.assertRaisesRegex(AssertionError, rf"lterouterConfig.cmake, version: {re.escape(VERSION)}"):
            project = self.folder / "newer"
            project.mkdir()
            (project / "CMakeLists.txt").write_text(wants)
            self.call("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={self.prefix}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
