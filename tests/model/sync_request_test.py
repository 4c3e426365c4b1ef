"""Explores every interleaving of the synchronous request's model (sync_request.pml), and sees the model reject
each fault that is built into it. usage: sync_request_test.py"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

MODEL = pathlib.Path(__file__).resolve().parent / "sync_request.pml"
MEGABYTES = 1000  # what one search may take
STEPS = 1000000   # of the longest run; a longer one is an error

# What the checker says of each property that does not hold.
USED_AFTER_FREE = r"assertion violated waiter\[\w+\]\.alive"
LOST_WAKE_UP = r"assertion violated \( ?!\(request\[id\]\.in_time\)"
WRONG_RESPONSE = r"assertion violated \(\(result!=\d+\)\|\|\(waiter\[id\]\.received==id\)\)"
STUCK = r"invalid end state"
NEVER_ENDS = r"non-progress cycle"

FAULTS = (
    ("DELIVERED_WITHOUT_LOCK", LOST_WAKE_UP),
    ("DELIVERED_WITHOUT_LOCK PATIENT", STUCK),
    ("WAITS_UNCONDITIONALLY SPURIOUS", WRONG_RESPONSE),
    ("WAITS_UNCONDITIONALLY LOCKED_AFTER_SENDING", LOST_WAKE_UP),
    ("WAITS_UNCONDITIONALLY LOCKED_AFTER_SENDING PATIENT", STUCK),
    ("POLLS", NEVER_ENDS),
    ("FREED_BEFORE_UNLISTED", USED_AFTER_FREE),
    ("UNLISTED_WITHOUT_LIST_MUTEX", USED_AFTER_FREE),
    ("UNLISTED_UNDER_BOTH_LOCKS", STUCK),
    ("LEFT_LISTED_WHEN_SENDING_FAILED", USED_AFTER_FREE),
    ("LIST_MUTEX_GIVEN_UP_ONCE_FOUND", USED_AFTER_FREE),
    ("LIST_MUTEX_GIVEN_BEFORE_SIGNAL", USED_AFTER_FREE),
    ("ANY_WAITER_MATCHES PATIENT", WRONG_RESPONSE),
    ("ENDED_WHILE_SENDERS_WAIT", USED_AFTER_FREE),
)


def search(defines, kind):
    """All states of the model with these words defined. kind: SAFETY (assertions and end states) or NP (these,
    and cycles in which no request gets on)."""
    with tempfile.TemporaryDirectory() as folder:
        def run(*command):
            result = subprocess.run(command, cwd=folder, text=True, stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, timeout=200)
            return result.returncode, result.stdout

        for command in (("spin", "-a", *(f"-D{word}" for word in defines.split()), str(MODEL)),
                        ("gcc", "-O1", f"-D{kind}", "-DCOLLAPSE", f"-DMEMLIM={MEGABYTES}", "-o", "pan", "pan.c")):
            status, output = run(*command)
            if status != 0:
                raise RuntimeError(output)
        return run("./pan", f"-m{STEPS}", *(["-l"] if kind == "NP" else []))[1]


class SynchronousRequest(unittest.TestCase):
    def assert_holds(self, defines, kind="SAFETY"):
        found = search(defines, kind)
        states = re.search(r"(\d+) states, stored", found)
        self.assertIsNotNone(states, found)
        print(f"{int(states[1]):9} states: {defines or 'as it is'} ({kind})", flush=True)
        self.assertIn("errors: 0", found)
        for sign_of_a_cut in ("Search not completed", "max search depth too small", "MEMLIM", "out of memory"):
            self.assertNotIn(sign_of_a_cut, found)
        return found

    def test_no_interleaving_of_two_senders_breaks_a_property(self):
        self.assert_holds("")

    def test_nor_of_two_requests_of_each(self):
        self.assert_holds("ROUNDS=2")

    def test_nor_of_three_senders(self):
        self.assert_holds("SENDERS=3 PATIENT")

    def test_without_deadlines_every_response_wakes_its_sender(self):
        self.assert_holds("ROUNDS=2 PATIENT")

    def test_nor_do_spurious_wake_ups_or_an_early_stop(self):
        found = self.assert_holds("SPURIOUS STOPPED_EARLY")
        unreached = re.findall(r"^\t.*state \d+, (.*)$", found, re.MULTILINE)
        self.assertEqual(unreached, ['"-end-"'], "every step is taken somewhere; only the peer has no end")

    def test_no_sender_goes_on_for_ever(self):
        self.assert_holds("SPURIOUS STOPPED_EARLY", kind="NP")


class Faults(unittest.TestCase):
    def test_are_all_found(self):
        for defines, verdict in FAULTS:
            with self.subTest(defines):
                found = search(defines, "NP" if verdict == NEVER_ENDS else "SAFETY")
                self.assertRegex(found, verdict)
                print(f"   caught: {defines}: {re.search('pan:1: (.*) .at depth', found)[1]}", flush=True)


if __name__ == "__main__":
    unittest.main(verbosity=2)
