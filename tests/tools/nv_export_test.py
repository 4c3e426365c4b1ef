"""ltectl nv export: parameters saved to a file."""

import os
import re
import signal
import subprocess

import support
from support import BACKUP, CURRENT, DEFAULTS, FAILED, NO_ANSWER, Background, NvTest, ltectl, read_file, with_checksum, write_file

FILE = "/2ndfile/saved.cfg"


class Export(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(b"# comment\na=1=da\nb=A=db\nc=80000000=dc\nd=0=dd\n")
        self.put("a", b"va")
        self.put("b", b"v=b")
        os.unlink(CURRENT + "b")

    def assert_saved(self, options="--mask 1", lines=b"a=1=va\n", path=FILE):
        """What comes of an export of one parameter, or of others."""
        result = ltectl("nv", "export", path, *options.split())
        self.assertEqual(result.returncode, support.DONE, result)
        self.assertEqual(read_file(FILE), with_checksum(lines))

    def test_selects_by_mask(self):
        for mask, lines in (("1", [b"a=1=va"]), ("0x1", [b"a=1=va"]), ("8", [b"b=a=v=b"]),
                            ("80000001", [b"a=1=va", b"c=80000000=dc"]), ("5", [b"a=1=va"]), ("4", []), ("0", []),
                            ("FFFFFFFE", [b"b=a=v=b", b"c=80000000=dc"])):
            counts = [sum(line.startswith(name) for line in lines) for name in (b"a", b"b", b"c")]
            self.assert_runs(["nv", "export", FILE, "--mask", mask],
                             f"{FILE} parameters={len(lines)} " + "current={} backup={} default={}\n".format(*counts))
            self.assertEqual(read_file(FILE), with_checksum(b"".join(line + b"\n" for line in lines)))

    def test_without_a_checksum(self):
        self.assert_runs(f"nv export {FILE} --no-checksum --mask 1 --json",
                         '{"event":"exported","file":"/2ndfile/saved.cfg","parameters":1,'
                         '"current":1,"backup":0,"default":0}\n')
        self.assertEqual(read_file(FILE), b"a=1=va\n")

    def test_saves_every_parameter_with_a_bit_and_a_checksum_and_changes_none(self):
        before = self.files()
        self.assert_runs(f"nv export {FILE}", f"{FILE} parameters=3 current=1 backup=1 default=1\n")
        content = with_checksum(b"a=1=va\nb=a=v=b\nc=80000000=dc\n")
        self.assertEqual(self.files(), {**before, FILE: content})

    def test_into_a_pipe(self):
        for options, lines in ((" --no-checksum", b"a=1=va\n"), ("", with_checksum(b"a=1=va\n"))):
            self.assert_runs("nv export /dev/stdout --mask 1" + options,
                             lines.decode() + "/dev/stdout parameters=1 current=1 backup=0 default=0\n")

    def test_to_standard_output(self):
        self.assert_runs("nv export - --mask 1", with_checksum(b"a=1=va\n").decode())
        result = ltectl("nv", "export", "-", "--no-checksum", "--json", cwd="/2ndfile")
        self.assert_result(result, support.DONE, "a=1=va\nb=a=v=b\nc=80000000=dc\n",
                           "ltectl: exported without a current copy: 1 from the backup, 1 defaults\n")
        self.assertFalse(os.path.exists("/2ndfile/-"))

    def test_replaces_a_file_and_keeps_its_rights(self):
        write_file(FILE, b"earlier")
        os.chmod(FILE, 0o640)
        os.symlink(FILE, "/2ndfile/link")
        before = set(self.files())
        self.assert_saved(path="/2ndfile/link")
        self.assertEqual(set(self.files()), before)
        self.assertTrue(os.path.islink("/2ndfile/link"))
        self.assertEqual(os.stat(FILE).st_mode & 0o7777, 0o640)

    def start_slow_export(self, *options):
        """Returns when it writes, which takes long: the kernel takes its time to say that everything is on the device."""
        before = self.files()
        export = Background(self, "strace", "-f", "-o", "/dev/null", "-e", "inject=fsync:delay_enter=3000000",
                            support.ltectl_program, "nv", "export", FILE, *options)
        support.eventually(lambda: len(self.files()) > len(before))
        return export

    @staticmethod
    def send(number, export):
        child = read_file(f"/proc/{export.process.pid}/task/{export.process.pid}/children")
        os.kill(int(child), number)

    def test_leaves_nothing_beside_the_file_when_it_is_ended(self):
        for earlier in (None, b"earlier"):
            for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, None):
                with self.subTest(number, earlier=earlier):
                    if earlier:
                        write_file(FILE, earlier)
                    before = self.files()
                    export = self.start_slow_export("--timeout", "1")
                    if number:
                        self.send(number, export)
                    status, out, err = export.finish()
                    err = re.sub("(?m)^strace: .*\n", "", err)
                    self.assertEqual((status, out, err), (
                        FAILED if number else NO_ANSWER, "",
                        "ltectl: interrupted\n" if number else
                        f"ltectl: {FILE} was not ready within 1 s, though no other process holds a lock; dmesg tells "
                        "whether a device hangs\n"))
                    self.assertEqual(self.files(), before)

    def test_leaves_only_what_its_page_tells_when_it_is_killed(self):
        write_file(FILE, b"earlier")
        before = self.files()
        export = self.start_slow_export()
        self.send(signal.SIGKILL, export)
        export.finish()
        left = self.files()
        name, = set(left) - set(before)
        self.assertRegex(name, rf"\A{FILE}\.[A-Za-z0-9]{{6}}\Z")
        del left[name]
        self.assertEqual(left, before)

    def test_replaces_a_file_where_none_can_be_made(self):
        write_file(FILE, b"earlier " * 100)
        inode = os.stat(FILE).st_ino
        os.chmod("/2ndfile", 0o555)
        self.addCleanup(os.chmod, "/2ndfile", 0o755)
        def export(path):
            return support.without_rights("nv", "export", path, "--mask", "1")
        self.assert_ran(export(FILE), f"{FILE} parameters=1 current=1 backup=0 default=0\n")
        self.assertEqual((read_file(FILE), os.stat(FILE).st_ino), (with_checksum(b"a=1=va\n"), inode))
        os.chmod(FILE, 0o444)
        for path in (FILE, "/2ndfile/other"):
            self.assert_failed(export(path), FAILED, f"cannot write {path}: Permission denied; it takes root's rights")
        self.assertEqual(read_file(FILE), with_checksum(b"a=1=va\n"))

    def test_replaces_what_is_mounted(self):
        """A file of a container is often one of its own in a folder that is another's."""
        write_file(FILE, b"earlier " * 100)
        write_file("/2ndfile/real", b"")
        self.mount(FILE, "--bind", "/2ndfile/real")
        before = set(self.files())
        self.assert_saved()
        self.assertEqual((read_file("/2ndfile/real"), set(self.files())), (with_checksum(b"a=1=va\n"), before))

    def test_tells_of_a_part_where_the_file_is_written_in_place(self):
        os.mkdir("/2ndfile/full")
        self.mount_small("/2ndfile/full", 4)
        self.put("a", b"v" * 4095)
        write_file("/2ndfile/full/real", b"earlier")
        write_file(FILE, b"")
        self.mount(FILE, "--bind", "/2ndfile/full/real")
        result = ltectl("nv", "export", FILE)
        self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
        self.assertTrue(result.stderr.startswith(f"ltectl: cannot write {FILE}: No space left on device; make room"))
        self.assertTrue(result.stderr.endswith(f"ltectl: {FILE} holds a part of the export; what it held is lost\n"))

    def test_keeps_the_owner_of_the_file(self):
        """The sandbox has no other user to whom a file could be given."""
        cases = [("retval=0", 0, False), ("error=EPERM", 0, True)]
        if "/launched/" not in support.ltectl_program:  # an emulator, told so, has another user's rights and finds nothing
            cases.append(("error=EPERM", 1000, False))
        for error, user, in_place in cases:
            write_file(FILE, b"earlier " * 100)
            inode = os.stat(FILE).st_ino
            result = support.run("strace", "-f", "-o", "/2ndfile/calls", "-e", f"inject=fchown:{error}",
                                 "-e", f"inject=geteuid:retval={user}", support.ltectl_program, "nv", "export", FILE,
                                 "--mask", "1", env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})  # not while traced
            self.assert_ran(result, f"{FILE} parameters=1 current=1 backup=0 default=0\n")
            self.assertIn(b", 0, 0)", [line for line in read_file("/2ndfile/calls").splitlines() if b"fchown(" in line][0])
            self.assertEqual((read_file(FILE), os.stat(FILE).st_ino == inode), (with_checksum(b"a=1=va\n"), in_place))

    def test_makes_a_file_by_the_umask(self):
        self.assertEqual(ltectl("nv", "export", FILE, umask=0o027).returncode, support.DONE)
        self.assertEqual(os.stat(FILE).st_mode & 0o7777, 0o640)

    def test_where_no_file_can_be(self):
        os.mkdir("/2ndfile/folder")
        os.link(DEFAULTS, "/2ndfile/other")
        before = self.files()
        for path, reason in (("/2ndfile", "Is a directory"), ("/2ndfile/folder", "Is a directory"),
                             ("/2ndfile/none/a", "No such file or directory"), ("", "No such file or directory"),
                             ("/nowhere/file", "No such file or directory"), (DEFAULTS + "/a", "Not a directory")):
            self.assert_fails(["nv", "export", path], f"cannot write {path}: {reason}")
        for path in (DEFAULTS, "/2ndfile/nv/../nv/default.cfg", "/2ndfile/other"):
            self.assert_fails(["nv", "export", path], f"{path} declares the parameters and is not to be overwritten")
        self.assertEqual(self.files(), before)

    def test_with_a_bad_defaults_file_leaves_the_file_alone(self):
        write_file(FILE, b"precious")
        self.declare(b"a=1=x\nno\n")
        self.assert_fails(f"nv export {FILE}", f"line 2 of {DEFAULTS} is malformed")
        os.unlink(DEFAULTS)
        self.assert_fails(f"nv export {FILE}", f"cannot read {DEFAULTS}: No such file or directory")
        self.assertEqual(read_file(FILE), b"precious")

    def test_tells_when_a_value_spoils_the_file(self):
        """Another process may have stored a line feed, and what follows it may even look like a line."""
        for command in (f"nv export {FILE}", f"nv export {FILE} --no-checksum"):
            for value in (b"two\nlines", b"two\nb=1=lines"):
                self.put("a", value)
                self.assert_fails(command, "an export would be no good for an import: a value has a line feed in it")
            self.put("a", b"two\n")  # the empty line behind it is harmless
            self.assertEqual(ltectl(*command.split()).returncode, support.DONE)

    def test_tells_when_the_disk_is_full(self):
        os.mkdir("/2ndfile/full")
        self.mount_small("/2ndfile/full", 4)
        self.put("a", b"v" * 4095)
        path = "/2ndfile/full/saved.cfg"
        sentence = "No space left on device; make room: df /2ndfile/full tells how full it is"
        for options in ("", " --no-checksum"):
            self.assert_fails(f"nv export {path}{options}", f"cannot write {path}: {sentence}")
            self.assertEqual(os.listdir("/2ndfile/full"), [])
        self.assert_failed(ltectl("nv", "export", "saved.cfg", cwd="/2ndfile/full"), FAILED,
                           f"cannot write saved.cfg: {sentence}")
        for output, said in ((path, f"{sentence}\n"), ("/dev/full", "No space left on device")):
            with open(output, "w") as full:
                result = subprocess.run([support.ltectl_program, "nv", "export", "-"], stdout=full,
                                        stderr=subprocess.PIPE, text=True, timeout=support.TIMEOUT)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (FAILED, 1), result.stderr)
            self.assertTrue(result.stderr.startswith(f"ltectl: cannot write standard output: {said}"), result.stderr)

    def test_without_a_backup_directory_saves_what_readers_get(self):
        for name in os.listdir(BACKUP):
            os.unlink(BACKUP + name)
        os.rmdir(BACKUP)
        self.assert_runs(f"nv export {FILE} --mask 3", f"{FILE} parameters=2 current=1 backup=0 default=1\n")
        self.assertEqual(read_file(FILE), with_checksum(b"a=1=va\nb=a=db\n"))


if __name__ == "__main__":
    support.main()
