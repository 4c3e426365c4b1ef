"""Fresh roots: what a command finds there and what becomes of what it leaves. Packages come from nowhere: mmdebstrap
is one that packs a few programs of this machine. usage: fresh_test.py PROJECT"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
PROGRAMS = ("bash", "sh", "env", "cat", "ls", "touch", "mkdir", "umount", "sleep")


def make_tarball(path):
    """A root with these programs, the libraries that they are linked with, and a mark."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name in ("usr/bin", "usr/lib", "usr/lib64", "proc", "sys", "dev", "etc", "root", "tmp",
                     "var/cache/apt/archives"):
            (root / name).mkdir(parents=True)
        for name in "bin", "lib", "lib64":
            (root / name).symlink_to(f"usr/{name}")
        for name in PROGRAMS:
            program = shutil.which(name)
            shutil.copy(program, root / "usr/bin" / name)
            listed = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
            for library in re.findall(r"(/\S+) \(0x", listed):
                target = root / os.path.realpath(os.path.dirname(library)).lstrip("/") / os.path.basename(library)
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(library, target)
        (root / "mark").write_text("a fresh root\n")
        subprocess.run(["tar", "-C", root, "--create", "--file", path, "."], check=True)


class Fresh(unittest.TestCase):
    FAKES = {
        "mmdebstrap": """echo "$@" >>"$here/made"
            if [ -e "$here/broken" ]; then echo "no such release"; exit 25; fi
            for word; do case "$word" in *root.tar) cp "$here/root.tar" "$word" ;; esac; done""",
        "apt-get": 'echo "deb $(cat "$here/sources") bookworm main"',
        "apt-config": """echo 'Acquire::Check-Date "false";'""",
        "dpkg-query": 'for name; do echo "$name installed"; done',
    }

    @classmethod
    def setUpClass(cls):
        if subprocess.run(["unshare", "--mount", "--pid", "--fork", "mount", "-t", "proc", "proc", "/proc"],
                          capture_output=True).returncode != 0:
            raise unittest.SkipTest("this container's own /proc is covered")
        cls.place = pathlib.Path(tempfile.mkdtemp())
        make_tarball(cls.place / "root.tar")
        fakes = cls.place / "fakes"
        fakes.mkdir()
        for name, text in cls.FAKES.items():
            (fakes / name).write_text(f"#!/bin/sh\nhere={cls.place}\n{text}\n")
            (fakes / name).chmod(0o755)
        cls.environment = {"PATH": f"{fakes}:{os.environ['PATH']}:/usr/sbin", "HOME": str(cls.place), "SECRET": "seen",
                           **{f"GIT_{who}_{what}": "a@b.invalid" for who in ("AUTHOR", "COMMITTER")
                              for what in ("NAME", "EMAIL")}}
        for name in "resolv.conf", "hosts", "os-release":
            pathlib.Path("/etc", name).write_text("VERSION_CODENAME=bookworm\n")
        pathlib.Path("/sys").mkdir(exist_ok=True)

    def setUp(self):
        self.project = self.place / self.id()
        shutil.copytree(PROJECT / "scripts", self.project / "scripts")
        (self.project / ".gitignore").write_text("build/\n")
        (self.project / "README").write_text("committed\n")
        for command in ["init", "--quiet"], ["add", "."], ["commit", "--quiet", "--message", "All"]:
            subprocess.run(["git", *command], cwd=self.project, env=self.environment, check=True)
        (self.place / "sources").write_text("http://one.invalid")
        (self.place / "made").unlink(missing_ok=True)
        (self.place / "broken").unlink(missing_ok=True)

    def fresh(self, *command, **variables):
        return subprocess.run([self.project / "scripts" / "fresh", *command], stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=60, env={**self.environment, **variables})

    def sh(self, script):
        result = self.fresh("sh", "-c", script)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        return result.stdout.replace("fresh: making a Debian root\n", "")

    def times_made(self):
        return len((self.place / "made").read_text().splitlines())

    def test_has_the_root_and_nothing_of_this_machine(self):
        self.assertEqual(self.sh("cat /mark; ls /; ls /usr/bin; echo $HOME$SECRET; cat /etc/hosts").split(),
                         ["a", "fresh", "root", "bin", "dev", "etc", "lib", "lib64", "mark", "proc", "root", "sys", "tmp",
                          "usr", "var", *sorted(PROGRAMS), "/root", "VERSION_CODENAME=bookworm"])

    def test_has_the_project_as_it_is(self):
        (self.project / "README").write_text("changed\n")
        (self.project / "new").write_text("new\n")
        (self.project / "scripts/demo").unlink()
        (self.project / "build").mkdir()
        self.assertEqual(self.sh("pwd; ls -A; cat README new; [ -e scripts/test ]; [ ! -e scripts/demo ]"),
                         "/root/lterouter\n.git\n.gitignore\nREADME\nnew\nscripts\nchanged\nnew\n")

    def test_throws_away_what_is_left(self):
        self.assertEqual(self.sh("touch /left left /usr/bin/left; ls /left; sleep 5432 & true"), "/left\n")
        self.assertEqual(self.sh('ls / /usr/bin . | while read -r name; do [ "$name" != left ] || echo left; done'), "")
        self.assertEqual(os.listdir(self.project / "build"), ["roots"])
        self.assertFalse([path for path in pathlib.Path("/proc").glob("[0-9]*/cmdline") if "5432" in path.read_text()])

    def test_ends_as_the_command_does(self):
        self.assertEqual(self.fresh("sh", "-c", "exit 7").returncode, 7)
        self.assertEqual(os.listdir(self.project / "build"), ["roots"])

    def test_makes_the_root_once_for_the_same_sources(self):
        self.sh("true")
        self.sh("true")
        self.assertEqual(self.times_made(), 1)
        self.assertIn("--include=git", (self.place / "made").read_text())
        (self.place / "sources").write_text("http://two.invalid")
        self.sh("true")
        self.assertEqual(self.times_made(), 2)

    def test_keeps_packages_for_the_next(self):
        self.sh("touch /var/cache/apt/archives/a_1_all.deb /var/cache/apt/archives/lock")
        self.assertEqual(self.sh("ls /var/cache/apt/archives"), "a_1_all.deb\n")
        (self.place / "sources").write_text("http://two.invalid")
        self.assertEqual(self.sh("ls /var/cache/apt/archives"), "")

    def test_says_why_there_is_no_root(self):
        (self.place / "broken").touch()
        result = self.fresh("true")
        self.assertEqual((result.returncode, result.stderr), (1, "no such release\n"))
        self.assertEqual(os.listdir(self.project / "build"), ["roots"])
        self.assertEqual(os.listdir(self.project / "build/roots"), [])

    def test_only_root_can(self):
        fakes = self.project / "fakes"
        fakes.mkdir()
        (fakes / "id").write_text("#!/bin/sh\necho 1000\n")
        (fakes / "id").chmod(0o755)
        for name in "bash", "env", "dirname":
            (fakes / name).symlink_to(shutil.which(name))
        result = self.fresh("true", PATH=str(fakes))
        self.assertEqual((result.returncode, result.stderr), (1, "fresh: only root can make a root, and there is no sudo\n"))
        (fakes / "sudo").write_text('#!/bin/sh\necho "sudo $@"\n')
        (fakes / "sudo").chmod(0o755)
        self.assertEqual(self.fresh("true", "x", PATH=str(fakes)).stdout, f"sudo -- {self.project}/scripts/fresh true x\n")

    def test_usage(self):
        for arguments in (), ("--no-such-option", "true"):
            result = self.fresh(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertIn("usage: scripts/fresh COMMAND", result.stderr)
        result = self.fresh("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("usage: scripts/fresh COMMAND", result.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
