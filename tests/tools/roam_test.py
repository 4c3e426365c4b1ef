"""ltectl roam, and the behaviour of every command with a WAN manager that misbehaves."""

import json
import os

import support
from support import (DONE, FAILED, GET_NETTYPE, GET_ROAMING, NOBODY, SET_ROAMING, SOCKET, FakeManager, ToolTest,
                     ltectl, stranger)

CFUN_OFF = support.ID["radio-off"]
NO_ROAMING = "the WAN manager agreed to tell the roaming switch, but its answer has no value"


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
        return self.start_ltectl(*arguments)

    def test_a_command_without_events_does_not_subscribe(self):
        client = self.ask("roam")
        request = self.manager.take()
        self.assertEqual((request[0], request[1], request[3]), (stranger.REQUEST, GET_ROAMING, b""))
        self.manager.respond(request, stranger.pack("iI", 0, 1))
        self.assertEqual(client.finish(), (DONE, "roaming on\n", ""))

    def test_set_sends_the_value(self):
        client = self.ask("roam", "on")
        request = self.manager.take()
        self.assertEqual((request[1], request[3]), (SET_ROAMING, stranger.pack("I", 1)))
        self.manager.respond(request, stranger.pack("i", 0))
        self.assertEqual(client.finish(), (DONE, "roaming on\n", ""))

    def test_a_value_without_a_name_is_shown_as_a_number(self):
        client = self.ask("roam", "--json")
        self.manager.respond(self.manager.take(), stranger.pack("iI", 0, 7))
        self.assertEqual(client.finish(), (DONE, '{"event":"roaming","status":"unknown","status_value":7}\n', ""))

    def test_status_shows_no_value_of_another_request(self):
        client = self.ask("status", "--json")
        answers = {GET_NETTYPE: stranger.pack("iI", 0, 3), GET_ROAMING: stranger.pack("i", 0)}
        for _ in range(4):
            request = self.manager.take()
            self.manager.respond(request, answers.get(request[1], stranger.pack("i", -1)))
        code, out, err = client.finish()
        status = json.loads(out)
        self.assertEqual((code, status["nettype"], "roaming" in status, err),
                         (DONE, "WM_REG_4G", False, f"ltectl: {NO_ROAMING}\n"))

    def refused(self, *arguments):
        client = self.ask(*arguments)
        self.manager.respond(self.manager.take(), stranger.pack("iI", -1, 0)[:4 * 3 - 4 * len(arguments)])
        return client.finish()

    def test_a_refusal_tells_its_result(self):
        self.assertEqual(self.refused("roam"), (
            FAILED, "", "ltectl: the WAN manager did not tell the roaming switch (result -1)\n"))
        self.assertEqual(self.refused("roam", "on"), (
            FAILED, "", "ltectl: the WAN manager did not set the roaming switch (result -1)\n"))

    def test_a_manager_that_refuses_subscribers(self):
        client = self.ask("monitor")
        self.manager.accept_registrations(result=6)
        self.assertEqual(client.finish(), (
            FAILED, "",
            f"ltectl: the WAN manager on {SOCKET} refuses to publish its events (code 6)\n"))

    def test_a_request_without_an_answer_is_made_only_of_a_manager_that_answers(self):
        client = self.ask("cfun-off")
        self.manager.accept_registrations(1)
        self.assertEqual([self.manager.take()[:2] for _ in range(2)],
                         [(stranger.ASYNC, stranger.DEREGISTER), (stranger.ASYNC, CFUN_OFF)])
        self.assertEqual(client.finish(), (DONE, "cfun-off requested\n", ""))

    def test_an_answer_of_the_wrong_length_is_none(self):
        for answer in (stranger.pack("iII", 0, 1, 2), b"\0\0\0"):
            client = self.ask("roam")
            self.manager.respond(self.manager.take(), answer)
            self.assertEqual(client.finish(), (
                FAILED, "", "ltectl: the WAN manager did not tell the roaming switch: its answer has the wrong "
                            "length\n"))

    def test_a_longer_answer_to_pref_tells_its_result(self):
        for result, expected in ((0, (DONE, "pref value=7", "")),
                                 (-1, (FAILED, "", "ltectl: the WAN manager did not set the preferred radio "
                                                   "technology (result -1)\n"))):
            client = self.ask("pref", "7")
            self.manager.respond(self.manager.take(), stranger.pack("iI", result, 0))
            code, out, err = client.finish()
            self.assertEqual((code, out.split(" name=")[0], err), expected)

    def test_a_success_without_a_value_shows_none(self):
        for answer in (stranger.pack("i", 0), stranger.pack("i", 0) + b"\0\0\0"):
            client = self.ask("roam")
            for _ in range(2):
                self.manager.respond(self.manager.take(), answer)
            self.assertEqual(client.finish(), (FAILED, "", f"ltectl: {NO_ROAMING}\n"))
        for command, answer, what in (("channel", stranger.pack("i", 0), "tell the LTE channel"),
                                      ("imsi", stranger.pack("i", 0), "tell the IMSI"),
                                      ("imsi", stranger.pack("i", 0) + bytes(16), "tell the IMSI"),
                                      ("at", stranger.pack("iI", 0, 0), "pass the command to the modem")):
            client = self.ask(command, *["AT"] * (command == "at"))
            self.manager.respond(self.manager.take(), answer)
            self.assertEqual(client.finish(), (
                FAILED, "", f"ltectl: the WAN manager agreed to {what}, but its answer has no value\n"))

    def test_every_value_is_shown_that_came(self):
        for value in (0, 0xFFFFFFFF):
            client = self.ask("nettype", "-g", "value")
            while client.process.poll() is None:
                if (received := self.manager.receive(0.1)) is not None:
                    self.manager.respond((*stranger.parse(received[0]), received[1]), stranger.pack("iI", 0, value))
            self.assertEqual(client.finish(), (DONE, f"{value}\n", ""))


class Nobody(ToolTest):
    def test_every_command_that_needs_one_says_so(self):
        for words in (["connect"], ["connect", "--wait", "5"], ["disconnect"],
                      ["disconnect", "--wait", "5"], ["roam"], ["roam", "on"], ["monitor"],
                      ["monitor", "--json"]):
            with self.subTest(words):
                self.assert_failed(ltectl(*words), NOBODY, f"no WAN manager is bound to {SOCKET}; "
                                                           "start wansim or the WAN manager")

    def test_bad_usage_is_found_first(self):
        self.assertEqual(ltectl("roam", "maybe").returncode, support.USAGE)


class ClientStart(ToolTest):
    def test_without_a_store(self):
        self.start_wansim()
        support.shutil.rmtree(support.STORE)
        self.assert_failed(support.run_with_readonly("/tmp", "monitor"), FAILED,
                           "cannot make /tmp/nv/: Read-only file system; make it writable: mount -o remount,rw /tmp")
        self.assert_ran(support.run_with_readonly("/tmp", "roam"), "roaming off\n")

    def test_without_its_socket(self):
        """Its name, made of its process id, is taken."""
        for pid in range(os.getpid() + 1, os.getpid() + 100):
            taken = stranger.Stranger(f"lc_socket_cli1_{pid}_common")
            self.addCleanup(taken.close)
        started = self.start_ltectl("roam")
        self.assertEqual(started.finish(), (
            FAILED, "", f"ltectl: cannot start the endpoint lc_socket_cli1_{started.process.pid}_common (code 11); "
                        "ltectl bus list shows whether its name is taken\n"))


if __name__ == "__main__":
    support.main()
