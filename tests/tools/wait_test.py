"""ltectl wait."""

import os
import re
import signal
import subprocess
import time

import support
from cable import ip
from support import (CONNECTED, CONNECTING, DONE, FAILED, NO_ANSWER, STORE, USAGE, FakeManager, ToolTest, ltectl,
                     read_file)

LINK, SIM = "wm_wcdma_link_tmp", "wm_wcdma_modem_status_tmp"


def wait(*words):
    return ltectl("wait", *words)


class CommandLine(ToolTest):
    def test_what_is_no_condition_is_refused(self):
        for word in ("", "link", "manager=1", "sim", "links=connected", "interface", "=connected"):
            with self.subTest(word):
                self.assert_failed(wait(word), USAGE, "CONDITION is manager, link=STATE, sim=STATE or "
                                                      f'interface=NAME, not "{word}"')

    def test_a_value_that_its_condition_cannot_have_is_refused(self):
        for name, value, expects in (
                ("link", "up", "connected, connecting, disconnected or disconnecting"),
                ("sim", "", "a state of at most 63 characters, such as sim_ready"),
                ("sim", "x" * 64, "a state of at most 63 characters, such as sim_ready"),
                ("interface", "a/b", "an interface name of at most 15 characters")):
            with self.subTest(name + value):
                self.assert_failed(wait("manager", f"{name}={value}"), USAGE,
                                   f'{name} takes {expects}, not "{value}"')


class Manager(ToolTest):
    def test_one_that_answers_is_there(self):
        self.start_wansim()
        self.assert_ran(wait("manager"), "met manager\n")

    def test_it_is_waited_for(self):
        waiting = self.start_ltectl("wait", "manager")
        self.start_wansim()
        self.assertEqual(waiting.finish(), (DONE, "met manager\n", ""))

    def test_without_one(self):
        self.assert_failed(wait("manager", "--timeout", "1"), NO_ANSWER,
                           "not within 1 s: manager (none is bound to its name)")

    def test_one_that_is_stopped_is_waited_for_until_it_goes_on(self):
        wansim = self.start_wansim()
        wansim.stop()
        self.assert_failed(wait("manager", "--timeout", "1"), NO_ANSWER, "not within 1 s: manager (it does not answer)")
        waiting = self.start_ltectl("wait", "manager")
        self.assertIn("it does not answer", waiting.err.next())  # after 3 s it says so
        wansim.process.send_signal(signal.SIGCONT)
        self.assertEqual(waiting.finish()[:2], (DONE, "met manager\n"))

    def test_its_answer_is_waited_for_in_the_last_second_too(self):
        """One that does not answer is asked once: an end of the wait at the last whole second would be another look."""
        manager = FakeManager(self)
        time.sleep(1.5 - time.time() % 1)
        self.assert_failed(wait("manager", "--timeout", "2"), NO_ANSWER, "not within 2 s: manager (it does not answer)")
        self.assertEqual(manager.take()[:2], (support.stranger.REQUEST, support.stranger.REGISTER))
        self.assertEqual(manager.take()[:2], (support.stranger.ASYNC, support.stranger.DEREGISTER))
        self.assertIsNone(manager.receive(timeout=0))

    def test_its_successor_must_answer_too(self):
        first = self.start_wansim()
        ip("link", "set", "lo", "down")
        self.addCleanup(ip, "link", "set", "lo", "up")
        waiting = self.start_ltectl("wait", "manager", "interface=lo", "--timeout", "6")
        self.assertIn("waiting for interface=lo (it is down)", waiting.err.next())
        first.end()
        FakeManager(self)
        ip("link", "set", "lo", "up")
        self.assertEqual(waiting.finish(), (NO_ANSWER, "", "ltectl: not within 6 s: manager (it does not answer)\n"))


class Stored(ToolTest):
    """What a WAN manager stores; here the test does it in its place."""

    def setUp(self):
        super().setUp()
        FakeManager(self)

    def store(self, name, value):
        self.assert_ran(ltectl("ram", "set", name, value), f"{name}={value}\n")

    def test_a_state_that_is_stored_already(self):
        self.store(LINK, str(CONNECTED))
        self.store(SIM, "sim_ready")
        self.assert_ran(wait("sim=sim_ready", "link=connected"), "met sim=sim_ready\nmet link=connected\n")

    def test_a_state_that_is_stored_meanwhile(self):
        for name, before, after, condition in ((LINK, str(CONNECTING), str(CONNECTED), "link=connected"),
                                               (SIM, "sim_pin", "sim_ready", "sim=sim_ready")):
            with self.subTest(condition):
                self.store(name, before)
                waiting = self.start_ltectl("wait", condition)
                self.assertIn(condition, waiting.err.next())
                self.store(name, after)
                self.assertEqual(waiting.finish()[:2], (DONE, f"met {condition}\n"))

    def test_the_state_at_the_end_is_told(self):
        for value, told in (("", "not known"), (str(CONNECTING), "connecting"), ("4", "not known"), ("x", "not known")):
            with self.subTest(value):
                if value:
                    self.store(LINK, value)
                self.assert_failed(wait("link=connected", "--timeout", "1"), NO_ANSWER,
                                   f"not within 1 s: link=connected (it is {told})")

    def test_conditions_must_hold_at_once(self):
        self.store(LINK, str(CONNECTED))
        waiting = self.start_ltectl("wait", "link=connected", "sim=sim_ready")
        self.assertIn("sim=sim_ready (it is not known)", waiting.err.next())
        self.store(LINK, str(CONNECTING))
        self.store(SIM, "sim_ready")
        time.sleep(0.6)  # two looks
        self.assertIsNone(waiting.process.poll())
        self.store(LINK, str(CONNECTED))
        self.assertEqual(waiting.finish()[:2], (DONE, "met link=connected\nmet sim=sim_ready\n"))

    def test_as_json(self):
        self.store(SIM, "sim_ready")
        self.assertEqual(self.objects(wait("sim=sim_ready", "--json").stdout),
                         [{"event": "met", "condition": "sim=sim_ready"}])


class LeftBehind(ToolTest):
    def test_what_is_stored_without_a_manager_does_not_count(self):
        ltectl("ram", "set", LINK, str(CONNECTED))
        self.assert_failed(wait("link=connected", "--timeout", "1"), NO_ANSWER,
                           "not within 1 s: link=connected (there is no WAN manager)")


class Interface(ToolTest):
    def setUp(self):
        super().setUp()
        self.assert_absent()
        self.addCleanup(subprocess.run, ("ip", "link", "del", "lan0"), stderr=subprocess.DEVNULL)

    def assert_absent(self):
        self.assert_failed(wait("interface=lan0", "--timeout", "1"), NO_ANSWER,
                           "not within 1 s: interface=lan0 (it is not there)")

    def test_it_is_waited_for_until_it_is_up(self):
        waiting = self.start_ltectl("wait", "interface=lan0")
        ip("link", "add", "lan0", "type", "veth", "peer", "name", "far0")
        self.assertIn("interface=lan0 (it is down)", waiting.err.next())
        self.assertIsNone(waiting.process.poll())
        ip("link", "set", "lan0", "up")
        self.assertEqual(waiting.finish()[:2], (DONE, "met interface=lan0\n"))

    def test_an_interface_needs_no_endpoint_and_no_store(self):
        self.assert_ran(wait("interface=lo"), "met interface=lo\n")
        self.assertFalse(os.path.exists(STORE))


class Ending(ToolTest):
    def test_a_signal_ends_it_and_tells_for_what_it_waited(self):
        waiting = self.start_ltectl("wait", "manager", "--timeout", "600")
        self.assertIn("waiting for manager", waiting.err.next())
        self.assertEqual(waiting.end(signal.SIGINT),
                         (FAILED, "", "ltectl: interrupted while waiting for manager (none is bound to its name)\n"))

    def test_it_says_once_for_what_it_waits(self):
        result = wait("manager", "interface=wwan9", "--timeout", "5")
        listed = "manager (none is bound to its name), interface=wwan9 (it is not there)"
        self.assert_result(result, NO_ANSWER, "", f"ltectl: waiting for {listed}, for 5 s at most\n"
                                                  f"ltectl: not within 5 s: {listed}\n")


class Woken(ToolTest):
    def times_gone_to_sleep(self, waiting):
        """Of every thread but the first, which watches the others."""
        pid = waiting.process.pid
        return sum(int(re.search(rb"\nvoluntary_ctxt_switches:\s(\d+)",
                                 read_file(f"/proc/{pid}/task/{thread}/status")).group(1))
                   for thread in os.listdir(f"/proc/{pid}/task") if int(thread) != pid)

    def test_where_the_kernel_tells_of_changes_nothing_is_looked_for(self):
        told = self.start_ltectl("wait", "interface=wwan9")
        looked_for = self.start_ltectl("wait", "interface=wwan9", "manager")
        for waiting in told, looked_for:
            self.assertIn("waiting for", waiting.err.next())
        before = self.times_gone_to_sleep(looked_for) - self.times_gone_to_sleep(told)
        time.sleep(3)  # twelve looks
        after = self.times_gone_to_sleep(looked_for) - self.times_gone_to_sleep(told)
        self.assertGreater(after - before, 4)


if __name__ == "__main__":
    support.main()
