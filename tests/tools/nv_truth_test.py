"""ltectl nv where the store does not do as it is told: without rights, on a full or read-only partition, before
it was opened, and through pipes. What could not be read or written is named, and nothing claims to be done."""

import os
import subprocess

import support
from support import (BACKUP, CURRENT, DEFAULTS, DONE, FAILED, MARKER, NV, NvTest, fed, ltectl, read_file, with_checksum,
                     without_rights, write_file)

FILE = "/2ndfile/given.cfg"
DECLARED = b"a=1=da\nb=3=db\npin=9=\n"


class TruthTest(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(DECLARED)
        self.put("a", b"va")
        self.put("b", b"vb")
        self.put("pin", b"4321")

    def assert_denied(self, command, sentence):
        before = self.files()
        self.assert_failed(without_rights("nv", *command.split()), FAILED, f"{sentence}; it takes root's rights")
        self.assertEqual(self.files(), before)


class WithoutRights(TruthTest):
    def test_to_look_into_the_store(self):
        """So the library makes its directories: without search permission."""
        for directory in (CURRENT, BACKUP):
            os.chmod(directory, 0o666)
            for command in ("get a", "get a --json", "set a v", "list", "diff", "reset", "reset --dry-run",
                            f"export {FILE}", "export -", "verify", "init", "fin",
                            f"import {DEFAULTS} --no-checksum", "clear --yes"):
                self.assert_denied(command, f"cannot look into {directory}: Permission denied")
            os.chmod(directory, 0o777)
        self.assertFalse(os.path.exists(FILE))

    def test_to_read_a_copy_or_the_declarations(self):
        """To the library such a copy is none, and another takes its place."""
        for directory in (CURRENT, BACKUP):
            os.chmod(directory + "a", 0o200)
            for command in ("get a", f"export {FILE}", "init"):
                self.assert_denied(command, f"cannot read {directory}a: Permission denied")
            os.chmod(directory + "a", 0o666)
            write_file(CURRENT + "a", b"")  # so that the backup copy is asked
        os.chmod(DEFAULTS, 0o200)
        for command in ("list", "diff"):
            self.assert_denied(command, f"cannot read {DEFAULTS}: Permission denied")

    def test_a_list_names_what_it_leaves_out(self):
        os.chmod(CURRENT + "a", 0o200)
        for command, shown in (("list", "current bits=3 b=vb\ncurrent bits=9 pin=********\n"),
                               ("diff", "current b=db -> vb\ncurrent pin= -> ********\n")):
            self.assert_failed(without_rights("nv", command), FAILED,
                               f"cannot read {CURRENT}a: Permission denied; it takes root's rights", out=shown)

    def test_to_write_a_copy(self):
        write_file(FILE, b"a=1=new\n")
        for directory in (CURRENT, BACKUP):
            for command in ("set a new", "reset", f"import {FILE} --no-checksum"):
                self.put("a", b"va")
                os.chmod(directory + "a", 0o444)
                self.assert_failed(without_rights("nv", *command.split()), FAILED,
                                   f"cannot write {directory}a: Permission denied; it takes root's rights")
                os.chmod(directory + "a", 0o666)

    def test_to_make_and_remove_files(self):
        os.unlink(BACKUP + "a")
        os.chmod(BACKUP, 0o555)
        advice = "Permission denied; it takes root's rights"
        for command, sentence in (("init", f"cannot write {BACKUP}a: {advice}\n"
                                           "ltectl: the store is not ready: parameters without two copies: 1"),
                                  ("clear --yes", f"cannot remove what is in {BACKUP}: {advice}")):
            self.assert_failed(without_rights("nv", *command.split()), FAILED, sentence)
        os.chmod(BACKUP, 0o777)


class FullPartition(TruthTest):
    FULL = "No space left on device; make room: df /2ndfile/nv tells how full it is"

    def setUp(self):
        """A partition of a few pages, with its declarations, and not a byte for a value."""
        super().setUp()
        self.mount_small(NV, 16)
        self.declare(DECLARED)
        with open(NV + "filler", "wb", buffering=0) as filler:
            try:
                while filler.write(b"x" * 4096):
                    pass
            except OSError as error:
                self.assertEqual(error.strerror, "No space left on device")

    def test_init(self):
        """Also when there is room for some."""
        for name, count in (("a", 3), ("a", 3), ("b", 2)):
            name == "b" and os.truncate(NV + "filler", 4096)
            self.assert_fails("nv init", f"cannot write {CURRENT}{name}: {self.FULL}\n"
                                         f"ltectl: the store is not ready: parameters without two copies: {count}")

    def test_reset_set_and_import(self):
        ltectl("nv", "init")
        write_file(FILE, b"a=1=new\n")
        for command in ("reset", "set a new", f"import {FILE} --no-checksum"):
            self.assert_fails(f"nv {command}", f"cannot write {CURRENT}a: {self.FULL}")

    def test_an_export_leaves_what_was_there(self):
        for precious in (False, True):
            if precious:
                os.truncate(NV + "filler", 4096)
                write_file(NV + "saved.cfg", b"precious")
                write_file(NV + "more", b"x" * 4096)
                with self.assertRaises(OSError):
                    write_file(NV + "filler2", b"x" * 8192)
            before = self.files()
            self.assert_fails(["nv", "export", NV + "saved.cfg"], f"cannot write {NV}saved.cfg: {self.FULL}")
            self.assertEqual(self.files(), before)


class ReadOnlyPartition(TruthTest):
    ADVICE = "Read-only file system; make it writable: mount -o remount,rw /2ndfile"

    def run_nv(self, command):
        return support.run_with_readonly("/2ndfile", "nv", *command.split())

    def test_names_what_cannot_be_written_and_does_what_needs_no_writing(self):
        before = self.files()
        for command, what in (("set a new", f"cannot write {CURRENT}a"), ("reset", f"cannot write {CURRENT}a"),
                              (f"export {FILE}", f"cannot write {FILE}"), ("fin", f"cannot make {MARKER}"),
                              ("clear --yes", f"cannot remove what is in {BACKUP}")):
            self.assert_failed(self.run_nv(command), FAILED, f"{what}: {self.ADVICE}")
        for command in ("init", "get a", "list", "verify", "export -"):
            self.assertEqual(self.run_nv(command).returncode, DONE, command)
        self.assertEqual(self.files(), before)


class NeverOpened(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(DECLARED)
        os.rmdir(CURRENT)
        os.rmdir(BACKUP)

    def test_fin_tells_so(self):
        self.assert_fails("nv fin", "the store was never opened; ltectl nv init opens it")
        self.assertFalse(os.path.exists(MARKER))

    def test_init_after_a_shutdown_that_somebody_else_marked(self):
        os.mkdir(MARKER)
        self.assert_runs("nv init", "store ready repair=done\n")
        self.assertFalse(os.path.exists(MARKER))
        self.assert_copies("a", b"da")


class Pipes(TruthTest):
    LINES = b"a=1=new\nb=3=newer\nz=1=x\n"
    DONE_WITH = b"import done applied=2 undeclared=1 masked=0\n"

    def assert_imported(self, result):
        self.assert_result(result, DONE, self.DONE_WITH, b"")
        self.assert_copies("a", b"new")
        self.assert_copies("b", b"newer")
        self.put("a", b"va")
        self.put("b", b"vb")

    def test_import_from_standard_input(self):
        for name in ("-", "/dev/stdin"):
            self.assert_imported(fed(self.LINES, "nv", "import", name, "--no-checksum"))
            self.assert_imported(fed(with_checksum(self.LINES), "nv", "import", name))

    def test_import_from_a_named_pipe(self):
        os.mkfifo("/2ndfile/pipe")
        writer = subprocess.Popen(["sh", "-c", "cat >/2ndfile/pipe"], stdin=subprocess.PIPE)
        self.addCleanup(writer.wait)
        writer.stdin.write(with_checksum(self.LINES))
        writer.stdin.close()
        self.assert_imported(fed(b"", "nv", "import", "/2ndfile/pipe"))

    def test_a_dry_run(self):
        before = self.files()
        result = fed(with_checksum(b"a=1=new\npin=9=1111\n"), "nv", "import", "-", "--dry-run")
        self.assert_result(result, DONE, b"line=2 change source=current a=va -> new\n"
                           b"line=3 change source=current pin=******** -> ********\n"
                           b"import planned applied=2 undeclared=0 masked=0\n", b"")
        self.assertEqual(self.files(), before)

    def test_what_is_wrong_with_it_is_told(self):
        for data, sentence in ((b"a=1=new\n", b"standard input does not begin with the checksum of what follows; "
                                              b"nothing is applied"),
                               (with_checksum(b"a=1=new\nno\n"), b"line 3 of standard input is malformed; what "
                                                                 b"follows is not applied")):
            result = fed(data, "nv", "import", "-")
            self.assert_result(result, FAILED, b"", b"ltectl: " + sentence + b"\n")

    def test_what_does_not_end(self):
        result = ltectl("nv", "import", "/dev/zero")
        self.assertEqual((result.returncode, result.stderr), (
            FAILED, "ltectl: /dev/zero has more than 8388608 bytes, which is no file of parameters\n"))

    def test_from_export_to_import(self):
        script = '"$0" nv export - --mask 2 | "$0" nv import - --mask 2'
        before = self.files()
        result = support.run("sh", "-c", script, support.ltectl_program, cwd="/2ndfile")
        self.assert_ran(result, "import done applied=1 undeclared=0 masked=0\n")
        self.assertEqual(self.files(), before)
        self.assertEqual(read_file(CURRENT + "b"), b"vb\0")


class Secrets(TruthTest):
    SHOWN = (["list"], "current bits=9 pin=%s\n"), (["diff"], "current pin= -> %s\n")

    def test_are_masked_unless_they_are_asked_for(self):
        for arguments, line in self.SHOWN:
            self.assertIn(line % "********", ltectl("nv", *arguments).stdout)
            self.assertNotIn("4321", ltectl("nv", *arguments, "--json").stdout)
            self.assertIn(line % "4321", ltectl("nv", *arguments, "--show-secrets").stdout)

    def test_in_dry_runs(self):
        write_file(FILE, b"pin=0=1111\nsecret=8=2222\na=8=3333\n")
        for arguments in (["import", FILE, "--no-checksum"], ["import", FILE, "--no-checksum", "--mask", "2"],
                          ["reset"]):
            for form in ([], ["--json"]):
                masked = ltectl("nv", *arguments, "--dry-run", *form).stdout
                for secret in ("4321", "1111", "2222", "3333"):
                    self.assertNotIn(secret, masked)
                self.assertIn("********", masked)
        shown = ltectl("nv", "import", FILE, "--no-checksum", "--dry-run", "--show-secrets").stdout
        self.assertEqual(shown, "line=1 change source=current pin=4321 -> 1111\nline=2 undeclared secret=2222\n"
                                "line=3 change source=current a=va -> 3333\n"
                                "import planned applied=2 undeclared=1 masked=0\n")

    def test_when_they_are_set(self):
        for options, shown in (((), "********"), (("--show-secrets",), "9876")):
            self.assert_runs(["nv", "set", "pin", "9876", *options], f"pin={shown}\n")
            self.assert_copies("pin", b"9876")
        self.assert_runs(["nv", "set", "pin", ""], "pin=\n")
        self.assert_runs("nv set a 9876", "a=9876\n")

    def test_one_that_is_not_set_is_none(self):
        self.declare(DECLARED + b"other=8=\n")
        self.put("other", b"")
        self.assertIn("current bits=9 pin=********\ncurrent bits=8 other=\n", ltectl("nv", "list").stdout)

    def test_who_asks_for_one_gets_it(self):
        self.assert_runs("nv get pin", "4321\n")
        [shown] = self.objects(ltectl("nv", "get", "pin", "--json").stdout)
        self.assertEqual(shown, {"event": "parameter", "source": "current", "name": "pin", "value": "4321"})


if __name__ == "__main__":
    support.main()
