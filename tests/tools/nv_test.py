"""ltectl nv: the persistent parameters, one by one and as a whole. No WAN manager is running here."""

import os
import shutil

import support
from support import (BACKUP, CURRENT, DEFAULTS, DONE, FAILED, MARKER, NV, NvTest, ltectl, read_file,
                     write_file)

REMOUNT = "make it writable: mount -o remount,rw /2ndfile"
NO_DEFAULTS = f"cannot read {DEFAULTS}: No such file or directory"


class Init(NvTest):
    def test_makes_the_directories_repairs_and_says_so(self):
        self.declare(b"a=1=x\n")
        for made in (True, False):
            with self.subTest(made=made):
                if not made:
                    shutil.rmtree(CURRENT)
                    shutil.rmtree(BACKUP)
                self.assert_runs("nv init", "store ready repair=done\n")
                self.assert_copies("a", b"x")
        self.assert_runs("nv init --json", '{"event":"store","store":"ready","repair":"done"}\n')

    def test_skips_the_repair_after_an_orderly_shutdown(self):
        self.declare(b"a=1=x\n")
        os.mkdir(MARKER)
        self.assert_runs("nv init", "store ready repair=skipped\n")
        self.assertEqual((os.path.exists(MARKER), os.listdir(CURRENT)), (False, []))

    def test_with_a_defaults_file_that_does_not_tell(self):
        self.assert_fails("nv init", f"{NO_DEFAULTS}; the repair ends there")
        self.declare(b"# comment\n\na=1=x\na=g=x\nb=1=y\n")
        self.assert_fails("nv init", f"line 4 of {DEFAULTS} is malformed; the repair ends there")
        self.assert_copies("a", b"x")
        self.assertFalse(os.path.exists(CURRENT + "b"))

    def test_of_a_marker_that_cannot_be_removed(self):
        os.makedirs(MARKER + "/full")
        self.assert_fails("nv init", f"cannot remove {MARKER}: Directory not empty")

    def test_of_directories_that_cannot_be_made(self):
        self.declare(b"a=1=x\n")
        os.rmdir(BACKUP)
        self.assert_failed(support.run_with_readonly("/2ndfile", "nv", "init"), FAILED,
                           f"cannot make {CURRENT} and {BACKUP}: Read-only file system; {REMOUNT}")
        os.symlink("nowhere/nothing", BACKUP[:-1])
        self.addCleanup(os.unlink, BACKUP[:-1])
        self.assert_fails("nv init", f"{BACKUP} is not there or no directory")


class Fin(NvTest):
    def test_marks_the_shutdown(self):
        self.assert_runs("nv fin", "store closed\n")
        self.assertTrue(os.path.isdir(MARKER))
        self.assert_runs("nv fin --json", '{"event":"store","store":"closed"}\n')

    def test_of_a_marker_that_cannot_be_made(self):
        self.assert_failed(support.run_with_readonly("/2ndfile", "nv", "fin"), FAILED,
                           f"cannot make {MARKER}: Read-only file system; {REMOUNT}")
        write_file(MARKER, b"")
        self.assert_fails("nv fin", f"{MARKER} is no directory, so the next nv init repairs")


class Get(NvTest):
    def test_shows_the_value_alone_and_as_it_is(self):
        self.declare(b"a=1=x\nb=1=two  words=\n")
        for value in (b"v", b"", b"two\nlines"):
            self.put("a", value)
            self.assert_runs("nv get a", value.decode() + "\n")
        self.assert_runs("nv get a --json",
                         '{"event":"parameter","source":"current","name":"a","value":"two\\u000alines"}\n')

    def test_says_where_the_value_comes_from_when_it_has_no_current_copy(self):
        self.declare(b"a=1=x\nb=1=two  words=\n")
        self.put("a", b"v")
        write_file(CURRENT + "a", b"")
        for name, value, source, told in (("a", "v", "backup", "backup copy"),
                                          ("b", "two  words=", "default", "default")):
            self.assert_result(ltectl("nv", "get", name), DONE, value + "\n",
                               f'ltectl: "{name}" has no current copy: this is its {told}\n')
            self.assert_runs(["nv", "get", name, "--json"],
                             f'{{"event":"parameter","source":"{source}","name":"{name}","value":"{value}"}}\n')

    def test_the_longest_value(self):
        self.declare(b"a=1=" + b"v" * 4095 + b"\n")
        self.assertEqual(ltectl("nv", "get", "a").stdout, "v" * 4095 + "\n")

    def test_missing(self):
        self.declare(b"a=1=x\n")
        for name in ("b", "", "a/b", "n" * 128):
            self.assert_fails(["nv", "get", name], f'no parameter "{name}"; ltectl nv list shows what there is')

    def test_with_a_defaults_file_that_does_not_tell(self):
        self.assert_fails("nv get a", f'"a" has no copy: {NO_DEFAULTS}')
        self.declare(b"b=1=x\n\nnonsense\na=1=x\n")
        for name in ("a", "n" * 127):
            self.assert_fails(["nv", "get", name], f'"{name}" has no copy: line 3 of {DEFAULTS} is malformed')
        self.put("a", b"v")
        self.assert_runs("nv get a", "v\n")


class Set(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(b"a=1=x\n=1=x\n")

    def test_stores_and_shows_the_parameter(self):
        for value in ("12", "v" * 4095):
            self.assert_runs(["nv", "set", "a", value], f"a={value}\n")
            self.assert_copies("a", value.encode())
        self.assert_runs(["nv", "set", "a", "", "--json"], '{"event":"parameter","name":"a","value":""}\n')
        self.assert_copies("a", b"")

    def test_refuses(self):
        before = self.files()
        for why, name, value, sentence in (
                ("what could not be read", "a", "v" * 4096, 'the value of "a" is longer than 4095 bytes'),
                ("what could not be exported", "a", "two\nlines",
                 'the value of "a" has a line feed in it and could not be exported'),
                *(("what is not declared", name, "v", f'"{name}" is not declared in {DEFAULTS}')
                  for name in ("b", "a/b", "a b", "n" * 128))):
            with self.subTest(why, name=name):
                self.assert_fails(["nv", "set", name, value], sentence)
        self.assertEqual(self.files(), before)

    def test_with_a_defaults_file_that_does_not_tell(self):
        self.declare(b"a=1=x\x00\n")
        self.assert_fails("nv set a v", f'"a" has no copy: line 1 of {DEFAULTS} is malformed')
        os.unlink(DEFAULTS)
        self.assert_fails("nv set a v", f'"a" has no copy: {NO_DEFAULTS}')

    def test_reports_what_the_store_does_not(self):
        """The store says that all is well when it could not create the parameter."""
        os.mkdir(BACKUP + "a")
        self.assert_fails("nv set a v", f"cannot write {BACKUP}a: Is a directory")
        os.unlink(CURRENT + "a")
        os.mkdir(CURRENT + "a")
        for name in ("a", ""):
            self.assert_fails(["nv", "set", name, "v"], f"cannot write {CURRENT}{name}: Is a directory")


class List(NvTest):
    def test_shows_values_bits_and_sources_in_the_order_of_declaration(self):
        self.declare(b"# comment\nc=1=dc\nb=80000000=db\n\na=0=da\nd=a3=d d\n")
        self.put("c", b"vc")
        self.put("b", b"vb")
        os.unlink(CURRENT + "b")
        write_file(CURRENT + "a", b"")
        write_file(CURRENT + "stray", b"v\0")
        self.assert_runs("nv list", "current bits=1 c=vc\nbackup bits=80000000 b=vb\ndefault bits=0 a=da\n"
                                    "default bits=a3 d=d d\n")
        self.assert_json("nv list", *[
            {"event": "parameter", "source": source, "bits": bits, "name": name, "value": value}
            for source, bits, name, value in (("current", 1, "c", "vc"), ("backup", 0x80000000, "b", "vb"),
                                              ("default", 0, "a", "da"), ("default", 0xa3, "d", "d d"))])

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
            self.assert_fails(["nv", command], NO_DEFAULTS)
            self.declare(b"")
            self.assert_runs(["nv", command])
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
        self.assert_runs("nv diff", "current b= -> two words\ncurrent c=y -> \n")
        self.assertEqual(self.objects(ltectl("nv", "diff", "--json").stdout),
                         [{"event": "difference", "source": "current", "name": "b", "default": "", "value": "two words"},
                          {"event": "difference", "source": "current", "name": "c", "default": "y", "value": ""}])


class Reset(NvTest):
    def test_gives_the_parameters_with_bit_0_their_default(self):
        self.declare(b"# comment\na=1=x\nb=2=y\nc=f7=z\n")
        for name in "abc":
            self.put(name, b"v")
        before = self.files()
        self.assert_runs("nv reset --dry-run",
                         "line=2 change source=current a=v -> x\nline=3 masked b=y\n"
                         "line=4 change source=current c=v -> z\n"
                         "reset planned applied=2 undeclared=0 masked=1\n")
        self.assertEqual(self.files(), before)
        self.assert_runs("nv reset", "reset done applied=2 undeclared=0 masked=1\n")
        self.assert_copies("a", b"x")
        self.assert_copies("b", b"v")
        self.assert_copies("c", b"z")

    def test_as_json(self):
        self.declare(b"a=1=x\nb=2=y\n")
        self.assertEqual(self.objects(ltectl("nv", "reset", "--json").stdout),
                         [{"event": "reset", "reset": "done", "applied": 1, "undeclared": 0, "masked": 1}])

    def test_with_a_bad_defaults_file(self):
        self.assert_fails("nv reset", NO_DEFAULTS)
        self.declare(b"a=1=x\nno\nb=1=y\n")
        for name in "ab":
            self.put(name, b"v")
        self.assert_fails("nv reset", f"line 2 of {DEFAULTS} is malformed; what follows is not applied")
        self.assert_copies("a", b"x")
        self.assert_copies("b", b"v")

    def test_without_a_store(self):
        self.declare(b"a=1=x\n")
        os.rmdir(BACKUP)
        self.assert_fails("nv reset", f"{BACKUP} is not there; ltectl nv init makes it")


class Clear(NvTest):
    def test_removes_both_copies_of_everything(self):
        self.declare(b"a=1=x\n")
        self.put("a", b"v")
        self.put("b", b"v")
        os.unlink(BACKUP + "b")
        self.assert_runs("nv clear --yes", "removed=3\n")
        self.assertEqual((os.listdir(CURRENT), os.listdir(BACKUP), read_file(DEFAULTS)), ([], [], b"a=1=x\n"))
        self.assert_runs("nv clear --yes --json", '{"event":"cleared","removed":0}\n')

    def test_without_a_yes_removes_nothing(self):
        self.put("a", b"v")
        before = self.files()
        self.assert_usage("nv clear", "nv clear removes every stored value; with --yes it does")
        self.assertEqual(self.files(), before)

    def test_tells_when_something_is_left(self):
        write_file(BACKUP + ".hidden", b"v\0")
        self.assert_fails("nv clear --yes", f"cannot remove every parameter in {BACKUP}")

    def test_without_a_store(self):
        shutil.rmtree(NV)
        result = ltectl("nv", "clear", "--yes")
        self.assertEqual((result.returncode, result.stdout), (DONE, "removed=0\n"))


if __name__ == "__main__":
    support.main()
