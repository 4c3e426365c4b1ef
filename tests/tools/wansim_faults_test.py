"""The faults of wansim."""

import re
import signal
import time
import unittest

import support
from support import (CONNECT, CONNECTING, DELETE_ALL, GET_NETTYPE, GET_ROAMING, LINK_STATUS, MODEM, REFUSED,
                     SET_ROAMING, SMS_SOCKET, SUCCESS, USAGE, WansimTest, parameter, stranger, wansim)

ROAMING_ON = stranger.pack("I", 1)
RADIO_OFF = support.ID["radio-off"]


class FaultTest(WansimTest):
    def start(self, *faults, options=("--delay", "0")):
        super().start(*options, *[word for fault in faults for word in ("--fault", fault)])

    def answers(self, msg_id, body=b""):
        """Every answer to a request, up to that of another one behind it."""
        self.peer.session += 1
        session = self.peer.session
        self.tell_with_session(msg_id, body, session)
        self.tell_with_session(GET_NETTYPE, b"", session + 1)
        self.peer.session += 1
        answers = []
        while True:
            received = self.peer.receive()
            self.assertIsNotNone(received, "no answer")
            kind, _, answered, answer = stranger.parse(received[0])
            self.assertEqual(kind, stranger.RESPONSE)
            if answered == session + 1:
                return answers
            self.assertEqual(answered, session)
            answers.append(answer)

    def tell_with_session(self, msg_id, body, session):
        self.peer.send(stranger.message(stranger.REQUEST, msg_id, body, session))

    def assert_killed(self):
        self.assertEqual(self.wansim.process.wait(support.TIMEOUT), -signal.SIGKILL)
        with self.assertRaises(ConnectionRefusedError):
            self.peer.ask(GET_NETTYPE)


class Kinds(FaultTest):
    def test_without_a_fault_there_is_one_whole_answer(self):
        self.start()
        self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), [SUCCESS])
        self.assertEqual(self.answers(GET_ROAMING), [stranger.pack("iI", 0, 1)])

    def test_refuse_does_nothing(self):
        self.start("set-roaming=refuse")
        self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), [REFUSED])
        self.assertEqual(self.answers(GET_ROAMING), [stranger.pack("iI", 0, 0)])
        self.assertIn("wansim: refused set-roaming result=-1", self.end().splitlines())

    def test_late_keeps_the_answer_back(self):
        for fault, seconds in (("late:300", 0.3), ("late", 2)):
            self.start(f"get-roaming={fault}")
            started = time.monotonic()
            self.assertEqual(self.peer.ask(GET_ROAMING, timeout=support.TIMEOUT), stranger.pack("iI", 0, 0))
            self.assertGreaterEqual(time.monotonic() - started, seconds)
            self.end()

    def test_late_by_nothing_is_in_time(self):
        self.start("get-roaming=late:0")
        self.assertEqual(self.answers(GET_ROAMING), [stranger.pack("iI", 0, 0)])

    def test_short_does_not_even_hold_the_result(self):
        self.start("get-roaming=short", "set-roaming=short")
        self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), [SUCCESS[:3]])
        self.assertEqual(self.answers(GET_ROAMING), [SUCCESS[:3]])

    def test_long_is_more_than_anyone_has_room_for(self):
        self.start("get-roaming=long")
        self.assertEqual(self.answers(GET_ROAMING), [stranger.pack("iI", 0, 0).ljust(600, b"\0")])

    def test_twice_is_the_same_answer_again(self):
        self.start("set-roaming=twice")
        self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), [SUCCESS] * 2)

    def test_silent_does_what_it_was_asked_for(self):
        self.start("set-roaming=silent")
        self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), [])
        self.assertEqual(self.answers(GET_ROAMING), [stranger.pack("iI", 0, 1)])

    def test_die_leaves_the_request_half_done(self):
        self.start("radio-off=die")
        self.tell_with_session(RADIO_OFF, b"", 1)
        self.assert_killed()
        self.assertIsNone(self.peer.receive(0))
        self.assertEqual(parameter("wm_wcdma_rssi_tmp"), b"99\0")

    def test_die_does_not_wait_for_an_answer_to_be_due(self):
        self.start("radio-off=die")
        self.tell(RADIO_OFF)
        self.assert_killed()

    def test_sms_store_has_them_too(self):
        self.start("delete-all=refuse", "report=short", options=("--sms-store",))
        self.assertEqual(self.peer.ask(DELETE_ALL, to=SMS_SOCKET), REFUSED)
        self.assertEqual(self.peer.ask(MODEM, b"report", to=SMS_SOCKET), SUCCESS[:3])


class Names(unittest.TestCase):
    def test_every_kind_of_fault_is_tried(self):
        told = re.search(r"Faults: (.*?)\. ", " ".join(wansim("--help").stdout.split())).group(1)
        kinds = re.findall(r"([a-z]+)(?:\[[^]]*\])?(?:, |$)", told)
        self.assertIn("refuse", kinds)
        for kind in kinds:
            self.assertTrue([name for name in dir(Kinds) if name.startswith(f"test_{kind}_")], kind)


class Rules(FaultTest):
    def test_other_requests_are_answered_as_ever(self):
        self.start("get-roaming=silent", "set-nettype=refuse")
        self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), [SUCCESS])
        self.assertEqual(self.answers(CONNECT), [SUCCESS])

    def test_all_is_every_request(self):
        self.start("all=refuse")
        for msg_id in (CONNECT, SET_ROAMING, RADIO_OFF, support.ID["set-apn"]):
            body = ROAMING_ON if msg_id == SET_ROAMING else b""
            self.assertEqual(self.peer.ask(msg_id, body), REFUSED)
        self.assertEqual(self.peer.ask(GET_ROAMING), stranger.pack("iI", -1, 0))

    def test_later_rule_wins(self):
        for faults, answers in ((("set-roaming=refuse", "set-roaming=twice"), [SUCCESS] * 2),
                                (("set-roaming=twice", "set-roaming=refuse"), [REFUSED]),
                                (("all=short", "set-roaming=refuse"), [REFUSED]),
                                (("set-roaming=refuse", "all=short"), [SUCCESS[:3]])):
            with self.subTest(faults):
                self.start(*faults)
                self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), answers)
                self.end()

    def test_what_asks_for_no_answer_is_not_answered_twice(self):
        self.start("connect=twice", options=("--delay", "600000"))
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        self.assert_quiet()

    def test_32_rules_are_kept_in_mind(self):
        self.start(*["all=silent"] * 31, "get-roaming=short")
        self.assertEqual(len(self.peer.ask(GET_ROAMING)), 3)

    def test_what_is_no_rule_is_a_usage_error(self):
        for value in ("", "get-roaming", "=refuse", "get-roaming=", "nothing=refuse", "get-roaming=explode",
                      "get-roaming=Refuse", "get-roaming=late:", "get-roaming=late:x", "get-roaming=late:-1",
                      "get-roaming=late:600001", "get-roaming=refuse:1", "unknown=refuse", "0x1040006a=refuse"):
            with self.subTest(value):
                result = wansim("--fault", value)
                self.assert_result(result, USAGE, "",
                                   "wansim: --fault takes REQUEST=FAULT, with a request that --requests lists, or all, and "
                                   "one of refuse, late[:MS], short, long, twice, silent, die; at most 32 of them, "
                                   f"not \"{value}\"\n")

    def test_one_rule_too_many_is_a_usage_error(self):
        result = wansim(*["--fault", "all=silent"] * 33)
        self.assertEqual((result.returncode, result.stdout), (USAGE, ""))


class Life(FaultTest):
    def test_an_answer_that_is_kept_back_does_not_keep_the_end_back(self):
        self.start("get-roaming=late:600000")
        self.tell_with_session(GET_ROAMING, b"", 7)
        self.assertIn("request get-roaming", self.wansim.out.next())
        started = time.monotonic()
        status, out, errors = self.wansim.end()
        self.assertLess(time.monotonic() - started, 20)
        self.assertEqual((status, out, errors), (support.DONE, "wansim: ended\n", ""))
        self.assertEqual(stranger.parse(self.peer.receive(0)[0]),
                         (stranger.RESPONSE, GET_ROAMING, 7, stranger.pack("iI", 0, 0)))


if __name__ == "__main__":
    support.main()
