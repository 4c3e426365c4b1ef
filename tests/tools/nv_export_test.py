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
        self.assert_ran(ltectl("nv", "export", FILE), f"{FILE} parameters=3\n")
        self.assertEqual(read_file(FILE), with_checksum(b"a=1=va\nb=a=v=b\nc=80000000=dc\n"))

    def test_selects_by_mask(self):
        for mask, lines in (("1", [b"a=1=va"]), ("0x1", [b"a=1=va"]), ("8", [b"b=a=v=b"]),
                            ("80000001", [b"a=1=va", b"c=80000000=dc"]), ("5", [b"a=1=va"]), ("4", []), ("0", []),
                            ("FFFFFFFE", [b"b=a=v=b", b"c=80000000=dc"])):
            self.assert_ran(ltectl("nv", "export", FILE, "--mask", mask), f"{FILE} parameters={len(lines)}\n")
            self.assertEqual(read_file(FILE), with_checksum(b"".join(line + b"\n" for line in lines)))

    def test_without_a_checksum(self):
        self.assert_ran(ltectl("nv", "export", FILE, "--no-checksum", "--mask", "1", "--json"),
                        '{"file":"/2ndfile/saved.cfg","parameters":1}\n')
        self.assertEqual(read_file(FILE), b"a=1=va\n")

    def test_changes_nothing_in_the_store(self):
        before = self.files()
        ltectl("nv", "export", FILE)
        after = self.files()
        del after[FILE]
        self.assertEqual(after, before)

    def test_into_a_pipe(self):
        self.assert_ran(ltectl("nv", "export", "/dev/stdout", "--no-checksum", "--mask", "1"),
                        "a=1=va\n/dev/stdout parameters=1\n")

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
        sentence = f"{FILE} is no good for an import: a value has a line feed in it, or the disk is full"
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
                               f"{path} is no good for an import: a value has a line feed in it, or the "
                               "disk is full")
            os.unlink(path)

    def test_without_a_backup_directory_saves_what_readers_get(self):
        for name in os.listdir(BACKUP):
            os.unlink(BACKUP + name)
        os.rmdir(BACKUP)
        self.assert_ran(ltectl("nv", "export", FILE, "--mask", "3"), f"{FILE} parameters=2\n")
        self.assertEqual(read_file(FILE), with_checksum(b"a=1=va\nb=a=db\n"))


if __name__ == "__main__":
    support.main()
