"""ltectl ram: the volatile parameters. No WAN manager is running in these tests."""

import os

import support
from support import FAILED, STORE, ToolTest, parameter, write_file

ADVICE = "Read-only file system; make it writable: mount -o remount,rw /tmp"


class RamTest(ToolTest):
    def put(self, name, value):
        """A parameter as another process of the router leaves it."""
        os.makedirs(STORE, exist_ok=True)
        write_file(STORE + name, value)

    def put_file_for_store(self):
        write_file("/tmp/nv", b"")
        self.addCleanup(os.unlink, "/tmp/nv")


class Set(RamTest):
    def test_stores_and_shows_the_parameter(self):
        for behaviour, before, value in (("a new one", None, "12"), ("in place of a longer value", b"longer\0", "b"),
                                         ("an empty value", None, ""),
                                         ("the longest value that can be read", None, "v" * 4095)):
            with self.case(behaviour):
                before and self.put("wm_test", before)
                self.assert_runs(["ram", "set", "wm_test", value], f"wm_test={value}\n")
                self.assertEqual(parameter("wm_test"), value.encode() + b"\0")
        self.assert_runs("ram set a b --json", '{"event":"parameter","name":"a","value":"b"}\n')

    def test_refuses_a_longer_one(self):
        self.assert_fails(["ram", "set", "a", "v" * 4096], 'the value of "a" is longer than 4095 bytes')
        self.assertFalse(os.path.exists(STORE + "a"))

    def test_refuses_bad_names(self):
        for name in ("a/b", "a b", "n" * 128, "ä"):
            self.assert_fails(["ram", "set", name, "v"],
                              f'"{name}" is no parameter name: 1 to 127 letters, digits, "-", "_" and "."')

    def test_reports_what_the_store_does_not(self):
        """The store says that all is well when it could not create the parameter."""
        os.makedirs(STORE + "taken")
        for name in ("", "taken"):
            self.assert_fails(["ram", "set", name, "v"], f"cannot write /tmp/nv/{name}: Is a directory")

    def test_reports_a_store_that_cannot_be_made(self):
        result = support.run_with_readonly("/tmp", "ram", "set", "a", "v")
        self.assert_failed(result, FAILED, f"cannot make /tmp/nv/: {ADVICE}")

    def test_reports_a_store_that_is_none(self):
        self.put_file_for_store()
        self.assert_fails("ram set a v", "cannot open /tmp/nv/: Not a directory")
        self.assert_fails("ram list", "cannot read /tmp/nv/: Not a directory")


class Get(RamTest):
    # What stands in the file, and what JSON has of it.
    VALUES = (
        ("a word", b"sim_ready", "sim_ready"),
        ("an empty value", b"", ""),
        ("two lines", b"two\nlines", "two\nlines"),
        ("a tabulator", b"a\tb", "a\tb"),
        ("what JSON escapes", b'q"\\', 'q"\\'),
        ("control characters", b"\x01\x1f\x7f", "\x01\x1f\x7f"),
        ("more than ASCII", "grüße €𝄞".encode(), "grüße €𝄞"),
        ("no UTF-8 byte at all", b"a\xffb", "a\ufffdb"),
        ("cut off", b"\xc3", "\ufffd"),
        ("not continued", b"\xc3(", "\ufffd("),
        ("overlong, of two bytes", b"\xc0\xaf", "\ufffd" * 2),
        ("overlong, of three bytes", b"\xe0\x80\x80", "\ufffd" * 3),
        ("a surrogate", b"\xed\xa0\x80", "\ufffd" * 3),
        ("above the last character", b"\xf4\x90\x80\x80", "\ufffd" * 4),
        ("cut off and continued by another", b"\xf0\x9d\x84(", "\ufffd" * 3 + "("),
    )

    def test_shows_the_value_alone_and_as_it_is_and_readable_as_json(self):
        for kind, value, shown in self.VALUES:
            with self.subTest(kind):
                self.put("a", value + b"\0")
                self.assert_runs("ram get a", value.decode(errors="surrogateescape") + "\n")
                self.assert_json("ram get a", {"event": "parameter", "name": "a", "value": shown})

    def test_the_longest_value_that_can_be_read(self):
        self.put("a", b"v" * 5000 + b"\0")
        self.assert_runs("ram get a", "v" * 4095 + "\n")

    def test_missing(self):
        for name in ("a", "", "a/b", "n" * 128):
            self.assert_fails(["ram", "get", name], f'no parameter "{name}"; ltectl ram list shows what there is')


class List(RamTest):
    def test_is_sorted_by_name(self):
        for name in ("b", "a.b", "c", "B", "_", ".hidden", "10", "9"):
            self.put(name, name.encode() + b"!\0")
        names = [".hidden", "10", "9", "B", "_", "a.b", "b", "c"]
        self.assert_runs("ram list", "".join(f"{name}={name}!\n" for name in names))
        self.assert_json("ram list", *[{"event": "parameter", "name": name, "value": name + "!"} for name in names])

    def test_leaves_out_what_is_no_parameter(self):
        for name, content in (("a", b"1\0"), ("with blank", b"1\0"), ("empty", b"")):
            self.put(name, content)
        os.makedirs(STORE + "directory")
        self.assert_runs("ram list", "a=1\n")

    def test_a_value_keeps_to_its_line(self):
        self.put("a", b"two\nlines\x1b[31m\0")
        self.assert_runs("ram list", "a=two?lines?[31m\n")

    def test_an_empty_store_and_none_at_all(self):
        self.assert_runs("ram list")
        os.makedirs(STORE)
        self.assert_runs("ram list")


class Clear(RamTest):
    def test_removes_every_parameter_and_tells_how_many(self):
        for name in ("a", "b"):
            self.put(name, b"1\0")
        self.assert_runs("ram clear", "removed=2\n")
        self.assertEqual(os.listdir(STORE), [])
        self.assert_runs("ram clear --json", '{"event":"cleared","removed":0}\n')

    def test_tells_when_something_is_left(self):
        self.put(".hidden", b"1\0")
        self.assert_fails("ram clear", "cannot remove every parameter in /tmp/nv/")


if __name__ == "__main__":
    support.main()
