"""share/lterouter.lua in tshark: its tables, captures of either byte order, and datagrams of a hostile process.

usage: dissector_test.py LTECTL WANSIM LTEROUTER_LUA"""

import os
import random
import re
import subprocess
import sys
import unittest

import captures
import support
from support import GET_ROAMING, LINK_STATUS, MODEM, SET_ROAMING, ToolTest, stranger
from stranger import ASYNC, REQUEST, RESPONSE

DISSECTOR = sys.argv.pop()
FILE = "/tmp/dissected.pcap"
CLIENT, MANAGER = "lc_socket_cli1_4711_common", support.SOCKET


def read_project(path):
    return support.read_file(f"{os.path.dirname(DISSECTOR)}/../{path}").decode()


def tables():
    """What stands in the dissector of the library's own tables."""
    ids = re.findall(r"^#define ((?:WM|SC|IPC)_\w+) (0x\w+|\d)u", read_project("include/lte_sdk.h") +
                     read_project("include/lc_ipc_msg.h"), re.M)
    ids = {name: int(number, 0) for name, number in ids}
    modules = {}
    for number, name in re.findall(r'^#define IPC_MODULE_\w+ (\d)u +/\*\*< "(\w+)"', read_project("include/lc_ipc_msg.h"), re.M):
        modules.setdefault(name, []).append(number)
    types = re.findall(r"^#define IPC_MSG_TYPE_(\w+) (\d)u", read_project("include/lc_ipc_mq.h"), re.M)
    states = re.findall(r"^#define LCT_LINK_([A-Z]+) (\d)u", read_project("include/lte_sdk.h"), re.M)
    table = read_project("lib/lte_sdk/request_table.h")
    rows = [("IPC_MSG_ID_REGISTER", "message_id", "result"), ("IPC_MSG_ID_DEREGISTER", "message_id", "none")]
    rows += re.findall(r"ROW\(\w+, +(\w+), +\w+, +(\w+), +(\w+), +\d+\)", table)
    rows += [(name, body, "none") for name, body in re.findall(r"ROW\((\w+), +(\w+)\)", table)]
    return "".join([
        "local types = {", ", ".join(f'[{number}] = "{name.lower()}"' for name, number in types), "}\n",
        "local link_states = {", ", ".join(f'[{number}] = "{name.lower()}"' for name, number in states), "}\n",
        "local modules = {", ", ".join(f"{name} = {{{', '.join(numbers)}}}" for name, numbers in modules.items()), "}\n",
        "local messages = {\n",
        *(f'    {{id = 0x{ids[name]:08x}, name = "{name}", body = "{body}", answer = "{answer}"}},\n'
          for name, body, answer in dict.fromkeys(rows)), "}\n"])


def tshark(*arguments, **options):
    """Its lines. Run by root it says on standard error that this is dangerous, and nothing else."""
    result = subprocess.run(["tshark", "-n", "-X", f"lua_script:{DISSECTOR}", *arguments], capture_output=True, text=True,
                            timeout=support.TIMEOUT, check=True, **options)
    assert not re.search("lua", result.stderr, re.I), result.stderr
    return result.stdout.splitlines()


def dissect(order, contents, *fields):
    """A list of fields for each packet."""
    support.write_file(FILE, captures.whole(order, contents))
    lines = tshark("-r", FILE, "-T", "fields", "-E", "separator=/t", *(word for field in fields for word in ("-e", field)))
    assert len(lines) == len(contents), lines
    return [line.split("\t") for line in lines]


class Words(stranger.Words):
    def request(self, kind, msg_id, body=b"", session=7, length=None):
        """A packet to an endpoint."""
        return captures.content(self.order, CLIENT, MANAGER, self.message(kind, msg_id, body, session, length))

    def answer(self, msg_id, body=b"", session=7):
        return captures.content(self.order, MANAGER, CLIENT, self.message(RESPONSE, msg_id, body, session))

    def link(self, state):
        text = b"".join(part.ljust(18, b"\0") for part in (b"10.64.0.2", b"10.64.0.1", b"", b"", b""))
        return (self.pack("5I16s", 2, 0, state, 1, 0, b"wwan0") + text).ljust(656, b"\0")

    def command(self, text):
        return self.pack("4I16s16s48s", len(text), 0, 5000, 3, b"OK", b"ERROR", b"+CME ERROR") + text + b"\0"


BOTH = [Words(order) for order in captures.ORDERS]


class Tables(unittest.TestCase):
    maxDiff = None

    def test_are_those_of_the_library(self):
        """Take the lines from here when a message has come, gone or changed."""
        kept = re.search(r"^-- BEGIN\n(.*?)^-- END$", support.read_file(DISSECTOR).decode(), re.M | re.S).group(1)
        self.assertEqual(kept, tables())


class Dissected(ToolTest):
    def test_every_request_and_notification_has_its_layout(self):
        for words in BOTH:
            bodies = {support.ID["at"]: words.command(b"AT\r")}
            rows = [(row.msg_id, bodies.get(row.msg_id, bytes(row.least))) for row in support.REQUESTS]
            rows += [(LINK_STATUS, bytes(656)), (support.IFACE_STATUS, bytes(688)), (MODEM, b""),
                     (stranger.REGISTER, bytes(4)), (stranger.DEREGISTER, bytes(4))]
            shown = dissect(words.order, [words.request(ASYNC, *row) for row in rows], "lterouter.message", "_ws.expert.message")
            self.assertEqual(shown, [[f"0x{msg_id:08x}", ""] for msg_id, _ in rows])

    def test_every_answer_has_its_layout(self):
        sizes = {support.ID["get-imsi"]: 20, support.ID["at"]: 20}
        for words in BOTH:
            rows = [row for row in support.REQUESTS if row.timeout]
            shown = dissect(words.order, [words.answer(row.msg_id, bytes(sizes.get(row.msg_id, row.room))) for row in rows],
                            "lterouter.message", "_ws.expert.message")
            self.assertEqual(shown, [[f"0x{row.msg_id:08x}", ""] for row in rows])

    def test_the_list_tells_what_is_in_a_body(self):
        for words in BOTH:
            request, answer, pack = words.request, words.answer, words.pack
            operators = pack("iI", 0, 0) + (b"Northern Cell".ljust(20, b"\0") + pack("5i", 1, 2, 3, -4, 5)).ljust(400, b"\0")
            rows = [
                (request(ASYNC, LINK_STATUS, words.link(2)), "async WM_MSG_LINK_STATUS_NOTIFY", "link=connected interface=wwan0"),
                (request(ASYNC, LINK_STATUS, words.link(9)), "async WM_MSG_LINK_STATUS_NOTIFY", "link=9 interface=wwan0"),
                (request(ASYNC, support.IFACE_STATUS, pack("2I", 0, 1).ljust(688, b"\0")), "async WM_MSG_IFACE_STATUS_NOTIFY",
                 "ready"),
                (request(ASYNC, MODEM, b"+CSQ: 1\r\0x"), "async WM_MSG_MODEM_NOTIFY", "text=+CSQ: 1?"),
                (request(REQUEST, SET_ROAMING, pack("I", 1)), "request WM_MSG_ROAM_SWITCH_SET_REQ", "roaming=1"),
                (request(REQUEST, support.ID["set-nettype"], pack("I", 2)), "request WM_MSG_NETTYPE_SET_REQ", "value=2"),
                (request(REQUEST, support.SET_PIN_ASKING, b"\1"), "request WM_MSG_PIN_MODIFY_EN_REQ", "value=1"),
                (request(REQUEST, support.ID["at"], words.command(b"AT+CSQ\r")), "request WM_MSG_MODEM_AT_REQ", "command=AT+CSQ"),
                (request(REQUEST, stranger.REGISTER, pack("I", LINK_STATUS)), "request IPC_MSG_ID_REGISTER",
                 "notification=WM_MSG_LINK_STATUS_NOTIFY"),
                (request(REQUEST, support.ENABLE_PIN, b"1234".ljust(16, b"\0")), "request WM_MSG_PIN_ENABLE_REQ", None),
                (answer(GET_ROAMING, pack("iI", 0, 0x01020304)), "response WM_MSG_ROAM_SWITCH_GET_REQ", "result=0 value=16909060"),
                (answer(GET_ROAMING, pack("i", -2)), "response WM_MSG_ROAM_SWITCH_GET_REQ", "result=-2"),
                (answer(support.GET_IMSI, pack("i", 0) + b"00101\0"), "response WM_MSG_IMSI_GET_REQ", "result=0 imsi=00101"),
                (answer(support.ID["at"], pack("i2I", 0, 0, 2) + b"OK"), "response WM_MSG_MODEM_AT_REQ", "result=0 text=OK"),
                (answer(support.SEARCH, operators), "response WM_MSG_NETLIST_SEARCH_REQ", "result=0 operators=1"),
                (answer(stranger.REGISTER, pack("I", 6)), "response IPC_MSG_ID_REGISTER", "result=6")]
            shown = dissect(words.order, [content for content, _, _ in rows], "_ws.col.Info", "lterouter.source")
            self.assertEqual([info for info, _ in shown],
                             [f"{head} session=7" + (f" {told}" if told else "") for _, head, told in rows])
            self.assertEqual(shown[0][1], CLIENT)
            [fields] = dissect(words.order, [rows[0][0]], "lterouter.ip", "lterouter.gateway", "lterouter.module", "frame.time_epoch")
            self.assertEqual(fields, ["10.64.0.2", "10.64.0.1", "cli1 (3, 4), process 4711,mm (1)", "1000.000000000"])

    def test_answers_know_their_requests(self):
        for words in BOTH:
            request, answer, pack = words.request, words.answer, words.pack
            shown = dissect(words.order, [request(REQUEST, GET_ROAMING), request(REQUEST, GET_ROAMING, b"", 8),
                                          answer(GET_ROAMING, pack("iI", 0, 1), 8), answer(GET_ROAMING, pack("iI", 0, 1)),
                                          answer(GET_ROAMING, pack("iI", 0, 1))],
                            "lterouter.request_in", "lterouter.time")
            self.assertEqual(shown, [["", ""], ["", ""], ["2", "0.001000000"], ["1", "0.003000000"], ["", ""]])

    def test_what_is_wrong_is_marked(self):
        whole = BOTH[1].request(REQUEST, SET_ROAMING, BOTH[1].pack("I", 1))
        head = len(whole) - 20
        rows = [(BOTH[0].request(REQUEST, SET_ROAMING, b"\1\2"), "The body is not one of this message"),
                (BOTH[0].request(REQUEST, support.ID["at"], bytes(97)), "The body is not one of this message"),
                (BOTH[0].request(REQUEST, 0x50000001, b"abc"), "Unknown message"),
                (BOTH[0].request(9, SET_ROAMING, bytes(4)), "Unknown type"),
                (BOTH[0].request(REQUEST, SET_ROAMING, bytes(4), length=5), "The length is not that of the body"),
                (BOTH[0].request(REQUEST, SET_ROAMING, bytes(4), length=0xFFFFFFFF), "The length is not that of the body"),
                (BOTH[0].answer(SET_ROAMING, b"abc"), "The body is not one of this message"),
                (BOTH[0].answer(GET_ROAMING, bytes(9)), "The body is not one of this message"),
                (BOTH[0].answer(SET_ROAMING, BOTH[0].pack("i", -1)), "Refused"),
                (b"\2" + whole[1:], "Not a packet of this format"), (b"\1\3" + whole[2:], "Not a packet of this format")]
        for length in range(1, len(whole)):
            rows.append((whole[:length], "Not a packet of this format" if length < head else "The message is cut"
                         if length < head + 16 else "The length is not that of the body"))
        self.assertEqual(dissect(">", [content for content, _ in rows], "_ws.expert.message"), [[told] for _, told in rows])

    def test_no_bytes_are_an_error_of_the_dissector(self):
        dice = random.Random(20261122)
        known = [row.msg_id for row in support.REQUESTS] + [LINK_STATUS, MODEM, stranger.REGISTER]
        contents = [b""]
        for number in range(500):
            words = dice.choice(BOTH)
            size = dice.choice((0, 1, 3, 4, 5, 8, 12, 97, 404, 408, 656, 688, dice.randrange(1009)))
            datagram = words.message(dice.choice((0, 1, 2, 2, 3, dice.getrandbits(32))), dice.choice(known), dice.randbytes(size),
                                     dice.randrange(4))
            source, destination = ("".join(map(chr, dice.choices(range(1, 127), k=dice.randrange(108)))) for _ in range(2))
            content = bytearray(captures.content(words.order, source, destination, datagram))
            if number % 3 == 0:
                content[dice.randrange(len(content))] = dice.randrange(256)
            if number % 5 == 0:
                content = content[:dice.randrange(len(content))]
            if number % 10 == 0:
                content = dice.randbytes(dice.randrange(1, 1200))
            contents.append(bytes(content))
        support.write_file(FILE, captures.whole("<", contents))
        shown = "\n".join(tshark("-r", FILE, "-V"))
        self.assertEqual(len(re.findall(r"^Frame \d+", shown, re.M)), len(contents))
        self.assertNotRegex(shown, r"Lua Error|Dissector bug|Malformed Packet|Exception occurred")

    def test_a_capture_is_read_while_it_is_made(self):
        self.start_wansim("--delay", "10")
        capture = subprocess.Popen([support.ltectl_program, "bus", "capture", "-", "--count", "4"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(capture.stderr.close)
        self.addCleanup(capture.stdout.close)
        self.assertIn("capturing messages", capture.stderr.readline())
        support.ltectl("connect", "--wait", "10")
        shown = tshark("-i", "-", "-l", "-T", "fields", "-e", "_ws.col.Info", stdin=capture.stdout)
        self.assertEqual(capture.wait(support.TIMEOUT), support.DONE)
        self.assertEqual(sorted(re.sub(r" session=\d+", "", line) for line in shown), [
            "async WM_MSG_IFACE_STATUS_NOTIFY ready", "async WM_MSG_LINK_STATUS_NOTIFY link=connected interface=wwan0",
            "async WM_MSG_LINK_STATUS_NOTIFY link=connecting interface=wwan0", "async WM_MSG_MODEM_NOTIFY text=+CSQ: 23,99"])


if __name__ == "__main__":
    support.main()
