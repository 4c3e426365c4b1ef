"""ltectl ram: the volatile parameters. No WAN manager is running in these tests."""

import os

import support
from support import DONE, FAILED, STORE, ToolTest, ltectl


def stored(name):
    with open(STORE + name, "rb") as file:
        return file.read()


class RamTest(ToolTest):
    def put(self, name, value):
        """A parameter as another process of the router leaves it."""
        os.makedirs(STORE, exist_ok=True)
        with open(STORE + name, "wb") as file:
            file.write(value)


class Set(RamTest):
    def test_stores_and_shows_the_parameter(self):
        self.assert_ran(ltectl("ram", "set", "wm_test", "12"), "wm_test=12\n")
        self.assertEqual(stored("wm_test"), b"12\0")

    def test_replaces_a_longer_value(self):
        self.put("a", b"a longer value\0")
        self.assert_ran(ltectl("ram", "set", "a", "b", "--json"), '{"event":"parameter","name":"a","value":"b"}\n')
        self.assertEqual(stored("a"), b"b\0")

    def test_stores_an_empty_value(self):
        self.assert_ran(ltectl("ram", "set", "a", ""), "a=\n")
        self.assertEqual(stored("a"), b"\0")

    def test_stores_the_longest_value_that_can_be_read(self):
        value = "v" * 4095
        self.assert_ran(ltectl("ram", "set", "a", value), f"a={value}\n")
        self.assertEqual(stored("a"), value.encode() + b"\0")

    def test_refuses_a_longer_one(self):
        self.assert_failed(ltectl("ram", "set", "a", "v" * 4096), FAILED,
                           'the value of "a" is longer than 4095 bytes')
        self.assertFalse(os.path.exists(STORE + "a"))

    def test_refuses_bad_names(self):
        for name in ("a/b", "a b", "n" * 128, "ä"):
            self.assert_failed(ltectl("ram", "set", name, "v"), FAILED,
                               f'"{name}" is no parameter name: 1 to 127 letters, digits, "-", "_" and '
                               '"."')

    def test_reports_what_the_store_does_not(self):
        """The store says that all is well when it could not create the parameter."""
        os.makedirs(STORE + "taken")
        for name in ("", "taken"):
            self.assert_failed(ltectl("ram", "set", name, "v"), FAILED,
                               f"cannot write /tmp/nv/{name}: Is a directory")

    def test_reports_a_store_that_cannot_be_made(self):
        self.assert_failed(support.run_with_readonly("/tmp", "ram", "set", "a", "v"), FAILED,
                           "cannot make /tmp/nv/: Read-only file system; make it writable: mount -o remount,rw /tmp")

    def test_reports_a_store_that_is_none(self):
        with open("/tmp/nv", "w"):
            self.addCleanup(os.unlink, "/tmp/nv")
        self.assert_failed(ltectl("ram", "set", "a", "v"), FAILED, "cannot open /tmp/nv/: Not a directory")


class Get(RamTest):
    def test_shows_the_value_alone_and_as_it_is(self):
        for value in ("sim_ready", "", "two\nlines", "a\tb", 'q"\\'):
            self.put("a", value.encode() + b"\0")
            self.assert_ran(ltectl("ram", "get", "a"), value + "\n")

    def test_as_json(self):
        for value in ("sim_ready", "", "two\nlines", 'q"\\', "\x01\x1f\x7f", "grüße €𝄞"):
            self.put("a", value.encode() + b"\0")
            result = ltectl("ram", "get", "a", "--json")
            self.assertEqual(result.returncode, DONE)
            self.assertEqual(self.objects(result.stdout), [{"event": "parameter", "name": "a", "value": value}])

    def test_bytes_that_are_no_text_leave_the_json_readable(self):
        for value, shown in ((b"a\xffb", "a\ufffdb"),               # no UTF-8 byte at all
                             (b"\xc3", "\ufffd"),                   # cut off
                             (b"\xc3(", "\ufffd("),                 # not continued
                             (b"\xc0\xaf", "\ufffd" * 2),           # overlong
                             (b"\xe0\x80\x80", "\ufffd" * 3),       # overlong
                             (b"\xed\xa0\x80", "\ufffd" * 3),       # surrogate
                             (b"\xf4\x90\x80\x80", "\ufffd" * 4),   # above the last character
                             (b"\xf0\x9d\x84(", "\ufffd" * 3 + "(")):
            self.put("a", value + b"\0")
            result = ltectl("ram", "get", "a", "--json")
            self.assertEqual(self.objects(result.stdout), [{"event": "parameter", "name": "a", "value": shown}])

    def test_the_longest_value_that_can_be_read(self):
        self.put("a", b"v" * 5000 + b"\0")
        self.assert_ran(ltectl("ram", "get", "a"), "v" * 4095 + "\n")

    def test_missing(self):
        for name in ("a", "", "a/b", "n" * 128):
            self.assert_failed(ltectl("ram", "get", name), FAILED,
                               f'no parameter "{name}"; ltectl ram list shows what there is')


class List(RamTest):
    def test_is_sorted_by_name(self):
        for name in ("b", "a.b", "c", "B", "_", ".hidden", "10", "9"):
            self.put(name, name.encode() + b"!\0")
        names = [".hidden", "10", "9", "B", "_", "a.b", "b", "c"]
        self.assert_ran(ltectl("ram", "list"), "".join(f"{name}={name}!\n" for name in names))
        self.assertEqual(self.objects(ltectl("ram", "list", "--json").stdout),
                         [{"event": "parameter", "name": name, "value": name + "!"} for name in names])

    def test_leaves_out_what_is_no_parameter(self):
        self.put("a", b"1\0")
        self.put("with blank", b"1\0")
        self.put("empty", b"")
        os.makedirs(STORE + "directory")
        self.assert_ran(ltectl("ram", "list"), "a=1\n")

    def test_a_value_keeps_to_its_line(self):
        self.put("a", b"two\nlines\x1b[31m\0")
        self.assert_ran(ltectl("ram", "list"), "a=two?lines?[31m\n")

    def test_an_empty_store_and_none_at_all(self):
        self.assert_ran(ltectl("ram", "list"))
        os.makedirs(STORE)
        self.assert_ran(ltectl("ram", "list"))

    def test_a_store_that_cannot_be_read(self):
        with open("/tmp/nv", "w"):
            self.addCleanup(os.unlink, "/tmp/nv")
        self.assert_failed(ltectl("ram", "list"), FAILED, "cannot read /tmp/nv/: Not a directory")


class Clear(RamTest):
    def test_removes_every_parameter_and_tells_how_many(self):
        for name in ("a", "b"):
            self.put(name, b"1\0")
        self.assert_ran(ltectl("ram", "clear"), "removed=2\n")
        self.assertEqual(os.listdir(STORE), [])
        self.assert_ran(ltectl("ram", "clear", "--json"), '{"event":"cleared","removed":0}\n')

    def test_tells_when_something_is_left(self):
        self.put(".hidden", b"1\0")
        self.assert_failed(ltectl("ram", "clear"), FAILED, "cannot remove every parameter in /tmp/nv/")


if __name__ == "__main__":
    support.main()
