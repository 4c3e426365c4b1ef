"""ltectl roam, and what every command does about a WAN manager that is not as it should be."""

import json
import os
import time

import support
from support import (DONE, FAILED, GET_NETTYPE, GET_ROAMING, NOBODY, SET_ROAMING, SOCKET, FakeManager, ToolTest,
                     ltectl, stranger)

TRACE = "/tmp/ltelog.1"


class Roam(ToolTest):
    def test_reads_and_sets(self):
        self.start_wansim()
        self.assert_ran(ltectl("roam"), "roaming off\n")
        self.assert_ran(ltectl("roam", "on"), "roaming on\n")
        self.assert_ran(ltectl("roam"), "roaming on\n")
        self.assert_ran(ltectl("roam", "off"), "roaming off\n")
        self.assert_ran(ltectl("roam"), "roaming off\n")

    def test_as_json(self):
        self.start_wansim("--roaming", "on")
        self.assert_ran(ltectl("roam", "--json"), '{"event":"roaming","status":"on"}\n')
        self.assert_ran(ltectl("roam", "off", "--json"), '{"event":"roaming","status":"off"}\n')


class RoamAgainstFakeManager(ToolTest):
    """One client at a time, so that the test can answer between its requests."""

    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)

    def ask(self, *arguments):
        """A client that runs while the test answers."""
        return support.Background(self, support.ltectl_program, *arguments)

    def deregistrations(self):
        return [self.manager.take()[:2] for _ in range(3)]

    def test_a_command_without_events_has_left_the_registry_before_it_asks(self):
        client = self.ask("roam")
        self.manager.accept_registrations()
        self.assertEqual(self.deregistrations(), [(stranger.ASYNC, stranger.DEREGISTER)] * 3)
        request = self.manager.take()
        self.assertEqual((request[0], request[1], request[3]), (stranger.REQUEST, GET_ROAMING, b""))
        self.manager.respond(request, stranger.pack("iI", 0, 1))
        self.assertEqual(client.finish(), (DONE, "roaming on\n", ""))

    def test_set_sends_the_value(self):
        client = self.ask("roam", "on")
        self.manager.accept_registrations()
        self.deregistrations()
        request = self.manager.take()
        self.assertEqual((request[1], request[3]), (SET_ROAMING, stranger.pack("I", 1)))
        self.manager.respond(request, stranger.pack("i", 0))
        self.assertEqual(client.finish(), (DONE, "roaming on\n", ""))

    def test_a_value_without_a_name_is_shown_as_a_number(self):
        client = self.ask("roam", "--json")
        self.manager.accept_registrations()
        self.deregistrations()
        self.manager.respond(self.manager.take(), stranger.pack("iI", 0, 7))
        self.assertEqual(client.finish(), (DONE, '{"event":"roaming","status":"unknown","status_value":7}\n', ""))

    def test_status_shows_no_value_of_another_request(self):
        client = self.ask("status", "--json")
        self.manager.accept_registrations()
        self.deregistrations()
        answers = {GET_NETTYPE: stranger.pack("iI", 0, 3), GET_ROAMING: stranger.pack("i", 0)}
        while (request := self.manager.take())[1] != GET_ROAMING:
            self.manager.respond(request, answers.get(request[1], stranger.pack("i", -1)))
        self.manager.respond(request, answers[GET_ROAMING])
        status = json.loads(client.finish()[1])
        self.assertEqual((status["nettype"], status["roaming"]), ("WM_REG_4G", "off"))

    def refused(self, *arguments):
        client = self.ask(*arguments)
        self.manager.accept_registrations()
        self.deregistrations()
        self.manager.respond(self.manager.take(), stranger.pack("iI", -1, 0)[:4 * 3 - 4 * len(arguments)])
        return client.finish()

    def test_a_refusal_says_where_the_reason_stands(self):
        self.assertEqual(self.refused("roam"), (
            FAILED, "", f"ltectl: the WAN manager did not tell the roaming switch; see {TRACE}\n"))
        self.assertEqual(self.refused("roam", "on"), (
            FAILED, "", f"ltectl: the WAN manager did not set the roaming switch; see {TRACE}\n"))

    def test_a_manager_that_refuses_subscribers(self):
        client = self.ask("roam")
        self.manager.accept_registrations(result=6)
        self.assertEqual(client.finish(), (
            FAILED, "",
            f"ltectl: the WAN manager on {SOCKET} refuses to publish its events (code 6)\n"))

    def test_a_manager_that_falls_silent_is_nobody(self):
        client = self.ask("roam")
        self.manager.accept_registrations(3)
        started = time.monotonic()
        self.assertEqual(client.finish(), (
            NOBODY, "",
            f"ltectl: no WAN manager answers on {SOCKET}; start wansim or the WAN manager\n"))
        self.assertLess(time.monotonic() - started, 10)


class Nobody(ToolTest):
    def test_every_command_that_needs_one_says_so(self):
        for words in (["connect"], ["connect", "--wait", "5"], ["disconnect"],
                      ["disconnect", "--wait", "5"], ["roam"], ["roam", "on"], ["monitor"],
                      ["monitor", "--json"]):
            with self.subTest(words):
                self.assert_failed(ltectl(*words), NOBODY, f"no WAN manager answers on {SOCKET}; "
                                                           "start wansim or the WAN manager")

    def test_bad_usage_is_found_first(self):
        self.assertEqual(ltectl("roam", "maybe").returncode, support.USAGE)


class ClientStart(ToolTest):
    def assert_cannot_start(self, result, code):
        self.assert_failed(result, FAILED, f"cannot start the LTE client (code {code}); see {TRACE}")

    def test_without_a_store(self):
        result = support.run_with_readonly("/tmp", "roam")
        self.assert_cannot_start(result, -1)

    def test_without_its_socket(self):
        """Its name, made of its process id, is taken."""
        for pid in range(os.getpid() + 1, os.getpid() + 100):
            taken = stranger.Stranger(f"lc_socket_cli1_{pid}_common")
            self.addCleanup(taken.close)
        self.assert_cannot_start(ltectl("roam"), 11)


if __name__ == "__main__":
    support.main()
