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
        for words, status in (("", "off"), (" on", "on"), ("", "on"), (" off", "off"), ("", "off")):
            self.assert_runs("roam" + words, f"roaming {status}\n")
            self.assert_runs(f"roam{words} --json", f'{{"event":"roaming","status":"{status}"}}\n')


class RoamAgainstFakeManager(ToolTest):
    """One client at a time, so that the test can answer between its requests."""

    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)

    def answered(self, command, answer, times=1):
        """The first request of a client, and how it ends that is given this answer."""
        client = self.start_ltectl(*command.split())
        for _ in range(times):
            request = self.manager.take()
            self.manager.respond(request, answer)
        return request, client.finish()

    def assert_refused(self, command, answer, sentence, times=1):
        self.assertEqual(self.answered(command, answer, times)[1], (FAILED, "", f"ltectl: {sentence}\n"))

    def test_sends_the_value_and_does_not_subscribe(self):
        for command, msg_id, body, answer in (("roam", GET_ROAMING, b"", stranger.pack("iI", 0, 1)),
                                              ("roam on", SET_ROAMING, stranger.pack("I", 1), support.SUCCESS)):
            request, ended = self.answered(command, answer)
            self.assertEqual((request[0], request[1], request[3]), (stranger.REQUEST, msg_id, body))
            self.assertEqual(ended, (DONE, "roaming on\n", ""))

    def test_a_value_without_a_name_is_shown_as_a_number(self):
        self.assertEqual(self.answered("roam --json", stranger.pack("iI", 0, 7))[1],
                         (DONE, '{"event":"roaming","status":"unknown","status_value":7}\n', ""))

    def test_status_shows_no_value_of_another_request(self):
        client = self.start_ltectl("status", "--json")
        answers = {GET_NETTYPE: stranger.pack("iI", 0, 3), GET_ROAMING: support.SUCCESS}
        for _ in range(4):
            request = self.manager.take()
            self.manager.respond(request, answers.get(request[1], support.REFUSED))
        code, out, err = client.finish()
        status = json.loads(out)
        self.assertEqual((code, status["nettype"], "roaming" in status, err),
                         (DONE, "WM_REG_4G", False, f"ltectl: {NO_ROAMING}\n"))

    def test_a_refusal_tells_its_result(self):
        for command, answer, what in (("roam", stranger.pack("iI", -1, 0), "tell the roaming switch"),
                                      ("roam on", support.REFUSED, "set the roaming switch"),
                                      ("pref 7", stranger.pack("iI", -1, 0), "set the preferred radio technology")):
            self.assert_refused(command, answer, f"the WAN manager did not {what} (result -1)")

    def test_a_longer_answer_to_pref_is_taken(self):
        code, out, err = self.answered("pref 7", stranger.pack("iI", 0, 0))[1]
        self.assertEqual((code, out.split(" name=")[0], err), (DONE, "pref value=7", ""))

    def test_a_manager_that_refuses_subscribers(self):
        client = self.start_ltectl("monitor")
        self.manager.accept_registrations(result=6)
        self.assertEqual(client.finish(), (
            FAILED, "", f"ltectl: the WAN manager on {SOCKET} refuses to publish its events (code 6)\n"))

    def test_a_request_without_an_answer_is_made_only_of_a_manager_that_answers(self):
        client = self.start_ltectl("cfun-off")
        self.manager.accept_registrations(1)
        self.assertEqual([self.manager.take()[:2] for _ in range(2)],
                         [(stranger.ASYNC, stranger.DEREGISTER), (stranger.ASYNC, CFUN_OFF)])
        self.assertEqual(client.finish(), (DONE, "cfun-off requested\n", ""))

    def test_an_answer_of_the_wrong_length_is_none(self):
        for answer in (stranger.pack("iII", 0, 1, 2), b"\0\0\0"):
            self.assert_refused("roam", answer,
                                "the WAN manager did not tell the roaming switch: its answer has the wrong length")

    def test_a_success_without_a_value_shows_none(self):
        for command, rest, what, times in (("roam", b"", "tell the roaming switch", 2),
                                           ("roam", bytes(3), "tell the roaming switch", 2),
                                           ("channel", b"", "tell the LTE channel", 1),
                                           ("imsi", b"", "tell the IMSI", 1), ("imsi", bytes(16), "tell the IMSI", 1),
                                           ("at AT", bytes(4), "pass the command to the modem", 1)):
            self.assert_refused(command, support.SUCCESS + rest,
                                f"the WAN manager agreed to {what}, but its answer has no value", times)

    def test_every_value_is_shown_that_came(self):
        for value in (0, 0xFFFFFFFF):
            client = self.start_ltectl("nettype", "-g", "value")
            while client.process.poll() is None:
                if (received := self.manager.receive(0.1)) is not None:
                    self.manager.respond((*stranger.parse(received[0]), received[1]), stranger.pack("iI", 0, value))
            self.assertEqual(client.finish(), (DONE, f"{value}\n", ""))


class Nobody(ToolTest):
    def test_every_command_that_needs_one_says_so(self):
        for command in ("connect", "connect --wait 5", "disconnect", "disconnect --wait 5", "roam", "roam on",
                        "monitor", "monitor --json", "bus watch"):
            with self.subTest(command):
                self.assert_fails(command, f"no WAN manager is bound to {SOCKET}; start wansim or the WAN manager",
                                  NOBODY)

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
