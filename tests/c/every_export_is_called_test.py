"""The C programs call every exported function. usage: every_export_is_called_test.py EXPORTS_MAP PROGRAM..."""

import pathlib
import re
import subprocess
import sys
import unittest

EXPORTS, *PROGRAMS = sys.argv[1:]


def exported():
    text = re.sub(r"#[^\n]*", "", pathlib.Path(EXPORTS).read_text())
    return set(re.findall(r"\w+", re.search(r"global:(.*)local:", text, re.S).group(1)))


def called_by(program):
    """The functions that a program, of whatever machine, takes from its libraries: nm knows only some."""
    table = subprocess.run(["readelf", "--dyn-syms", "--wide", program],
                           check=True, capture_output=True, text=True).stdout
    return set(re.findall(r" FUNC .* UND (\w+)", table))


class Programs(unittest.TestCase):
    maxDiff = None

    def test_every_export_is_called(self):
        self.assertTrue(exported())
        called = set().union(*map(called_by, PROGRAMS))
        self.assertEqual(sorted(exported() - called), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
