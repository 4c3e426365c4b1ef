"""The recipes for other build systems and the lists of the Debian packages: each recipe is run by GNU make with
what its build system defines for it (openwrt/, buildroot.mk), on a source archive of this tree and with this
machine's compiler; what comes out is compared with what a full installation lays out.

usage: recipes_test.py PROJECT"""

import fnmatch
import functools
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import init_scripts  # noqa: E402
from exports import exported  # noqa: E402

PROJECT = pathlib.Path(sys.argv.pop(1))
HERE = PROJECT / "tests" / "packaging"
PACKAGING = PROJECT / "packaging"
DEBIAN = PROJECT / "debian"
WORK = pathlib.Path("/tmp/recipes")
ARCHIVES = WORK / "archives"

TOOLS = {f"usr/bin/{tool}" for tool in ("ltectl", "modemsim", "wansim")} | {"usr/share/lterouter/default.cfg"}
WEB = {"usr/bin/lteweb"}
COMPLETION = {f"usr/share/bash-completion/completions/{tool}" for tool in ("ltectl", "modemsim", "wansim")}
# For people and for other machines; no router has a use for them.
LEFT_OUT = ("usr/share/bash-completion/", "usr/share/doc/", "usr/share/fish/", "usr/share/lterouter/lterouter.lua",
            "usr/share/lterouter/lterouter-dashboard.json",
            "usr/share/man/", "usr/share/zsh/")


def text(*path):
    return PROJECT.joinpath(*path).read_text()


def first(pattern, *path):
    return re.search(pattern, text(*path), re.M).group(1)


VERSION = first(r"^project\(lterouter VERSION (\S+)", "CMakeLists.txt")
MAJOR = VERSION.split(".")[0]
LIBRARY = {f"usr/lib/liblterouter.so.{version}" for version in (MAJOR, VERSION)}
DEVELOPMENT_FOLDERS = ("usr/include/lterouter/", "usr/lib/cmake/lterouter/")
DEVELOPMENT = {f"usr/lib/liblterouter.{suffix}" for suffix in ("a", "so")} | {"usr/lib/pkgconfig/lterouter.pc"}


def run(*command, **variables):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                            env={**os.environ, **variables})
    if result.returncode != 0:
        raise AssertionError(f"{command} ended with {result.returncode}:\n{result.stdout[-5000:]}")
    return result.stdout


def files(folder):
    """All that is no folder, by its path below this one."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_symlink() or path.is_file()}


def below(paths, *folders):
    return {path for path in paths if path.startswith(folders)}


def make_archive():
    """The source as recipes expect it; without what is built, and what no one builds from."""
    ARCHIVES.mkdir(parents=True)
    with tarfile.open(ARCHIVES / f"lterouter_{VERSION}.orig.tar.gz", "w:gz", compresslevel=1) as archive:
        for entry in PROJECT.iterdir():
            if entry.name not in (".git", "build", "debian", "tests"):
                archive.add(entry, f"lterouter-{VERSION}/{entry.name}")


def boot_script_calls(test, *shell):
    """What a boot script has ltectl do when it is run like this."""
    folder = WORK / test
    folder.mkdir(exist_ok=True)
    fake, calls = folder / "ltectl", folder / "calls"
    fake.write_text(f'#!/bin/sh\necho "$@" >>{calls}\n')
    fake.chmod(0o755)
    calls.write_text("")
    run("sh", *shell, PATH=f"{folder}:/usr/bin")
    return calls.read_text().splitlines()


@functools.cache
def run_openwrt():
    out = WORK / "openwrt"
    out.mkdir()
    run("make", "-C", PACKAGING / "openwrt/lterouter", f"TOPDIR={HERE}/openwrt", f"OUT={out}", f"DL_DIR={ARCHIVES}",
        "CONFIG_PACKAGE_lterouter-web=y")
    return out


class OpenWrt(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = run_openwrt()
        cls.installed = files(cls.out / "installed")
        cls.staged = files(cls.out / "staging")

    def package(self, name):
        return files(self.out / "packages" / name)

    def about(self, name):
        """The version of its interface, and what it depends on."""
        return (self.out / "about" / name).read_text().split()

    def test_has_the_library_the_tools_and_the_script_in_a_package_each(self):
        self.assertEqual(self.package("liblterouter"), LIBRARY)
        self.assertEqual(self.package("lterouter-tools"), TOOLS)
        self.assertEqual(self.package("lterouter-store"), {"etc/init.d/lterouter"})
        self.assertEqual(self.package("lterouter-web"), WEB | {"etc/init.d/lteweb", "etc/config/lteweb"})

    def test_packages_depend_on_what_they_use(self):
        self.assertEqual(self.about("liblterouter"), [MAJOR, "+libpthread"])
        self.assertEqual(self.about("lterouter-tools"), ["+liblterouter"])
        self.assertEqual(self.about("lterouter-store"), ["+lterouter-tools"])
        self.assertEqual(self.about("lterouter-web"), ["+lterouter-tools", "+libmicrohttpd-no-ssl"])

    def test_an_upgrade_keeps_what_the_owner_has_set_for_the_page(self):
        self.assertEqual(self.about("lterouter-web.conffiles"), ["/etc/config/lteweb", "/etc/lteweb.passwd"])

    def test_page_is_started_with_what_its_configuration_says(self):
        installed = (self.out / "packages/lterouter-web/etc/config/lteweb").read_text()
        self.assertEqual(init_scripts.openwrt_command(PROJECT, installed), ["/usr/bin/lteweb"])
        everything = re.sub("^#\t", "\t", installed, flags=re.M)
        self.assertEqual(init_scripts.openwrt_command(PROJECT, everything), [
            "/usr/bin/lteweb", "--listen", "127.0.0.1:8080", "--interface", "wwan0", "--sample", "10",
            "--password-file", "/etc/lteweb.passwd", "--image-folder", "/tmp", "--image-limit", "64",
            "--host", "192.168.1.1", "--host", "router.lan"])

    def test_all_that_is_installed_is_in_a_package_or_staged_or_left_out(self):
        self.assertEqual(self.installed - LIBRARY - TOOLS - WEB - self.staged, below(self.installed, *LEFT_OUT))

    def test_staged_is_what_a_program_is_built_with(self):
        self.assertEqual(self.staged, DEVELOPMENT | LIBRARY | below(self.installed, *DEVELOPMENT_FOLDERS))
        self.assertEqual(below(self.staged, "usr/include/"),
                         {f"usr/include/lterouter/{header.name}" for header in (PROJECT / "include").iterdir()})
        self.assertIn("usr/lib/cmake/lterouter/lterouterConfig.cmake", self.staged)

    def test_programs_look_for_libraries_where_the_system_does(self):
        for path in below(LIBRARY | TOOLS, "usr/bin/", "usr/lib/"):
            self.assertNotRegex(run("readelf", "--dynamic", self.out / "installed" / path), "RUNPATH|RPATH")

    def test_boot_script_opens_the_store_at_boot_and_closes_it_at_shutdown(self):
        script = self.out / "packages/lterouter-store/etc/init.d/lterouter"
        # As the system's rc.common does it.
        run_action = 'start() { :; }; stop() { :; }; boot() { start; }; shutdown() { stop; }; . "$0"; "$1"'
        for action, calls in {"boot": ["nv init"], "shutdown": ["nv fin"], "start": [], "stop": []}.items():
            self.assertEqual(boot_script_calls("openwrt", "-c", run_action, script, action), calls, action)


class Buildroot(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = WORK / "buildroot"
        cls.out.mkdir()
        cls.everything = cls.target("TOOLS", "STORE")

    @classmethod
    def target(cls, *options, bash=""):
        """What is on the target with these options of the package; built once."""
        shutil.rmtree(cls.out / "target", ignore_errors=True)
        (cls.out / "build/lterouter/.target").unlink(missing_ok=True)
        run("make", "-f", HERE / "buildroot.mk", f"OUT={cls.out}", f"BR2_PACKAGE_BASH={bash}",
            f"BR2_EXTERNAL_LTEROUTER_PATH={PACKAGING}/buildroot", f'BR2_PACKAGE_LTEROUTER_ARCHIVES="{ARCHIVES}"',
            *(f"BR2_PACKAGE_LTEROUTER_{option}=y" for option in options))
        return files(cls.out / "target")

    def test_target_has_what_is_chosen(self):
        library = LIBRARY | {"usr/lib/liblterouter.so"}
        self.assertEqual(self.everything, library | TOOLS | {"etc/init.d/S12lterouter"})
        self.assertEqual(self.target("TOOLS"), library | TOOLS)
        self.assertEqual(self.target("TOOLS", bash="y"), library | TOOLS | COMPLETION)
        self.assertEqual(self.target(bash="y"), library)

    def test_page_comes_with_its_script_and_its_options(self):
        script, options = "etc/init.d/S95lteweb", "etc/default/lteweb"
        self.assertEqual(self.target("TOOLS", "WEB") - self.target("TOOLS"), {script, options})
        self.target("WEB")
        installed = (self.out / "target" / options).read_text()
        for text_of_options in None, installed:
            self.assertEqual(init_scripts.buildroot_command(PROJECT, text_of_options), ["/usr/bin/lteweb"])
        told = installed.replace('=""', '="--host 192.168.1.1 --host router.lan"')
        self.assertEqual(init_scripts.buildroot_command(PROJECT, told),
                         ["/usr/bin/lteweb", "--host", "192.168.1.1", "--host", "router.lan"])

    def test_staged_is_all_that_is_installed(self):
        staged = files(self.out / "staging")
        self.assertEqual(staged - DEVELOPMENT - LIBRARY - TOOLS - below(staged, *DEVELOPMENT_FOLDERS),
                         below(staged, *LEFT_OUT))
        self.assertLessEqual(DEVELOPMENT | LIBRARY, staged)

    def test_options_that_the_recipe_asks_for_can_be_chosen(self):
        folder = PACKAGING / "buildroot/lterouter"
        asked = set(re.findall(r"\((BR2_PACKAGE_LTEROUTER_\w+)\)", (folder / "lterouter.mk").read_text()))
        offered = set(re.findall(r"^config (BR2_PACKAGE_LTEROUTER_\w+)", (folder / "Config.in").read_text(), re.M))
        self.assertEqual(asked, offered)

    def test_boot_script_opens_the_store_at_boot_and_closes_it_at_shutdown(self):
        script = PACKAGING / "buildroot/lterouter/S12lterouter"
        for action, calls in {"start": ["nv init"], "stop": ["nv fin"], "restart": [], "reload": []}.items():
            self.assertEqual(boot_script_calls("buildroot-script", script, action), calls, action)


class Debian(unittest.TestCase):
    def test_every_installed_file_is_in_one_package_and_every_line_of_a_list_names_some(self):
        build = run_openwrt() / f"lterouter-{VERSION}/build"
        documents = first(r"(-DCMAKE_INSTALL_DOCDIR=\S+)", "debian/rules")
        bindings = first(r'"(-DLTEROUTER_BINDINGS=[^"]+)"', "debian/rules")
        page = first(r"(-DLTEROUTER_WEB=\S+)", "debian/rules")
        run("cmake", "-DCMAKE_INSTALL_LIBDIR=lib/some-triplet", documents, bindings, page, build)
        run("cmake", "--build", build)
        run("cmake", "--install", build, DESTDIR=str(WORK / "debian"))
        lists = {path.stem: path.read_text().split() for path in DEBIAN.glob("*.install")}
        matched = set()
        for file in sorted(files(WORK / "debian")):
            lines = [(package, pattern) for package, patterns in lists.items() for pattern in patterns
                     if fnmatch.fnmatch(file, pattern) or fnmatch.fnmatch(file, pattern + "/*")]
            self.assertEqual(len(lines), 1, f"{file}: {lines}")
            matched.update(lines)
        self.assertEqual(matched, {(package, line) for package, lines in lists.items() for line in lines})

    def test_lists_are_those_of_packages(self):
        packages = set(re.findall(r"^Package: (\S+)", text("debian/control"), re.M))
        self.assertEqual({path.stem for path in DEBIAN.glob("*.install")}, packages)
        self.assertIn(f"liblterouter{MAJOR}", packages)

    def test_purging_the_page_leaves_neither_password_nor_options(self):
        made = [pathlib.Path(path) for path in ("/etc/lteweb.passwd", "/etc/default/lteweb")]
        script = DEBIAN / "lterouter-web.postrm"
        for path in made:
            path.parent.mkdir(exist_ok=True)
            path.touch()
        for action, left in ("upgrade", made), ("remove", made), ("purge", []):
            run("sh", script, action)
            self.assertEqual([path for path in made if path.exists()], left, action)

    def test_symbols_are_those_that_the_library_exports(self):
        listed = re.findall(r"^ (\S+)@LTEROUTER_1 ", text(f"debian/liblterouter{MAJOR}.symbols"), re.M)
        self.assertEqual(sorted(listed), sorted({"LTEROUTER_1"} | exported(PROJECT / "lib/exports.map")))

    def test_the_changelog_names_each_symbol_where_it_appears(self):
        changes = {version: part for version, part in
                   re.findall(r"^## ([\d.]+)(.*?)(?=^## |\Z)", text("CHANGELOG.md"), re.M | re.S)}
        versions = re.findall(r"^ (\w+)@LTEROUTER_1 (\S+)$", text(f"debian/liblterouter{MAJOR}.symbols"), re.M)
        first_version = min((version for _, version in versions), key=lambda told: [int(part) for part in told.split(".")])
        self.assertEqual([name for name, version in versions
                          if version != first_version and f"`{name}`" not in changes.get(version, "")], [])


class Versions(unittest.TestCase):
    def test_are_the_projects_everywhere(self):
        for pattern, path in ((r"^lterouter \(([\d.]+)-\d+\)", "debian/changelog"),
                              (r"^## ([\d.]+)", "CHANGELOG.md"),
                              (r"^PKG_VERSION:=(\S+)", "packaging/openwrt/lterouter/Makefile"),
                              (r"^LTEROUTER_VERSION = (\S+)", "packaging/buildroot/lterouter/lterouter.mk")):
            self.assertEqual(first(pattern, path), VERSION, path)
        self.assertEqual(set(re.findall(r"lterouter_([\d.]+)\.orig", text("packaging/README.md"))), {VERSION})


if __name__ == "__main__":
    make_archive()
    unittest.main(argv=sys.argv[:1], verbosity=2)
