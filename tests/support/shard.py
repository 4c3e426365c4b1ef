"""Runs every COUNTth test of a Python test script, beginning with the NUMBERth: what mostly waits is over sooner
when its parts run side by side.

usage: shard.py NUMBER COUNT SCRIPT [ARGUMENT...]"""

import os
import runpy
import sys
import unittest

NUMBER, COUNT = int(sys.argv[1]), int(sys.argv[2])


def tests_in(suite):
    for entry in suite:
        if isinstance(entry, unittest.TestSuite):
            yield from tests_in(entry)
        else:
            yield entry


class Shard(unittest.TestLoader):
    def loadTestsFromModule(self, module, **options):
        tests = list(tests_in(super().loadTestsFromModule(module, **options)))
        return self.suiteClass(tests[NUMBER - 1::COUNT])


unittest.defaultTestLoader.__class__ = Shard  # what unittest.main() takes unless told otherwise
sys.argv = sys.argv[3:]
sys.path[0] = os.path.dirname(sys.argv[0])
runpy.run_path(sys.argv[0], run_name="__main__")
