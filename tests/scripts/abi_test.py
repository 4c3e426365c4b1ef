"""What scripts/abi finds incompatible, and what it would not record. The interfaces it is given are the kept ones,
changed in one thing. usage: abi_test.py PROJECT"""

import contextlib
import io
import pathlib
import shutil
import sys
import tempfile
import unittest

import program  # beside this file

PROJECT = pathlib.Path(sys.argv.pop(1))
abi = program.load(PROJECT / "scripts" / "abi")

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
        self.today = pathlib.Path(folder.name) / "today.abi"
        self.kept = shutil.copytree(abi.KEPT, pathlib.Path(folder.name) / "kept")
        self.printed = io.StringIO()
        real_place, abi.KEPT = abi.KEPT, self.kept
        self.addCleanup(setattr, abi, "KEPT", real_place)

    def act(self, action, target, changes):
        self.today.write_text(changed((self.kept / f"{target}.abi").read_text(), changes))
        with contextlib.redirect_stdout(self.printed):
            return action(target, self.today)

    def assert_breaks(self, changes, told):
        for target in abi.TARGETS:
            before = (self.kept / f"{target}.abi").read_bytes()
            for action in (abi.check, abi.record):
                with self.subTest(target=target, action=action.__name__):
                    self.assertFalse(self.act(action, target, changes), self.printed.getvalue())
                    self.assertRegex(self.printed.getvalue(), told)
            self.assertEqual((self.kept / f"{target}.abi").read_bytes(), before)


class Incompatible(Interface):
    def test_is_a_function_that_is_gone(self):
        self.assert_breaks({SYMBOL: ""}, "ipc_mq_send@@LTEROUTER_1")

    def test_is_a_function_with_fewer_parameters(self):
        self.assert_breaks(PARAMETERS, "parameter .* removed")

    def test_is_a_longer_record(self):
        self.assert_breaks(LONGER_RECORD, "type size changed from 96 to 128")

    def test_is_a_member_elsewhere(self):
        self.assert_breaks(MEMBER_MOVED, "high_count.* offset changed from 32 to 40")

    def test_is_members_that_have_changed_places(self):
        self.assert_breaks(MEMBERS_SWAPPED, "high_count")

    def test_is_another_soname_until_it_is_recorded(self):
        changes = {"soname='liblterouter.so.1'": "soname='liblterouter.so.2'", SYMBOL: ""}
        self.assertFalse(self.act(abi.check, "native", changes))
        self.assertTrue(self.act(abi.record, "native", changes))
        self.assertTrue(self.act(abi.check, "native", {}))


class Compatible(Interface):
    def test_is_what_is_kept(self):
        for target in abi.TARGETS:
            self.assertTrue(self.act(abi.check, target, {}))
        self.assertEqual(self.printed.getvalue(), "abi: native: as it was\nabi: mips: as it was\n")

    def test_is_a_new_function_and_it_is_told_until_it_is_recorded(self):
        kept = self.kept / "native.abi"
        whole = kept.read_text()
        kept.write_text(changed(whole, {SYMBOL: ""}))
        self.today.write_text(whole)
        for action, told in ((abi.check, "compatible; .*1 Added"), (abi.record, "recorded"), (abi.check, "as it was")):
            self.printed = io.StringIO()
            with contextlib.redirect_stdout(self.printed):
                self.assertTrue(action("native", self.today))
            self.assertRegex(self.printed.getvalue(), f"(?s){told}")


class Failing(Interface):
    def test_abidiff_is_not_taken_for_a_difference(self):
        self.today.write_text("no description of anything")
        with self.assertRaisesRegex(RuntimeError, "abidiff failed"):
            abi.check("native", self.today)


if __name__ == "__main__":
    unittest.main(verbosity=2)
