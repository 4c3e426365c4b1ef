"""What the sandbox keeps from what is outside, and which way it takes where some are forbidden. It makes sandboxes
in the one that it runs in, of a project that has nothing but scripts/sandbox and what it reads. usage: sandbox_test.py PROJECT"""

import contextlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
CONTAINER_MARK = pathlib.Path("/run/.containerenv")
WAYS = ("user", "root", "user-proc", "root-proc")

# A /proc as machines have it; what root's sandbox has is partly covered. In a container that is all there can be.
WHOLE_PROC = subprocess.run(["mount", "-t", "proc", "proc", "/proc"], capture_output=True).returncode == 0


def content(folder):
    """Every file below it with what is in it, and every folder."""
    return {path: path.read_text() if path.is_file() else None for path in pathlib.Path(folder).rglob("*")}


class Checkout(unittest.TestCase):
    PARENT = "/tmp"

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=self.PARENT)
        self.addCleanup(folder.cleanup)
        self.around = pathlib.Path(folder.name)
        self.project = self.around / "checkout"
        for name in "scripts", "lib/inner", "build/release":
            (self.project / name).mkdir(parents=True)
        for name in "sandbox", "usage.bash":
            shutil.copy(PROJECT / "scripts" / name, self.project / "scripts")
        for file in "checkout/README", "checkout/lib/inner/file", "beside":
            (self.around / file).write_text("kept")

    def sandbox(self, *command, cwd=None, way=None, path=None, wrapper=()):
        environment = {name: value for name, value in os.environ.items() if name != "LTEROUTER_SANDBOX_WAY"}
        if way:
            environment["LTEROUTER_SANDBOX_WAY"] = way
        if path:
            environment["PATH"] = f"{path}:{environment['PATH']}"
        return subprocess.run([*wrapper, self.project / "scripts" / "sandbox", *command], cwd=cwd or self.project,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, env=environment)

    def sh(self, script, **options):
        return self.sandbox("sh", "-c", script, **options)

    def assert_prints(self, expected, result):
        self.assertEqual((result.returncode, result.stdout), (0, expected), result.stderr)


class Folders(Checkout):
    # Whoever wrecks all that can be written; what is mounted cannot be removed.
    WRECK = "rm -rf /tmp/* /2ndfile/* {} 2>/dev/null; touch /tmp/new {}/new 2>/dev/null; true"

    def wreck(self, cwd, target):
        """What is left around the project, but for its build folder, when someone has tried to wreck a folder."""
        before = self.outside()
        self.assert_prints("", self.sh(self.WRECK.format(f"{target}/*", target), cwd=cwd))
        return before, self.outside()

    def outside(self):
        build = self.project / "build"
        return {path: text for path, text in content(self.around).items() if build not in path.parents}

    def test_project_is_kept_from_whom_stands_in_it_and_elsewhere(self):
        (self.around / "work").mkdir()
        for cwd in (*(self.project / name for name in ("", "lib", "lib/inner", "build")), "/", "/tmp", "/usr",
                    self.around / "work"):
            with self.subTest(cwd):
                before, after = self.wreck(cwd, self.project)
                self.assertEqual(after, before)

    def test_project_is_kept_from_whom_stands_above_it(self):
        before, after = self.wreck(self.around, self.around)
        self.assertEqual({path: text for path, text in before.items() if self.project in path.parents},
                         {path: text for path, text in after.items() if self.project in path.parents})
        self.assertNotIn(self.around / "beside", after)

    def test_build_folder_is_shared(self):
        self.assert_prints("", self.sh("echo made >here; echo made >../there", cwd=self.project / "build/release"))
        self.assertEqual((self.project / "build/release/here").read_text(), "made\n")
        self.assertEqual((self.project / "build/there").read_text(), "made\n")

    def test_current_folder_outside_is_shared_and_nothing_beside_it(self):
        work = self.around / "work"
        work.mkdir()
        self.assert_prints(f"{work}\ncheckout work\n",
                           self.sh(f"pwd; echo made >here; echo $(ls {self.around})", cwd=work))
        self.assertEqual(content(work), {work / "here": "made\n"})

    def test_folders_of_its_own_are_no_others(self):
        """Also when they are current."""
        for cwd in "/", "/tmp", "/2ndfile", "/dev", "/dev/shm":
            with self.subTest(cwd):
                self.assert_prints(f"{cwd}\n", self.sh("pwd; touch /tmp/new /2ndfile/new /dev/new /dev/shm/new", cwd=cwd))
        for folder in "/tmp", "/2ndfile", "/dev", "/dev/shm":
            self.assertFalse(pathlib.Path(folder, "new").exists(), folder)

    def test_system_cannot_be_changed(self):
        for cwd in self.project, "/usr":
            self.assertNotEqual(self.sh("touch /usr/new", cwd=cwd).returncode, 0)

    def test_current_folder_behind_a_link(self):
        (self.around / "link").symlink_to(self.project / "lib")
        self.assert_prints(f"{self.project}/lib\nkept", self.sh("pwd; cat inner/file", cwd=self.around / "link"))


class FoldersElsewhere(Folders):
    """The same for a project that is in none of the folders that the sandbox has of its own."""
    PARENT = "/root"

    @classmethod
    def setUpClass(cls):
        pathlib.Path(cls.PARENT).mkdir(exist_ok=True)


@contextlib.contextmanager
def covered_proc():
    """As container engines have it, for whoever is in a user namespace of its own."""
    subprocess.run(["mount", "-t", "tmpfs", "none", "/proc/fs"], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "/proc/fs"], check=True)


IN_A_USER_NAMESPACE = ("unshare", "--user", "--map-root-user", "--mount")
THE_LAST_ONE = (*IN_A_USER_NAMESPACE, "sh", "-c", 'echo 0 >/proc/sys/user/max_user_namespaces; exec "$@"', "sh")
WITHOUT_RIGHTS = (*THE_LAST_ONE, "setpriv", "--bounding-set", "-sys_admin")


class Ways(Checkout):
    """What the kernel allows decides, in namespaces in which it allows as little as elsewhere."""

    def setUp(self):
        super().setUp()
        if not WHOLE_PROC:
            self.skipTest("this container's own /proc is covered")

    def assert_way(self, expected, *wrapper):
        """It is taken, and gives own mounts, network and devices, full rights, the command's status, and nobody who is
        left behind."""
        result = self.sandbox("--way", wrapper=wrapper)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, f"{expected}\n", ""))
        result = self.sh("""id -u; echo $(ls /tmp /2ndfile); mount -t tmpfs none /2ndfile && touch /2ndfile/file || exit 1
                            ip -o link | grep -c .; read -r pid rest </proc/self/stat; [ "$pid" = $$ ] || exit 2
                            setsid unshare --mount sleep 4321 & sleep 4321 & [ -d /proc/$! ] || exit 3; exit 7""",
                         wrapper=wrapper)
        self.assertEqual((result.returncode, result.stdout, result.stderr), 
                         (7, f"0\n/2ndfile: /tmp: {self.around.name}\n1\n", ""))
        left = [path for path in pathlib.Path("/proc").glob("[0-9]*/cmdline") if path.read_text() == "sleep\0004321\0"]
        self.assertEqual(left, [])

    def test_anybodys_is_preferred_and_root_needs_none(self):
        """It is found again when something has changed."""
        for expected, wrapper in (("user", ()), ("user", IN_A_USER_NAMESPACE), ("root", THE_LAST_ONE), ("user", ()),
                                  ("root", THE_LAST_ONE)):
            self.assert_way(expected, *wrapper)

    def test_a_proc_that_is_covered_is_shared(self):
        with covered_proc():
            self.assert_way("user-proc", *IN_A_USER_NAMESPACE)
            self.assert_way("root-proc", *THE_LAST_ONE)

    def test_root_needs_as_many_rights_as_a_user_namespace_gives(self):
        """In the user namespace that has covered it, root can have another /proc."""
        with covered_proc():
            self.assert_way("root")
            for right in "-net_raw", "-net_admin", "-sys_ptrace":
                self.assert_way("user-proc", "setpriv", "--ambient-caps", right, "--inh-caps", right,
                                "--bounding-set", right)

    def assert_refused(self, advice):
        for command in (["--way"], ["true"]):
            result = self.sandbox(*command, wrapper=WITHOUT_RIGHTS)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            first, second = result.stderr.splitlines()
            self.assertRegex(first, "^sandbox: namespaces of one's own are refused here: bwrap: ")
            self.assertRegex(second, advice)

    def test_says_what_is_refused(self):
        self.assert_refused("^sandbox: run it as root, or allow user namespaces")
        CONTAINER_MARK.parent.mkdir(exist_ok=True)
        CONTAINER_MARK.touch()
        self.addCleanup(CONTAINER_MARK.unlink)
        self.assert_refused("^sandbox: start the container with --security-opt seccomp=unconfined, or with --privileged$")


class Choice(Checkout):
    def way(self, **options):
        result = self.sandbox("--way", **options)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout.strip()

    def fake_bwrap(self, *refused):
        """One that notes each call, and refuses these options."""
        folder = self.around / "fakes"
        folder.mkdir()
        fake = folder / "bwrap"
        tests = "".join(f'*" {option} "*) echo "bwrap: no {option} here" >&2; exit 1 ;;\n' for option in refused)
        fake.write_text(f'#!/bin/sh\necho >>{folder}/calls\ncase " $* " in {tests} esac\n'
                        f'exec {shutil.which("bwrap")} "$@"\n')
        fake.chmod(0o755)
        return folder

    def calls(self):
        return len((self.around / "fakes/calls").read_text().splitlines())

    def test_is_sought_once(self):
        fakes = self.fake_bwrap("--unshare-pid")
        way = self.way(path=fakes)
        self.assertEqual(way, "user-proc")
        tried = self.calls()
        for _ in range(3):
            self.assert_prints("here\n", self.sandbox("echo", "here", path=fakes))
        self.assertEqual(self.calls(), tried + 3)

    def test_can_be_named(self):
        self.assert_prints("", self.sandbox("true", way="user-proc"))
        result = self.sandbox("true", path=self.fake_bwrap("--unshare-user"), way="user-proc")
        self.assertEqual((result.returncode, result.stderr), (1, "bwrap: no --unshare-user here\n"))
        result = self.sandbox("true", way="by-air")
        self.assertEqual((result.returncode, result.stderr), (2, 'sandbox: there is no way "by-air"\n'))

    def test_needs_bwrap(self):
        tools = self.around / "tools"
        tools.mkdir()
        for name in "bash", "env", "mkdir":
            (tools / name).symlink_to(shutil.which(name))
        result = subprocess.run([self.project / "scripts" / "sandbox", "true"], capture_output=True, text=True,
                                env={"PATH": str(tools)})
        self.assertEqual((result.returncode, result.stderr), (2, "sandbox: bwrap is missing: the package bubblewrap brings it\n"))

    def test_usage(self):
        for arguments in (), ("--no-such-option",):
            result = self.sandbox(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertIn("usage: scripts/sandbox COMMAND", result.stderr)
        result = self.sandbox("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for way in WAYS:
            self.assertIn(way, result.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
