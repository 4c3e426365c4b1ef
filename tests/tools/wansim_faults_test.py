"""The faults of wansim."""

import re
import signal
import time
import unittest

import support
from support import (CONNECT, CONNECTING, DELETE_ALL, GET_NETTYPE, GET_ROAMING, LINK_STATUS, MODEM, REFUSED,
                     SET_ROAMING, SMS_SOCKET, SUCCESS, USAGE, WansimTest, parameter, stranger, wansim)

ROAMING_ON = stranger.pack("I", 1)
ROAMS, ROAMS_NOT = stranger.pack("iI", 0, 1), stranger.pack("iI", 0, 0)
RADIO_OFF = support.ID["radio-off"]


class FaultTest(WansimTest):
    def start(self, *faults, options=("--delay", "0")):
        super().start(*options, *[word for fault in faults for word in ("--fault", fault)])

    def answers(self, msg_id, body=b""):
        """Every answer to a request, up to that of another one behind it."""
        session = self.peer.session + 1
        self.peer.session += 2
        self.request(msg_id, body, session)
        self.request(GET_NETTYPE, b"", session + 1)
        answers = {session: [], session + 1: []}
        while not answers[session + 1]:
            kind, _, answered, answer, _ = self.peer.take()
            self.assertEqual(kind, stranger.RESPONSE)
            answers[answered].append(answer)
        return answers[session]

    def request(self, msg_id, body, session):
        self.peer.send(stranger.message(stranger.REQUEST, msg_id, body, session))


class Kinds(FaultTest):
    # What becomes of the roaming switch: the answers to who sets it, and to who reads it then.
    SWITCH = (
        ("without a fault there is one whole answer", (), [SUCCESS], [ROAMS]),
        ("refuse does nothing", ("set-roaming=refuse",), [REFUSED], [ROAMS_NOT]),
        ("late by nothing is in time", ("get-roaming=late:0",), [SUCCESS], [ROAMS]),
        ("short does not even hold the result", ("get-roaming=short", "set-roaming=short"), [SUCCESS[:3]],
         [SUCCESS[:3]]),
        ("long is more than anyone has room for", ("get-roaming=long",), [SUCCESS], [ROAMS.ljust(600, b"\0")]),
        ("twice is the same answer again", ("set-roaming=twice",), [SUCCESS] * 2, [ROAMS]),
        ("silent does what it was asked for", ("set-roaming=silent",), [], [ROAMS]),
        ("other requests are answered as ever", ("connect=silent", "set-nettype=refuse"), [SUCCESS], [ROAMS]),
        ("of two rules the later wins", ("set-roaming=refuse", "set-roaming=twice"), [SUCCESS] * 2, [ROAMS]),
        ("whichever it is", ("set-roaming=twice", "set-roaming=refuse"), [REFUSED], [ROAMS_NOT]),
        ("one for a request behind one for all", ("all=short", "set-roaming=refuse"), [REFUSED], [SUCCESS[:3]]),
        ("one for all behind one for a request", ("set-roaming=refuse", "all=short"), [SUCCESS[:3]], [SUCCESS[:3]]),
    )

    def test_what_is_answered_and_what_is_done(self):
        for claim, faults, to_set, to_get in self.SWITCH:
            with self.case(claim):
                self.start(*faults)
                self.assertEqual(self.answers(SET_ROAMING, ROAMING_ON), to_set)
                self.assertEqual(self.answers(GET_ROAMING), to_get)
                told = self.end().splitlines()
                self.assertEqual("wansim: refused set-roaming result=-1" in told, to_set == [REFUSED])

    def test_late_keeps_the_answer_back(self):
        for fault, seconds in (("late:300", 0.3), ("late", 2)):
            self.start(f"get-roaming={fault}")
            started = time.monotonic()
            self.assertEqual(self.peer.ask(GET_ROAMING, timeout=support.TIMEOUT), ROAMS_NOT)
            self.assertGreaterEqual(time.monotonic() - started, seconds)
            self.end()

    def test_die_leaves_the_request_half_done_and_does_not_wait_for_an_answer_to_be_due(self):
        for kind in (stranger.REQUEST, stranger.ASYNC):
            with self.case(kind):
                self.start("radio-off=die")
                self.tell(RADIO_OFF, kind=kind)
                self.assertEqual(self.wansim.process.wait(support.TIMEOUT), -signal.SIGKILL)
                with self.assertRaises(ConnectionRefusedError):
                    self.peer.ask(GET_NETTYPE)
                self.assertIsNone(self.peer.receive(0))
                self.assertEqual(parameter("wm_wcdma_rssi_tmp"), b"99\0")

    def test_sms_store_has_them_too(self):
        self.start("delete-all=refuse", "report=short", options=("--sms-store",))
        self.assertEqual(self.peer.ask(DELETE_ALL, to=SMS_SOCKET), REFUSED)
        self.assertEqual(self.peer.ask(MODEM, b"report", to=SMS_SOCKET), SUCCESS[:3])


class Names(unittest.TestCase):
    def test_every_kind_of_fault_is_tried(self):
        told = re.search(r"Faults: (.*?)\. ", " ".join(wansim("--help").stdout.split())).group(1)
        kinds = re.findall(r"([a-z]+)(?:\[[^]]*\])?(?:, |$)", told)
        self.assertIn("refuse", kinds)
        tried = [claim.split()[0] for claim, *_ in Kinds.SWITCH] + [name.split("_")[1] for name in dir(Kinds)
                                                                    if name.startswith("test_")]
        self.assertLessEqual(set(kinds), set(tried))


class Rules(FaultTest):
    def test_all_is_every_request(self):
        self.start("all=refuse")
        for msg_id, body, answer in ((CONNECT, b"", REFUSED), (SET_ROAMING, ROAMING_ON, REFUSED),
                                     (RADIO_OFF, b"", REFUSED), (support.ID["set-apn"], b"", REFUSED),
                                     (GET_ROAMING, b"", stranger.pack("iI", -1, 0))):
            self.assertEqual(self.peer.ask(msg_id, body), answer)

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
                self.assert_failed(wansim("--fault", value), USAGE, (
                    "--fault takes REQUEST=FAULT, with a request that --requests lists, or all, and one of refuse, "
                    f'late[:MS], short, long, twice, silent, die; at most 32 of them, not "{value}"'), tool="wansim")
        result = wansim(*["--fault", "all=silent"] * 33)
        self.assertEqual((result.returncode, result.stdout), (USAGE, ""))


class Life(FaultTest):
    def test_an_answer_that_is_kept_back_does_not_keep_the_end_back(self):
        self.start("get-roaming=late:600000")
        self.request(GET_ROAMING, b"", 7)
        self.assertIn("request get-roaming", self.wansim.out.next())
        started = time.monotonic()
        status, out, errors = self.wansim.end()
        self.assertLess(time.monotonic() - started, 20)
        self.assertEqual((status, out, errors), (support.DONE, "wansim: ended\n", ""))
        self.assertEqual(stranger.parse(self.peer.receive(0)[0]),
                         (stranger.RESPONSE, GET_ROAMING, 7, ROAMS_NOT))


if __name__ == "__main__":
    support.main()
