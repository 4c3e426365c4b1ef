"""ltectl request."""

import os

import support
from support import (DONE, FAILED, GET_IMSI, GET_ROAMING, NO_ANSWER, NOBODY, SET_ROAMING, USAGE, FakeManager,
                     ToolTest, ltectl, stranger, write_file)

FILE = "/tmp/body"
MOST = 1008


def request(*words):
    return ltectl("request", *words)


class CommandLine(ToolTest):
    def test_a_message_is_a_number_or_a_name(self):
        for word in ("", "imsi", "0x", "-1", " 1", "1x", "4294967296", "0x100000000", "wm_msg_imsi_get_req"):
            with self.subTest(word):
                self.assert_failed(request("--", word), USAGE, "ID takes the number or the name of a message, such as "
                                                               f'WM_MSG_IMSI_GET_REQ, not "{word}"')

    def test_the_values_of_options(self):
        for name, value, expects in (("module", "8", "a module's number, from 0 to 7"),
                                     ("reply-room", "3", f"a number of bytes from 4 to {MOST}"),
                                     ("reply-room", str(MOST + 1), f"a number of bytes from 4 to {MOST}")):
            with self.subTest(name + value):
                self.assert_failed(request("1", f"--{name}={value}"), USAGE, f'--{name} takes {expects}, not "{value}"')

    def test_names_are_completed(self):
        offered = ltectl("--complete", "request", "WM_MSG_ROAM").stdout.splitlines()
        self.assertEqual(offered, ["WM_MSG_ROAM_SWITCH_SET_REQ", "WM_MSG_ROAM_SWITCH_GET_REQ"])


class Sent(ToolTest):
    """What the module gets."""

    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)

    def sent(self, *words):
        """(type, id, body) of a request that nobody answers."""
        self.assertEqual(request(*words, "--timeout", "1").returncode, NO_ANSWER)
        kind, msg_id, _, body = self.manager.take()[:4]
        return kind, msg_id, body

    def test_the_number_in_each_form(self):
        for word in (str(GET_IMSI), f"0x{GET_IMSI:x}", "WM_MSG_IMSI_GET_REQ"):
            with self.subTest(word):
                self.assertEqual(self.sent(word), (stranger.REQUEST, GET_IMSI, b""))

    def test_a_body_of_digits(self):
        for digits in ("", "00", "0aFF", "7f" * MOST):
            with self.subTest(digits[:8]):
                self.assertEqual(self.sent("99", "--body", digits), (stranger.REQUEST, 99, bytes.fromhex(digits)))

    def test_a_body_from_a_file(self):
        for content in (b"", b"\0a\n", b"x" * MOST):
            with self.subTest(content[:8]):
                write_file(FILE, content)
                self.assertEqual(self.sent("99", "--body", FILE), (stranger.REQUEST, 99, content))

    def test_without_an_answer(self):
        self.assert_ran(request("0x63", "--async", "--body", "0102"), "sent unknown id=0x00000063 length=2\n")
        self.assertEqual(self.manager.take()[:2], (stranger.ASYNC, 99))

    def test_a_file_that_cannot_be_sent(self):
        write_file(FILE, b"x" * (MOST + 1))
        self.assert_failed(request("99", "--body", FILE), FAILED,
                           f"{FILE} is longer than a body can be, {MOST} bytes")
        os.unlink(FILE)
        for name in (FILE, "012", "7f" * (MOST + 1)):
            result = request("99", "--body", name)
            self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
            self.assertIn(f"cannot read {name}, which is no even number of hexadecimal digits: ", result.stderr)


class Answers(ToolTest):
    def test_fields_that_are_known(self):
        self.start_wansim("--roaming=on")
        for words, expected in (
                (("WM_MSG_IMSI_GET_REQ",), f"answer WM_MSG_IMSI_GET_REQ id=0x{GET_IMSI:08x} length=20 result=0 "
                                           "body=30303130313031323334353637383900 imsi=001010123456789"),
                (("WM_MSG_ROAM_SWITCH_GET_REQ",), f"answer WM_MSG_ROAM_SWITCH_GET_REQ id=0x{GET_ROAMING:08x} length=8 "
                                                  f"result=0 body={stranger.pack('I', 1).hex()} value=1"),
                ((hex(SET_ROAMING), "--body", "00000000"),
                 f"answer WM_MSG_ROAM_SWITCH_SET_REQ id=0x{SET_ROAMING:08x} length=4 result=0"),
                (("0x10FFFFFF",), "answer unknown id=0x10ffffff length=4 result=-1")):
            with self.subTest(words):
                self.assert_ran(request(*words), expected + "\n")
        self.assert_ran(ltectl("roam"), "roaming off\n")

    def test_what_the_modem_says(self):
        self.start_wansim()
        body = support.at_request(b"AT\r")
        answer = self.objects(request("WM_MSG_MODEM_AT_REQ", "--body", body.hex(), "--json").stdout)[0]
        self.assertEqual((answer["event"], answer["result"]), ("answer", 0))
        self.assertEqual(answer["text"], "OK")

    def test_another_module(self):
        store = support.Background(self, support.wansim_program, "--sms-store")
        store.out.next()
        for words in (["WM_MSG_SMS_DEL_ALL_REQ"], ["WM_MSG_SMS_DEL_ALL_REQ", "--module=6"]):
            self.assertRegex(request(*words).stdout, r"^answer WM_MSG_SMS_DEL_ALL_REQ id=\w+ length=4 result=0$")
        self.assertEqual(request("WM_MSG_SMS_DEL_ALL_REQ", "--module=1").returncode, NOBODY)

    def test_one_that_is_longer_than_the_room(self):
        self.start_wansim()
        self.assert_result(request("WM_MSG_IMSI_GET_REQ", "--reply-room", "8"), DONE,
                           f"answer WM_MSG_IMSI_GET_REQ id=0x{GET_IMSI:08x} length=8 result=0 body=30303130 imsi=0010\n",
                           "ltectl: the answer is longer than the 8 bytes of --reply-room\n")

    def test_one_without_a_result(self):
        for body, rest in ((b"", "length=0"), (b"xy", "length=2 body=7879")):
            with self.subTest(body):
                manager = FakeManager(self)
                asking = self.start_ltectl("request", "99")
                manager.respond(manager.take(), body)
                self.assertEqual(asking.finish(), (DONE, f"answer unknown id=0x00000063 {rest}\n", ""))
                manager.close()


class NoAnswer(ToolTest):
    def test_nobody_is_there(self):
        for words in (["WM_MSG_IMSI_GET_REQ"], ["WM_MSG_IMSI_GET_REQ", "--async"]):
            self.assert_failed(request(*words), NOBODY, "no WAN manager is bound to lc_socket_mm_common; start wansim or "
                                                        "the WAN manager")
        self.assert_failed(request("99", "--module=3"), NOBODY, "no module 3 is bound to lc_socket_cli1_common; start "
                                                                "the process that serves it")


if __name__ == "__main__":
    support.main()
