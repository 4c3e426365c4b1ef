"""ltectl nv: the persistent parameters, one by one and as a whole. No WAN manager is running here."""

import os
import shutil

import support
from support import (BACKUP, CURRENT, DEFAULTS, DONE, FAILED, MARKER, NV, USAGE, NvTest, ltectl, read_file,
                     write_file)

REMOUNT = "make it writable: mount -o remount,rw /2ndfile"
NO_DEFAULTS = f"cannot read {DEFAULTS}: No such file or directory"


class Init(NvTest):
    def test_repairs_and_says_so(self):
        self.declare(b"a=1=x\n")
        self.assert_ran(ltectl("nv", "init"), "store ready repair=done\n")
        self.assert_copies("a", b"x")
        self.assert_ran(ltectl("nv", "init", "--json"), '{"event":"store","store":"ready","repair":"done"}\n')

    def test_makes_the_directories(self):
        self.declare(b"a=1=x\n")
        os.rmdir(CURRENT)
        os.rmdir(BACKUP)
        self.assert_ran(ltectl("nv", "init"), "store ready repair=done\n")
        self.assert_copies("a", b"x")

    def test_skips_the_repair_after_an_orderly_shutdown(self):
        self.declare(b"a=1=x\n")
        os.mkdir(MARKER)
        self.assert_ran(ltectl("nv", "init"), "store ready repair=skipped\n")
        self.assertEqual((os.path.exists(MARKER), os.listdir(CURRENT)), (False, []))

    def test_without_a_defaults_file(self):
        self.assert_failed(ltectl("nv", "init"), FAILED, f"{NO_DEFAULTS}; the repair ends there")

    def test_with_a_malformed_defaults_file(self):
        self.declare(b"# comment\n\na=1=x\na=g=x\nb=1=y\n")
        self.assert_failed(ltectl("nv", "init"), FAILED,
                           f"line 4 of {DEFAULTS} is malformed; the repair ends there")
        self.assert_copies("a", b"x")
        self.assertFalse(os.path.exists(CURRENT + "b"))

    def test_of_a_marker_that_cannot_be_removed(self):
        os.makedirs(MARKER + "/full")
        self.assert_failed(ltectl("nv", "init"), FAILED, f"cannot remove {MARKER}: Directory not empty")

    def test_of_directories_that_cannot_be_made(self):
        self.declare(b"a=1=x\n")
        shutil.rmtree(BACKUP)
        os.symlink("nowhere/nothing", BACKUP[:-1])
        self.addCleanup(os.unlink, BACKUP[:-1])
        self.assert_failed(ltectl("nv", "init"), FAILED, f"{BACKUP} is not there or no directory")

    def test_on_a_file_system_that_takes_nothing(self):
        self.declare(b"a=1=x\n")
        os.rmdir(BACKUP)
        self.assert_failed(support.run_with_readonly("/2ndfile", "nv", "init"), FAILED,
                           f"cannot make {CURRENT} and {BACKUP}: Read-only file system; {REMOUNT}")


class Fin(NvTest):
    def test_marks_the_shutdown(self):
        self.assert_ran(ltectl("nv", "fin"), "store closed\n")
        self.assertTrue(os.path.isdir(MARKER))
        self.assert_ran(ltectl("nv", "fin", "--json"), '{"event":"store","store":"closed"}\n')

    def test_of_a_name_that_is_taken(self):
        write_file(MARKER, b"")
        self.assert_failed(ltectl("nv", "fin"), FAILED,
                           f"{MARKER} is no directory, so the next nv init repairs")

    def test_on_a_file_system_that_takes_nothing(self):
        self.assert_failed(support.run_with_readonly("/2ndfile", "nv", "fin"), FAILED,
                           f"cannot make {MARKER}: Read-only file system; {REMOUNT}")


class Get(NvTest):
    def test_shows_the_value_alone_and_as_it_is(self):
        self.declare(b"a=1=x\nb=1=two  words=\n")
        for value in (b"v", b"", b"two\nlines"):
            self.put("a", value)
            self.assert_ran(ltectl("nv", "get", "a"), value.decode() + "\n")
        self.assert_ran(ltectl("nv", "get", "a", "--json"), '{"event":"parameter","source":"current","name":"a","value":"two\\u000alines"}\n')

    def test_says_where_the_value_comes_from_when_it_has_no_current_copy(self):
        self.declare(b"a=1=x\nb=1=two  words=\n")
        self.put("a", b"v")
        write_file(CURRENT + "a", b"")
        for name, value, source, told in (("a", "v", "backup", "backup copy"), ("b", "two  words=", "default", "default")):
            result = ltectl("nv", "get", name)
            self.assert_result(result, DONE, value + "\n", f'ltectl: "{name}" has no current copy: this is its {told}\n')
            self.assert_ran(ltectl("nv", "get", name, "--json"),
                            f'{{"event":"parameter","source":"{source}","name":"{name}","value":"{value}"}}\n')

    def test_the_longest_value(self):
        self.declare(b"a=1=" + b"v" * 4095 + b"\n")
        self.assertEqual(ltectl("nv", "get", "a").stdout, "v" * 4095 + "\n")

    def test_missing(self):
        self.declare(b"a=1=x\n")
        for name in ("b", "", "a/b", "n" * 128):
            self.assert_failed(ltectl("nv", "get", name), FAILED,
                               f'no parameter "{name}"; ltectl nv list shows what there is')

    def test_with_a_defaults_file_that_does_not_tell(self):
        self.assert_failed(ltectl("nv", "get", "a"), FAILED, f'"a" has no copy: {NO_DEFAULTS}')
        self.declare(b"b=1=x\n\nnonsense\na=1=x\n")
        self.assert_failed(ltectl("nv", "get", "a"), FAILED,
                           f'"a" has no copy: line 3 of {DEFAULTS} is malformed')
        name = "n" * 127
        self.assert_failed(ltectl("nv", "get", name), FAILED,
                           f'"{name}" has no copy: line 3 of {DEFAULTS} is malformed')
        self.put("a", b"v")
        self.assert_ran(ltectl("nv", "get", "a"), "v\n")


class Set(NvTest):
    def test_stores_and_shows_the_parameter(self):
        self.declare(b"a=1=x\n")
        self.assert_ran(ltectl("nv", "set", "a", "12"), "a=12\n")
        self.assert_copies("a", b"12")
        self.assert_ran(ltectl("nv", "set", "a", "", "--json"), '{"event":"parameter","name":"a","value":""}\n')
        self.assert_copies("a", b"")

    def test_the_longest_value(self):
        self.declare(b"a=1=x\n")
        value = "v" * 4095
        self.assert_ran(ltectl("nv", "set", "a", value), f"a={value}\n")
        self.assert_copies("a", value.encode())

    def test_refuses_what_could_not_be_read_or_exported(self):
        self.declare(b"a=1=x\n")
        before = self.files()
        self.assert_failed(ltectl("nv", "set", "a", "v" * 4096), FAILED,
                           'the value of "a" is longer than 4095 bytes')
        self.assert_failed(ltectl("nv", "set", "a", "two\nlines"), FAILED,
                           'the value of "a" has a line feed in it and could not be exported')
        self.assertEqual(self.files(), before)

    def test_refuses_what_is_not_declared(self):
        self.declare(b"a=1=x\n")
        for name in ("b", "a/b", "a b", "n" * 128):
            self.assert_failed(ltectl("nv", "set", name, "v"), FAILED,
                               f'"{name}" is not declared in {DEFAULTS}')

    def test_with_a_defaults_file_that_does_not_tell(self):
        self.assert_failed(ltectl("nv", "set", "a", "v"), FAILED, f'"a" has no copy: {NO_DEFAULTS}')
        self.declare(b"a=1=x\x00\n")
        self.assert_failed(ltectl("nv", "set", "a", "v"), FAILED,
                           f'"a" has no copy: line 1 of {DEFAULTS} is malformed')

    def test_reports_what_the_store_does_not(self):
        """The store says that all is well when it could not create the parameter."""
        self.declare(b"a=1=x\n=1=x\n")
        os.mkdir(CURRENT + "a")
        os.mkdir(BACKUP + "a")
        for name in ("a", ""):
            self.assert_failed(ltectl("nv", "set", name, "v"), FAILED, f"cannot write {CURRENT}{name}: Is a directory")

    def test_reports_a_backup_that_is_not_written(self):
        self.declare(b"a=1=x\n")
        os.mkdir(BACKUP + "a")
        self.assert_failed(ltectl("nv", "set", "a", "v"), FAILED, f"cannot write {BACKUP}a: Is a directory")


class List(NvTest):
    def declare_some(self):
        self.declare(b"# comment\nc=1=dc\nb=80000000=db\n\na=0=da\nd=a3=d d\n")
        self.put("c", b"vc")
        self.put("b", b"vb")
        os.unlink(CURRENT + "b")
        write_file(CURRENT + "a", b"")
        write_file(CURRENT + "stray", b"v\0")

    def test_shows_values_bits_and_sources_in_the_order_of_declaration(self):
        self.declare_some()
        self.assert_ran(ltectl("nv", "list"),
                        "current bits=1 c=vc\nbackup bits=80000000 b=vb\ndefault bits=0 a=da\n"
                        "default bits=a3 d=d d\n")

    def test_as_json(self):
        self.declare_some()
        self.assertEqual(self.objects(ltectl("nv", "list", "--json").stdout), [
            {"event": "parameter", "source": "current", "bits": 1, "name": "c", "value": "vc"},
            {"event": "parameter", "source": "backup", "bits": 0x80000000, "name": "b", "value": "vb"},
            {"event": "parameter", "source": "default", "bits": 0, "name": "a", "value": "da"},
            {"event": "parameter", "source": "default", "bits": 0xa3, "name": "d", "value": "d d"}])

    def test_shows_what_a_reader_gets(self):
        self.declare(b"a=1=x\n")
        for content in (b"v\0", b"v", b"value", b"v\0trailing", b"\0", b"v" * 4095 + b"\0", b"v" * 4096,
                        b"v" * 5000, b"two\nlines\0"):
            write_file(CURRENT + "a", content)
            [shown] = self.objects(ltectl("nv", "list", "--json").stdout)
            [got] = self.objects(ltectl("nv", "get", "a", "--json").stdout)
            self.assertEqual({**shown, **got}, shown)

    def test_with_a_bad_defaults_file(self):
        for command in ("list", "diff"):
            os.path.exists(DEFAULTS) and os.unlink(DEFAULTS)
            self.assert_failed(ltectl("nv", command), FAILED, NO_DEFAULTS)
            self.declare(b"")
            self.assert_ran(ltectl("nv", command))
            self.declare(b"a=1=x\nno\n")
            self.put("a", b"v")
            result = ltectl("nv", command)
            self.assertEqual((result.returncode, result.stdout.count("\n"), result.stderr),
                             (FAILED, 1, f"ltectl: line 2 of {DEFAULTS} is malformed\n"))
            self.declare(b"a=1=x\nb=1=cut off")
            self.assertEqual(ltectl("nv", command).returncode, FAILED)


class Diff(NvTest):
    def test_shows_what_has_not_its_default(self):
        self.declare(b"a=1=x\nb=1=\nc=1=y\nd=1=z\n")
        self.put("a", b"x")
        self.put("b", b"two words")
        self.put("c", b"")
        self.assert_ran(ltectl("nv", "diff"), "current b= -> two words\ncurrent c=y -> \n")
        self.assertEqual(self.objects(ltectl("nv", "diff", "--json").stdout),
                         [{"event": "difference", "source": "current", "name": "b", "default": "", "value": "two words"},
                          {"event": "difference", "source": "current", "name": "c", "default": "y", "value": ""}])


class Reset(NvTest):
    def test_gives_the_parameters_with_bit_0_their_default(self):
        self.declare(b"# comment\na=1=x\nb=2=y\nc=f7=z\n")
        for name in "abc":
            self.put(name, b"v")
        before = self.files()
        self.assert_ran(ltectl("nv", "reset", "--dry-run"),
                        "line=2 change source=current a=v -> x\nline=3 masked b=y\n"
                        "line=4 change source=current c=v -> z\n"
                        "reset planned applied=2 undeclared=0 masked=1\n")
        self.assertEqual(self.files(), before)
        self.assert_ran(ltectl("nv", "reset"), "reset done applied=2 undeclared=0 masked=1\n")
        self.assert_copies("a", b"x")
        self.assert_copies("b", b"v")
        self.assert_copies("c", b"z")

    def test_as_json(self):
        self.declare(b"a=1=x\nb=2=y\n")
        self.assertEqual(self.objects(ltectl("nv", "reset", "--json").stdout),
                         [{"event": "reset", "reset": "done", "applied": 1, "undeclared": 0, "masked": 1}])

    def test_with_a_bad_defaults_file(self):
        self.assert_failed(ltectl("nv", "reset"), FAILED, NO_DEFAULTS)
        self.declare(b"a=1=x\nno\nb=1=y\n")
        for name in "ab":
            self.put(name, b"v")
        self.assert_failed(ltectl("nv", "reset"), FAILED,
                           f"line 2 of {DEFAULTS} is malformed; what follows is not applied")
        self.assert_copies("a", b"x")
        self.assert_copies("b", b"v")

    def test_without_a_store(self):
        self.declare(b"a=1=x\n")
        os.rmdir(BACKUP)
        self.assert_failed(ltectl("nv", "reset"), FAILED, f"{BACKUP} is not there; ltectl nv init makes it")


class Clear(NvTest):
    def test_removes_both_copies_of_everything(self):
        self.declare(b"a=1=x\n")
        self.put("a", b"v")
        self.put("b", b"v")
        os.unlink(BACKUP + "b")
        self.assert_ran(ltectl("nv", "clear", "--yes"), "removed=3\n")
        self.assertEqual((os.listdir(CURRENT), os.listdir(BACKUP), read_file(DEFAULTS)), ([], [], b"a=1=x\n"))
        self.assert_ran(ltectl("nv", "clear", "--yes", "--json"), '{"event":"cleared","removed":0}\n')

    def test_without_a_yes_removes_nothing(self):
        self.put("a", b"v")
        before = self.files()
        self.assert_failed(ltectl("nv", "clear"), USAGE,
                           "nv clear removes every stored value; with --yes it does")
        self.assertEqual(self.files(), before)

    def test_tells_when_something_is_left(self):
        write_file(BACKUP + ".hidden", b"v\0")
        self.assert_failed(ltectl("nv", "clear", "--yes"), FAILED, f"cannot remove every parameter in {BACKUP}")

    def test_without_a_store(self):
        shutil.rmtree(NV)
        result = ltectl("nv", "clear", "--yes")
        self.assertEqual((result.returncode, result.stdout), (DONE, "removed=0\n"))


if __name__ == "__main__":
    support.main()
