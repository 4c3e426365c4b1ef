"""What a synchronous request costs in system calls.

usage: system_calls_test.py SERVER CLIENT SERVER_FILE
  SERVER_FILE  the server itself, where SERVER is a script that has it emulated

The difference between a run with more requests and one with fewer is what the requests cost, whatever
start-up and shut-down do."""

import collections
import os
import re
import signal
import sys
import unittest

import elf
from stranger import Program

SERVER_PROGRAM, CLIENT_PROGRAM, SERVER_FILE = (sys.argv.pop(1) for _ in range(3))
EMULATED = SERVER_PROGRAM != SERVER_FILE
FEW, MANY = 100, 300

# The kernel's names for select.
SELECT = ("select", "_newselect", "pselect6", "pselect6_time64")

# What is not counted: all that a thread needs to wait for another,
UNCOUNTED = ["futex", "futex_time64"]
if EMULATED:  # the clock, which a program reads without a call where no emulator stands in for the kernel,
    UNCOUNTED += ["clock_gettime", "clock_gettime64", "gettimeofday"]
if elf.has_musl(SERVER_FILE):  # and the pages that musl gives back as soon as nothing is left in them.
    UNCOUNTED += ["mmap", "mmap2", "munmap"]


def counted(path):
    """Calls by name, select under one name; a call that is shown in two pieces counts once. Only those before
    the last message received ahead of the last sendto, which stops the receive thread: whether that thread waits
    again by then, and how a process ends, differs from run to run."""
    with open(path) as trace:
        text = trace.read()
    end = text.rindex("recvfrom(", 0, text.rindex("sendto("))
    names = re.findall(r"\b\d+ +(\w+)\(", text[:end])
    return collections.Counter("select" if name in SELECT else name for name in names)


def traced(program, path):
    """The program in a process group of its own, observed from outside: strace would show what an emulator
    does, so that has to tell it. One heap for all threads: what the kernel is asked for another depends on
    where it lies."""
    if EMULATED:
        return Program(["setsid", program], QEMU_STRACE="1", QEMU_LOG_FILENAME=path, MALLOC_ARENA_MAX="1")
    return Program(["setsid", "strace", "-f", "-o", path, program], MALLOC_ARENA_MAX="1")


def run(requests):
    """(server's calls, client's calls) of a run with that many requests."""
    server = traced(SERVER_PROGRAM, "/tmp/server.trace")
    assert server.line() == "ready"
    client = traced(CLIENT_PROGRAM, "/tmp/client.trace")
    assert client.command(f"ask_many {requests}") == "0"
    assert client.end() == 0
    os.killpg(server.process.pid, signal.SIGTERM)  # strace leaves it to the server
    assert server.end() == 0
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
                  if count and name not in expected and name not in UNCOUNTED}
        self.assertEqual(others, {})

    def test_the_client_sends_once_and_receives_once(self):
        self.check(self.client, ("sendto", "select", "recvfrom"))

    def test_the_server_receives_once_and_answers_once(self):
        self.check(self.server, ("select", "recvfrom", "sendto"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
