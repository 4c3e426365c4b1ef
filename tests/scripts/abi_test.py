"""What scripts/abi finds incompatible, and what it would not record. The interfaces it is given are the kept ones,
changed in one thing. usage: abi_test.py PROJECT"""

import contextlib
import io
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

import program  # beside this file

PROJECT = pathlib.Path(sys.argv.pop(1))
abi = program.load(PROJECT / "scripts" / "abi")

BINARIES = [f"{target}.abi" for target in abi.TARGETS]
SYMBOL = "    <elf-symbol name='ipc_mq_send' version='LTEROUTER_1' is-default-version='yes' type='func-type' " \
         "binding='global-binding' visibility='default-visibility' is-defined='yes'/>\n"
PARAMETERS = {  # of ipc_mq_send: the last two
    "      <parameter type-id='8f92235e'/>\n      <parameter type-id='3ff5601b'/>\n": ""}
LONGER_RECORD = {"name='ipc_mq_usg' size-in-bits='96'": "name='ipc_mq_usg' size-in-bits='128'"}
MEMBERS_SWAPPED = {"name='high_count'": "name='normal_count'", "name='normal_count'": "name='high_count'"}
MEMBER_MOVED = {"<data-member access='public' layout-offset-in-bits='32'>\n"
                "        <var-decl name='high_count'":
                "<data-member access='public' layout-offset-in-bits='40'>\n        <var-decl name='high_count'"}


def changed(text, changes):
    """Each in its first place; the new text is not looked at again."""
    places = sorted((text.index(old), old, new) for old, new in changes.items())
    pieces, end = [], 0
    for place, old, new in places:
        pieces += [text[end:place], new]
        end = place + len(old)
    return "".join(pieces) + text[end:]


class Interface(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.today = pathlib.Path(folder.name) / "today"
        self.today.mkdir()
        self.kept = shutil.copytree(abi.KEPT, pathlib.Path(folder.name) / "kept")
        self.printed = io.StringIO()
        real_place, abi.KEPT = abi.KEPT, self.kept
        self.addCleanup(setattr, abi, "KEPT", real_place)

    def act(self, action, name, changes):
        today = self.today / name
        today.write_text(changed((self.kept / name).read_text(), changes))
        with contextlib.redirect_stdout(self.printed):
            return action(today.stem, today)

    def assert_breaks(self, changes, told, names=BINARIES):
        for name in names:
            before = (self.kept / name).read_bytes()
            for action in (abi.check, abi.record):
                with self.subTest(name, action=action.__name__):
                    self.assertFalse(self.act(action, name, changes), self.printed.getvalue())
                    self.assertRegex(self.printed.getvalue(), told)
            self.assertEqual((self.kept / name).read_bytes(), before)

    def assert_new_until_recorded(self, name, line, told):
        """What is kept lacks that line, which today's has."""
        kept = self.kept / name
        whole = kept.read_text()
        kept.write_text(changed(whole, {line: ""}))
        today = self.today / name
        today.write_text(whole)
        for action, good, text in ((abi.check, False, f"compatible, but .*{told}"), (abi.record, True, "recorded"),
                                   (abi.check, True, "as it was")):
            self.printed = io.StringIO()
            with contextlib.redirect_stdout(self.printed):
                self.assertEqual(action(today.stem, today), good)
            self.assertRegex(self.printed.getvalue(), f"(?s){text}")


class Incompatible(Interface):
    def test_is_what_breaks_a_program(self):
        for what, changes, told, names in (
                ("a function that is gone", {SYMBOL: ""}, "ipc_mq_send@@LTEROUTER_1", BINARIES),
                ("a function with fewer parameters", PARAMETERS, "parameter .* removed", BINARIES),
                ("a longer record", LONGER_RECORD, "type size changed from 96 to 128", BINARIES),
                ("a member elsewhere", MEMBER_MOVED, "high_count.* offset changed from 32 to 40", BINARIES),
                ("members that have changed places", MEMBERS_SWAPPED, "high_count", BINARIES),
                ("a constant of another value", {"IPC_ERR_EMPTY 9u": "IPC_ERR_EMPTY 8u"},
                 "IPC_ERR_EMPTY was 9u, is 8u", ["constants"]),
                ("a constant that is gone", {"IPC_ERR_EMPTY 9u\n": ""}, "IPC_ERR_EMPTY was 9u, is gone",
                 ["constants"])):
            self.printed = io.StringIO()
            with self.subTest(what):
                self.assert_breaks(changes, told, names)

    def test_is_another_soname_until_it_is_recorded(self):
        soname = {"soname='liblterouter.so.1'": "soname='liblterouter.so.2'"}
        for name, change in (("native.abi", SYMBOL), ("constants", "IPC_ERR_EMPTY 9u\n")):
            changes = {**soname, change: ""}
            self.assertFalse(self.act(abi.check, name, changes))
            self.assertTrue(self.act(abi.record, name, changes))
            self.assertTrue(self.act(abi.check, name, {}))


class Compatible(Interface):
    def test_is_what_is_kept(self):
        for name in (*BINARIES, "constants"):
            self.assertTrue(self.act(abi.check, name, {}))
        self.assertEqual(self.printed.getvalue(),
                         "abi: native: as it was\nabi: mips: as it was\nabi: constants: as it was\n")

    def test_is_a_new_function_or_constant_which_is_to_be_recorded(self):
        for name in BINARIES:
            self.assert_new_until_recorded(name, SYMBOL, "1 Added")
        self.assert_new_until_recorded("constants", "IPC_ERR_EMPTY 9u\n", "IPC_ERR_EMPTY 9u is new")


class Constants(Interface):
    def test_are_those_of_every_header(self):
        found = self.today / "constants"
        abi.list_constants(found, self.kept / "native.abi")
        self.assertEqual(found.read_text(), (self.kept / "constants").read_text())
        for name in ("LC_LIST_ERR_INDEX 12u", "WM_MSG_LINK_STATUS_NOTIFY 0x10400016u", "LCT_LINK_CONNECTED 2u"):
            self.assertIn(f"\n{name}\n", found.read_text())


class Failing(Interface):
    def test_abidiff_is_not_taken_for_a_difference(self):
        (self.today / "native.abi").write_text("no description of anything")
        with self.assertRaisesRegex(abi.Failure, "abidiff failed"):
            abi.check("native", self.today / "native.abi")

    def test_a_library_that_does_not_build_ends_with_3_and_says_why(self):
        errors = io.StringIO()
        with contextlib.redirect_stderr(errors), \
                unittest.mock.patch.object(abi, "build", lambda target: abi.run("sh", "-c", "echo broken; exit 1")), \
                unittest.mock.patch.object(abi.subprocess, "run", self.without_setup):
            self.assertEqual(abi.main([]), 3)
        self.assertIn("broken", errors.getvalue())

    @staticmethod
    def without_setup(command, _run=subprocess.run, **options):
        return None if pathlib.Path(command[0]).name == "setup" else _run(command, **options)


if __name__ == "__main__":
    unittest.main(verbosity=2)
