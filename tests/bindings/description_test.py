"""The description of the bindings beside the library: each export is bound or has a reason, both languages have each
method, and what is committed is what the generator makes.

usage: description_test.py PROJECT"""

import pathlib
import re
import subprocess
import sys
import tomllib
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(PROJECT / "tests" / "support"))
from exports import exported  # noqa: E402

BINDINGS = PROJECT / "bindings"
DESCRIPTION = tomllib.loads((BINDINGS / "interface.toml").read_text())
BY_HAND = {name: function for function, names in DESCRIPTION["by_hand"].items() for name in names}
EXCLUDED = {name: group["reason"] for group in DESCRIPTION["excluded"] for name in group["functions"]}
MARK = "Made by scripts/bindings"


def text_of(pattern, is_made):
    texts = (path.read_text() for path in sorted(BINDINGS.glob(pattern)))
    return "\n".join(text for text in texts if (MARK in text) == is_made)


class Description(unittest.TestCase):
    def test_each_export_is_bound_or_excluded_with_a_reason(self):
        told = {*DESCRIPTION["functions"], *BY_HAND, *EXCLUDED}
        missing = sorted(exported(PROJECT / "lib/exports.map") - told)
        self.assertEqual(missing, [], "name each in bindings/interface.toml: in [functions] or [by_hand] to have it in "
                                      "both languages, or in [[excluded]] with the reason; then run scripts/bindings")

    def test_each_reason_is_a_sentence(self):
        for reason in EXCLUDED.values():
            self.assertRegex(reason, r"^[A-Z].{20,}\.$")

    def test_what_is_committed_is_what_the_generator_makes(self):
        done = subprocess.run(["scripts/bindings", "--check"], cwd=PROJECT, capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_what_is_bound_by_hand_is_called_in_each_language(self):
        for pattern in PATTERNS:
            code = text_of(pattern, is_made=False)
            self.assertEqual([name for name in BY_HAND if not re.search(rf"\b{name}\b", code)], [], pattern)

    def test_what_is_generated_is_called_in_each_language(self):
        for pattern in PATTERNS:
            code = text_of(pattern, is_made=True)
            self.assertEqual([name for name in DESCRIPTION["functions"] if not re.search(rf"\b{name}\b", code)], [],
                             pattern)


PATTERNS = ["python/lterouter/*.py", "lua/*.c"]

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
