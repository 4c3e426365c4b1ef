"""What scripts/footprint says where it cannot measure: in a project with nothing but the script and what it finds
there. usage: footprint_test.py PROJECT"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))


class Footprint(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "scripts").mkdir()
        shutil.copy(PROJECT / "scripts" / "footprint", self.root / "scripts")
        self.put("scripts/build", "#!/bin/sh\nexit 1\n").chmod(0o755)

    def put(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def assert_cannot_run(self, told, *options):
        result = subprocess.run([str(self.root / "scripts" / "footprint"), *options], stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=100)
        self.assertEqual((result.returncode, result.stdout), (3, ""), result.stderr)
        self.assertRegex(result.stderr, rf"\Afootprint: {told}\n\Z")

    def test_without_the_tools(self):
        for preset in ("mips-musl", "release"):
            cache = self.put(f"build/{preset}/CMakeCache.txt", "LTEROUTER_TOOLS:BOOL=OFF\n")
            self.assert_cannot_run(f"build/{preset} is configured without the tools, .*: "
                                   f"cmake -DLTEROUTER_TOOLS=ON {self.root}/build/{preset}")
            cache.write_text("LTEROUTER_TOOLS:BOOL=ON\n")

    def test_what_cannot_be_built(self):
        for options in ((), ("--families",)):
            self.assert_cannot_run(r".*scripts/build.* returned non-zero exit status 1\.", *options)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
