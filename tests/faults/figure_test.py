"""That each call of every exported function is to fail, and every call of the library's is known.

The programs are asked what would fail (see harness.h); that it does is shown by their own tests.

usage: figure_test.py LIBRARY EXPORTS_MAP PROGRAM... [-- EMULATOR...]
"""

import collections
import os
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from exports import exported  # noqa: E402

ARGUMENTS = sys.argv[1:]
EMULATOR = ARGUMENTS[ARGUMENTS.index("--") + 1:] if "--" in ARGUMENTS else []
LIBRARY, EXPORTS, *PROGRAMS = ARGUMENTS[:len(ARGUMENTS) - len(EMULATOR) - ("--" in ARGUMENTS)]

# What sanitizers add.
INSTRUMENTATION = re.compile(r"__([at]|ub)san_|__sanitizer_")


def plan():
    """Of each function how many faults there are, and the calls that the programs know."""
    faults, calls, known = collections.Counter(), collections.Counter(), set()
    for program in PROGRAMS:
        text = subprocess.run([*EMULATOR, program], check=True, capture_output=True, text=True,
                              env={**os.environ, "FAULTS_PLAN": "1"}).stdout
        for function, count, made in re.findall(r"^FAULTS (\w+): (\d+) in (\d+) calls", text, re.M):
            faults[function] += int(count)
            calls[function] += int(made)
        known |= set(re.findall(r"^KNOWN (\w+)$", text, re.M))
    return faults, calls, known


def imported():
    lines = subprocess.run(["nm", "-D", "--undefined-only", LIBRARY], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    names = {line.split()[-1].split("@")[0] for line in lines}
    return {name for name in names if not INSTRUMENTATION.match(name)}


class Figure(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.faults, cls.calls, cls.known = plan()
        cls.silent = {function for function, made in cls.calls.items() if made == 0}
        print(f"{len(cls.calls) - len(cls.silent)} functions covered, {sum(cls.faults.values())} faults "
              f"to inject; {len(cls.silent)} functions make no call that could fail:\n"
              + " ".join(sorted(cls.silent)), flush=True)

    def test_every_export_has_a_scenario(self):
        self.assertEqual(exported(EXPORTS) - set(self.calls), set())

    def test_every_scenario_is_of_an_export(self):
        self.assertEqual(set(self.calls) - exported(EXPORTS), set())

    def test_every_call_of_the_library_is_taken_over_or_cannot_fail(self):
        self.assertTrue(imported())
        self.assertEqual(imported() - self.known, set())


unittest.main(argv=sys.argv[:1])
