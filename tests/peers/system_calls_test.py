"""What a synchronous request costs in system calls. usage: system_calls_test.py SERVER CLIENT

The difference between a run with more requests and one with fewer is what the requests cost, whatever
start-up and shut-down do."""

import collections
import re
import signal
import subprocess
import sys
import unittest

from stranger import Program

SERVER_PROGRAM, CLIENT_PROGRAM = sys.argv.pop(1), sys.argv.pop(1)
FEW, MANY = 100, 300

# The kernel's names for select, and all that a thread needs to wait for another.
SELECT = ("select", "pselect6", "_newselect", "pselect6_time64")
WAKE_UPS = ("futex", "futex_time64")


def counted(path):
    """Calls by name, select under one name; a call that strace shows in two pieces counts once."""
    calls = collections.Counter()
    with open(path) as trace:
        for line in trace:
            match = re.match(r"\d+\s+(\w+)\(", line)
            if match:
                name = match.group(1)
                calls["select" if name in SELECT else name] += 1
    return calls


def traced(program, path):
    return ["strace", "-f", "-o", path, program]


def run(requests):
    """(server's calls, client's calls) of a run with that many requests."""
    server = Program(traced(SERVER_PROGRAM, "/tmp/server.trace"))
    assert server.line() == "ready"
    client = Program(traced(CLIENT_PROGRAM, "/tmp/client.trace"))
    assert client.command(f"ask_many {requests}") == "0"
    assert client.end() == 0
    subprocess.run(["pkill", "-TERM", "peer_server"], check=True)
    assert server.end() in (0, -signal.SIGTERM)
    return counted("/tmp/server.trace"), counted("/tmp/client.trace")


class SystemCalls(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        few, many = run(FEW), run(MANY)
        cls.server, cls.client = (collections.Counter(m) for m in many)
        cls.server.subtract(few[0])
        cls.client.subtract(few[1])

    def check(self, calls, expected):
        requests = MANY - FEW
        for name in expected:
            self.assertEqual(calls[name], requests, f"{name} per {requests} requests")
        others = {name: count for name, count in calls.items()
                  if count and name not in expected and name not in WAKE_UPS}
        self.assertEqual(others, {})

    def test_the_client_sends_once_and_receives_once(self):
        self.check(self.client, ("sendto", "select", "recvfrom"))

    def test_the_server_receives_once_and_answers_once(self):
        self.check(self.server, ("select", "recvfrom", "sendto"))


if __name__ == "__main__":
    unittest.main()
