"""What the tools need to run: the library and libc, nothing else."""

import os
import re
import subprocess
import unittest

import support


class Linkage(unittest.TestCase):
    def test_needs_only_the_library_and_libc(self):
        for program in (support.ltectl_program, support.wansim_program):
            dynamic = subprocess.run(["readelf", "-d", program], capture_output=True, text=True,
                                     check=True).stdout
            needed = re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)
            self.assertEqual(sorted(needed), ["libc.so.6", "liblterouter.so.1"], program)

    def test_an_installed_tool_finds_the_installed_library(self):
        build = os.path.dirname(os.path.dirname(support.ltectl_program))
        subprocess.run(["cmake", "--install", build, "--prefix", "/tmp/installed"], check=True,
                       stdout=subprocess.DEVNULL)
        for tool in ("ltectl", "wansim"):
            loaded = subprocess.run(["ldd", f"/tmp/installed/bin/{tool}"], capture_output=True, text=True,
                                    check=True).stdout
            self.assertRegex(loaded, r"liblterouter\.so\.1 => /tmp/installed/bin/\.\./lib")


if __name__ == "__main__":
    support.main()
