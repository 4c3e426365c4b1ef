"""What the tools need to run: the library and libc, nothing else; and what ltectl has of the library's inside.

usage: linkage_test.py BUILD_DIR LTECTL_FILE WANSIM_FILE MODEMSIM_FILE OBJECT:... [EMULATOR...]"""

import os
import re
import subprocess
import sys
import unittest

import support
from support import ToolTest, elf

BUILD, *TOOLS = sys.argv[1:5]
INSIDE = sys.argv[5].split(":")
EMULATOR = sys.argv[6:]


class Linkage(ToolTest):
    def test_needs_only_the_library_and_libc(self):
        for program in TOOLS:
            self.assertEqual(elf.needed(program), sorted([*elf.libc(program), "liblterouter.so.1"]), program)

    def test_what_ltectl_has_of_the_librarys_inside_keeps_no_state(self):
        for file in INSIDE:
            sections = re.findall(r"^ +\[ *\d+\] (\.\S+) +\S+ +\w+ +\w+ +(\w+) \w+ +(\w*) +\d+ +\d+ +\d+$",
                                  elf.readelf("--section-headers", file), re.M)
            self.assertIn(".text", [name for name, _, _ in sections], file)
            self.assertEqual([name for name, size, flags in sections if "W" in flags and int(size, 16)], [], file)

    def test_what_ltectl_has_of_the_librarys_inside_is_hidden_from_the_library(self):
        for file in INSIDE:
            defined = re.findall(r"^ *\d+: .* (?:GLOBAL|WEAK) +(\w+) .* +\d+ (\S+)$", elf.readelf("--symbols", file),
                                 re.M)
            self.assertTrue(defined, file)
            self.assertEqual([name for visibility, name in defined if visibility != "HIDDEN"], [], file)

    def test_an_installed_tool_finds_the_installed_library(self):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", "/tmp/installed"], check=True,
                       stdout=subprocess.DEVNULL)
        simulator = support.Background(self, *EMULATOR, "/tmp/installed/bin/wansim")
        self.assertIn(support.SOCKET, simulator.out.next())
        monitor = support.Background(self, *EMULATOR, "/tmp/installed/bin/ltectl", "monitor")
        monitor.err.next()  # it runs
        for tool in (simulator, monitor):
            with open(f"/proc/{tool.process.pid}/maps") as maps:
                self.assertRegex(maps.read(), r"(?m) /tmp/installed/lib(/.*)?/liblterouter\.so\.1\.\d+\.\d+$")
        self.assertTrue(os.path.exists("/tmp/installed/share/lterouter/default.cfg"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
