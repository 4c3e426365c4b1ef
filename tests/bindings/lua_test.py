"""The Lua binding beside wansim: calls.lua, and what the examples print.

usage: lua_test.py PROJECT MODULE WANSIM LUA...
  MODULE  the module's file
  LUA     the interpreter, with what runs it"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

PROJECT, MODULE, WANSIM = (pathlib.Path(path) for path in sys.argv[1:4])
LUA = sys.argv[4:]
EXAMPLES = PROJECT / "bindings" / "lua" / "examples"
os.environ["LUA_CPATH"] = f"{MODULE.parent}/?.so"


def lua(script):
    done = subprocess.run([*LUA, script], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


class Lua(unittest.TestCase):
    maxDiff = None

    def start_wansim(self):
        self.assertIn("lc_socket_mm_common", self.start(WANSIM))

    def start(self, *command):
        """Its first line. Ended with the test."""
        self.started = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.started.stdout.close)
        self.addCleanup(self.started.wait)
        self.addCleanup(self.started.terminate)
        return self.started.stdout.readline()

    def test_calls_have_values_errors_and_events(self):
        self.start_wansim()
        code, _, error = lua(PROJECT / "tests/bindings/calls.lua")
        self.assertEqual((code, error), (0, ""))

    def test_status_shows_what_the_manager_keeps_and_answers(self):
        self.start_wansim()
        self.assertEqual(lua(EXAMPLES / "status.lua"),
                         (0, "signal 18\nSIM sim_ready\nroaming off\nIMSI 001010123456789\n", ""))

    def test_status_says_what_fails_without_a_manager(self):
        self.assertEqual(lua(EXAMPLES / "status.lua"),
                         (1, "", "status: lte.signal_level: failed\n"))

    def test_wait_for_link_ends_when_it_is_up(self):
        self.start_wansim()
        self.assertEqual(lua(EXAMPLES / "wait_for_link.lua"), (0, "wwan0 has 10.64.0.2\n", ""))

    def test_follow_shows_each_change(self):
        self.start_wansim()
        self.assertEqual(self.start(*LUA, EXAMPLES / "follow.lua"), "waiting\n")
        self.assertEqual(lua(PROJECT / "tests/bindings/connect.lua"), (0, "", ""))
        self.assertEqual([self.started.stdout.readline() for _ in range(3)],
                         ["interface ready\n", "link WM_CONNECTING \n", "link CONN_CONNECTED 10.64.0.2\n"])

    def test_the_first_program_of_the_document_shows_events(self):
        self.start_wansim()
        document = (PROJECT / "docs" / "bindings.md").read_text()
        program = re.search(r"```lua\n(.*?)```", document, re.S)[1].replace("events(10)", "events(1)")
        script = pathlib.Path("/tmp/first.lua")
        script.write_text(program)
        code, out, error = lua(script)
        self.assertEqual((code, error), (0, ""))
        self.assertRegex(out, r"\t3\t\n.*\t2\t10\.64\.0\.2\n")

    def test_parameter_shows_value_and_error(self):
        told = "operator: Testnet\nram.read: bad name, or no such parameter (code 1)\n"
        self.assertEqual(lua(EXAMPLES / "parameter.lua"), (0, told, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
