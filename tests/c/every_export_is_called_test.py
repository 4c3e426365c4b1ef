"""The C programs call every exported function. usage: every_export_is_called_test.py EXPORTS_MAP PROGRAM..."""

import os
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from exports import exported  # noqa: E402

EXPORTS, *PROGRAMS = sys.argv[1:]


def called_by(program):
    """The functions that a program, of whatever machine, takes from its libraries: nm knows only some."""
    table = subprocess.run(["readelf", "--dyn-syms", "--wide", program],
                           check=True, capture_output=True, text=True).stdout
    return set(re.findall(r" FUNC .* UND (\w+)", table))


class Programs(unittest.TestCase):
    maxDiff = None

    def test_every_export_is_called(self):
        called = set().union(*map(called_by, PROGRAMS))
        self.assertEqual(sorted(exported(EXPORTS) - called), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
