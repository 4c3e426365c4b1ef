"""What the linker takes from the static library. usage: archive_test.py PROJECT ARCHIVE C_COMPILER
  C_COMPILER  with its options, as one argument"""

import os
import pathlib
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "scripts"))
import program  # noqa: E402

PROJECT, ARCHIVE, COMPILER = pathlib.Path(sys.argv.pop(1)), sys.argv.pop(1), sys.argv.pop(1).split()
footprint = program.load(PROJECT / "scripts" / "footprint")
EXPORTS = footprint.exports()


def linked(*families):
    return footprint.Linked(COMPILER, ARCHIVE, [name for family in families for name in EXPORTS[family]])


def families_in(program):
    return {family for family, functions in EXPORTS.items() if program.functions & set(functions)}


class Archive(unittest.TestCase):
    def test_a_program_has_each_function_that_it_uses(self):
        whole = linked(*EXPORTS)
        for family, functions in EXPORTS.items():
            with self.subTest(family):
                self.assertLessEqual(set(functions), whole.functions)

    def test_messaging_needs_the_foundation_alone(self):
        messaging = linked("lc_ipc_msg")
        self.assertLessEqual({"lc_ipc_msg", "lc_ipc_mq"}, families_in(messaging))
        self.assertLessEqual(families_in(messaging),
                             {"lc_ipc_msg", "lc_ipc_mq", "lc_list", "lc_log", "lc_mem", "lc_pthread", "lc_file"})
        self.assertLess(messaging.size, linked(*EXPORTS).size / 2)

    def test_a_family_that_nothing_else_needs_is_left_out(self):
        for family in ("lc_hashtab", "sdk_timer", "lc_network", "lc_up"):
            with self.subTest(family):
                others = linked(*(other for other in EXPORTS if other != family))
                self.assertNotIn(family, families_in(others))


if __name__ == "__main__":
    unittest.main(verbosity=2)
