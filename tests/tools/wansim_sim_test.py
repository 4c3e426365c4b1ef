"""wansim's SIM card: its PIN and PUK, what wrong tries do to it, and what does not work without it."""

import support
from support import (CONNECT, DISABLE_PIN, ENABLE_PIN, GET_IMSI, MODIFY_PIN, SEARCH, SET_PIN_ASKING,
                     WansimTest, parameter, stranger)

PIN, PUK = "1234", "12345678"
DONE, REFUSED, WRONG, LOCKED, NO_PIN = 0, -1, -2, -3, -4


class SimTest(WansimTest):
    def start(self, *options):
        super().start("--delay", "0", "--search-delay", "0", *options)

    def result(self, msg_id, *texts):
        return stranger.unpack("i", self.peer.ask(msg_id, b"".join(
            text.encode().ljust(16, b"\0") for text in texts))[:4])[0]

    def enable(self, pin=PIN):
        return self.result(ENABLE_PIN, pin)

    def disable(self, pin=PIN):
        return self.result(DISABLE_PIN, pin)

    def modify(self, old, new):
        return self.result(MODIFY_PIN, old, new)

    def set_asking(self, value):
        return stranger.unpack("i", self.peer.ask(SET_PIN_ASKING, bytes([value])))[0]

    def assert_sim(self, status):
        self.assertEqual(parameter("wm_wcdma_modem_status_tmp").decode(), status + "\0")

    def assert_usable(self, usable):
        expected = DONE if usable else REFUSED
        self.assertEqual([self.result(msg_id) for msg_id in (GET_IMSI, SEARCH, CONNECT)], [expected] * 3)

    def lock(self):
        """Until only the PUK helps."""
        self.assertEqual([self.disable("0000") for _ in range(3)], [WRONG] * 3)
        self.assert_sim("sim_puk")


class Start(SimTest):
    STATES = (("ready", "sim_ready", True), ("pin", "sim_pin", False), ("puk", "sim_puk", False),
              ("absent", "sim_absent", False))

    def test_state_is_that_of_the_command_line(self):
        """Nothing is announced without a usable card."""
        for state, status, usable in self.STATES:
            with self.subTest(state):
                self.start("--sim", state)
                self.assert_sim(status)
                if not usable:
                    self.subscribe()
                self.assert_usable(usable)
                self.assert_quiet()
                self.end()

    def test_codes_are_those_of_the_command_line(self):
        self.start("--pin", "87654321", "--puk", "11223344")
        self.assertEqual(self.enable(PIN), WRONG)
        self.assertEqual(self.enable("87654321"), DONE)
        self.lock()
        self.assertEqual(self.modify(PUK, "1111"), WRONG)
        self.assertEqual(self.modify("11223344", "1111"), DONE)


class Pin(SimTest):
    def test_card_is_made_to_ask_and_no_longer_to(self):
        self.start()
        for _ in range(2):
            self.assertEqual(self.enable(), DONE)
            self.assert_sim("pin_enable")
            self.assert_usable(True)
        self.assertEqual(self.disable(), DONE)
        self.assert_sim("sim_ready")

    def test_right_pin_unlocks_a_card_that_waits_for_it(self):
        for request, status in ((self.enable, "pin_enable"), (self.disable, "sim_ready")):
            self.start("--sim", "pin")
            self.assertEqual(request(), DONE)
            self.assert_sim(status)
            self.assert_usable(True)
            self.end()

    def test_wrong_pin_changes_nothing_but_the_tries(self):
        self.start()
        for wrong in ("0000", "123", "12345", "", "1234".ljust(16, "1")):  # the last has no terminator
            self.assertEqual(self.enable(wrong), WRONG)
            self.assert_sim("sim_ready")
            self.assertEqual(self.disable(), DONE)

    def test_third_wrong_pin_locks(self):
        for state in ("ready", "pin"):
            for wrong in (lambda: self.enable("0000"), lambda: self.disable("0000"),
                          lambda: self.modify("0000", "1111")):
                self.start("--sim", state)
                self.assertEqual([wrong() for _ in range(3)], [WRONG] * 3)
                self.assert_sim("sim_puk")
                self.assertEqual([self.enable(), self.disable(), self.set_asking(1)], [LOCKED] * 3)
                self.assert_usable(False)
                self.end()

    def test_right_pin_gives_all_tries_back(self):
        self.start()
        for _ in range(3):
            self.assertEqual([self.disable("0000"), self.disable("0000")], [WRONG] * 2)
            self.assertEqual(self.disable(), DONE)
        self.assert_sim("sim_ready")

    def test_new_pin_takes_the_place_of_the_old_one(self):
        self.start("--pin", "12345678")
        self.assertEqual(self.modify("12345678", "4321"), DONE)
        self.assertEqual(self.enable("12345678"), WRONG)
        self.assertEqual(self.enable("43215678"), WRONG)
        self.assertEqual(self.enable("4321"), DONE)

    def test_new_pin_has_4_to_8_digits(self):
        self.start()
        for new in ("", "123", "123456789", "12a4", "1234".ljust(16, "5")):
            self.assertEqual([self.modify(PIN, new), self.modify("0000", new)], [NO_PIN] * 2)
        self.assertEqual(self.modify(PIN, "12345678"), DONE)
        self.assert_sim("sim_ready")

    def test_asking_is_switched_without_the_pin_while_the_card_is_usable(self):
        self.start()
        for value, status in ((1, "pin_enable"), (0, "sim_ready"), (255, "pin_enable")):
            self.assertEqual(self.set_asking(value), DONE)
            self.assert_sim(status)
        for state in ("pin", "puk", "absent"):
            self.end()
            self.start("--sim", state)
            self.assertEqual([self.set_asking(1), self.set_asking(0)], [LOCKED] * 2)


class Puk(SimTest):
    def test_unlocks_and_sets_a_new_pin(self):
        self.start()
        self.assertEqual(self.modify(PUK, "5678"), WRONG)  # the card is not locked for it
        self.assertEqual([self.enable(), self.disable()], [DONE] * 2)
        self.lock()
        self.assertEqual(self.modify(PUK, "5678"), DONE)
        self.assert_sim("sim_ready")
        self.assert_usable(True)
        self.assertEqual([self.enable(), self.enable()], [WRONG] * 2)
        self.assertEqual(self.enable("5678"), DONE)

    def test_tenth_wrong_one_ends_the_card(self):
        self.start("--sim", "puk")
        self.assertEqual([self.modify("00000000", "5678") for _ in range(9)], [WRONG] * 9)
        self.assert_sim("sim_puk")
        self.assertEqual(self.modify("00000000", "5678"), WRONG)
        self.assert_sim("sim_locked")
        self.assertEqual([self.modify(PUK, "5678"), self.enable(), self.set_asking(1)], [LOCKED] * 3)
        self.assert_usable(False)

    def test_right_one_gives_all_tries_back(self):
        self.start("--sim", "puk")
        for _ in range(2):
            self.assertEqual([self.modify("00000000", "5678") for _ in range(9)], [WRONG] * 9)
            self.assertEqual(self.modify(PUK, "5678"), DONE)
            self.lock()

    def test_new_pin_that_is_none_costs_no_try(self):
        self.start("--sim", "puk")
        self.assertEqual([self.modify("00000000", "x") for _ in range(10)], [NO_PIN] * 10)
        self.assertEqual(self.modify(PUK, "5678"), DONE)

    def test_card_that_is_not_there_knows_none(self):
        self.start("--sim", "absent")
        self.assertEqual([self.modify(PUK, "5678"), self.modify(PIN, "5678"), self.enable()], [LOCKED] * 3)


class Output(SimTest):
    def test_every_change_is_a_line(self):
        self.start("--json")
        for pin in (PIN, PIN, "0000", "0000", "0000"):
            self.enable(pin)
        self.modify(PUK, PIN)
        events = [event for event in self.objects(self.end()) if event["event"] in ("sim", "refused")]
        refusal = {"event": "refused", "request": "enable-pin", "result": WRONG}
        self.assertEqual(events, [{"event": "sim", "status": "pin_enable"}, *[refusal] * 3,
                                  {"event": "sim", "status": "sim_puk"},
                                  {"event": "sim", "status": "pin_enable"}])


if __name__ == "__main__":
    support.main()
