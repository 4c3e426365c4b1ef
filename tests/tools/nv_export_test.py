"""ltectl nv export: parameters saved to a file."""

import os
import subprocess

import support
from support import BACKUP, CURRENT, DEFAULTS, FAILED, NvTest, ltectl, read_file, with_checksum, write_file

FILE = "/2ndfile/saved.cfg"


class Export(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(b"# comment\na=1=da\nb=A=db\nc=80000000=dc\nd=0=dd\n")
        self.put("a", b"va")
        self.put("b", b"v=b")
        os.unlink(CURRENT + "b")

    def test_saves_every_parameter_with_a_bit_and_a_checksum(self):
        self.assert_ran(ltectl("nv", "export", FILE), f"{FILE} parameters=3 current=1 backup=1 default=1\n")
        self.assertEqual(read_file(FILE), with_checksum(b"a=1=va\nb=a=v=b\nc=80000000=dc\n"))

    def test_selects_by_mask(self):
        for mask, lines in (("1", [b"a=1=va"]), ("0x1", [b"a=1=va"]), ("8", [b"b=a=v=b"]),
                            ("80000001", [b"a=1=va", b"c=80000000=dc"]), ("5", [b"a=1=va"]), ("4", []), ("0", []),
                            ("FFFFFFFE", [b"b=a=v=b", b"c=80000000=dc"])):
            counts = [sum(line.startswith(name) for line in lines) for name in (b"a", b"b", b"c")]
            self.assert_ran(ltectl("nv", "export", FILE, "--mask", mask), (
                f"{FILE} parameters={len(lines)} " + "current={} backup={} default={}\n".format(*counts)))
            self.assertEqual(read_file(FILE), with_checksum(b"".join(line + b"\n" for line in lines)))

    def test_without_a_checksum(self):
        self.assert_ran(ltectl("nv", "export", FILE, "--no-checksum", "--mask", "1", "--json"),
                        '{"event":"exported","file":"/2ndfile/saved.cfg","parameters":1,'
                        '"current":1,"backup":0,"default":0}\n')
        self.assertEqual(read_file(FILE), b"a=1=va\n")

    def test_changes_nothing_in_the_store(self):
        before = self.files()
        ltectl("nv", "export", FILE)
        after = self.files()
        del after[FILE]
        self.assertEqual(after, before)

    def test_into_a_pipe(self):
        self.assert_ran(ltectl("nv", "export", "/dev/stdout", "--no-checksum", "--mask", "1"),
                        "a=1=va\n/dev/stdout parameters=1 current=1 backup=0 default=0\n")
        self.assert_ran(ltectl("nv", "export", "/dev/stdout", "--mask", "1"),
                        with_checksum(b"a=1=va\n").decode() + "/dev/stdout parameters=1 current=1 backup=0 default=0\n")

    def test_to_standard_output(self):
        self.assert_ran(ltectl("nv", "export", "-", "--mask", "1"), with_checksum(b"a=1=va\n").decode())
        result = ltectl("nv", "export", "-", "--no-checksum", "--json", cwd="/2ndfile")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (
            support.DONE, "a=1=va\nb=a=v=b\nc=80000000=dc\n",
            "ltectl: exported without a current copy: 1 from the backup, 1 defaults\n"))
        self.assertFalse(os.path.exists("/2ndfile/-"))

    def test_to_standard_output_that_takes_nothing(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([support.ltectl_program, "nv", "export", "-"], stdout=full,
                                    stderr=subprocess.PIPE, text=True, timeout=support.TIMEOUT)
        self.assertEqual(result.returncode, FAILED)
        self.assertTrue(result.stderr.startswith("ltectl: cannot write standard output: No space left on device"))

    def test_replaces_a_file_and_keeps_its_rights(self):
        write_file(FILE, b"earlier")
        os.chmod(FILE, 0o640)
        os.symlink(FILE, "/2ndfile/link")
        before = set(self.files())
        self.assertEqual(ltectl("nv", "export", "/2ndfile/link", "--mask", "1").returncode, support.DONE)
        self.assertEqual(set(self.files()), before)
        self.assertTrue(os.path.islink("/2ndfile/link"))
        self.assertEqual((read_file(FILE), os.stat(FILE).st_mode & 0o7777), (with_checksum(b"a=1=va\n"), 0o640))

    def test_makes_a_file_by_the_umask(self):
        self.assertEqual(ltectl("nv", "export", FILE, umask=0o027).returncode, support.DONE)
        self.assertEqual(os.stat(FILE).st_mode & 0o7777, 0o640)

    def test_where_no_file_can_be(self):
        os.mkdir("/2ndfile/folder")
        before = self.files()
        for path, reason in (("/2ndfile/folder", "Is a directory"), ("/2ndfile/none/a", "No such file or directory"),
                             (DEFAULTS + "/a", "Not a directory"), ("", "No such file or directory")):
            self.assert_failed(ltectl("nv", "export", path), FAILED, f"cannot write {path}: {reason}")
        self.assertEqual(self.files(), before)

    def test_refuses_the_defaults_file_itself(self):
        os.link(DEFAULTS, "/2ndfile/other")
        before = self.files()
        for path in (DEFAULTS, "/2ndfile/nv/../nv/default.cfg", "/2ndfile/other"):
            self.assert_failed(ltectl("nv", "export", path), FAILED,
                               f"{path} declares the parameters and is not to be overwritten")
        self.assertEqual(self.files(), before)

    def test_with_a_bad_defaults_file_leaves_the_file_alone(self):
        write_file(FILE, b"precious")
        self.declare(b"a=1=x\nno\n")
        self.assert_failed(ltectl("nv", "export", FILE), FAILED, f"line 2 of {DEFAULTS} is malformed")
        os.unlink(DEFAULTS)
        self.assert_failed(ltectl("nv", "export", FILE), FAILED,
                           f"cannot read {DEFAULTS}: No such file or directory")
        self.assertEqual(read_file(FILE), b"precious")

    def test_into_what_cannot_be_written(self):
        for path, reason in (("/2ndfile", "Is a directory"), ("/nowhere/file", "No such file or directory"),
                             ("", "No such file or directory")):
            self.assert_failed(ltectl("nv", "export", path), FAILED, f"cannot write {path}: {reason}")

    def test_tells_when_a_value_spoils_the_file(self):
        """Another process may have stored a line feed, and what follows it may even look like a line."""
        sentence = "an export would be no good for an import: a value has a line feed in it"
        for value in (b"two\nlines", b"two\nb=1=lines", b"two\n"):
            self.put("a", value)
            for options in ([], ["--no-checksum"]):
                if value == b"two\n":  # the empty line behind it is harmless
                    self.assertEqual(ltectl("nv", "export", FILE, *options).returncode, support.DONE)
                else:
                    self.assert_failed(ltectl("nv", "export", FILE, *options), FAILED, sentence)

    def test_tells_when_the_disk_is_full(self):
        os.mkdir("/2ndfile/full")
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "none", "/2ndfile/full"], check=True)
        self.addCleanup(subprocess.run, ["umount", "/2ndfile/full"], check=True)
        self.put("a", b"v" * 4095)
        path = "/2ndfile/full/saved.cfg"
        for options in ([], ["--no-checksum"]):
            self.assert_failed(ltectl("nv", "export", path, *options), FAILED,
                               f"cannot write {path}: No space left on device; make room: df /2ndfile/full tells "
                               "how full it is")
            self.assertEqual(os.listdir("/2ndfile/full"), [])

    def test_without_a_backup_directory_saves_what_readers_get(self):
        for name in os.listdir(BACKUP):
            os.unlink(BACKUP + name)
        os.rmdir(BACKUP)
        self.assert_ran(ltectl("nv", "export", FILE, "--mask", "3"), f"{FILE} parameters=2 current=1 backup=0 default=1\n")
        self.assertEqual(read_file(FILE), with_checksum(b"a=1=va\nb=a=db\n"))


if __name__ == "__main__":
    support.main()
