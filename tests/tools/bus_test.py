"""ltectl bus: which endpoints are bound, and what arrives at one of them."""

import contextlib
import os
import re
import signal
import socket
import subprocess

import support
from support import (CONNECT, CONNECTED, CONNECTED_LINE, DONE, FAILED, IFACE_BODY, IFACE_STATUS, LINK_ADDRESSES,
                     LINK_STATUS, MODEM, FakeManager, ToolTest, at_request, link_body, ltectl, stranger)
from stranger import ASYNC, REGISTER, REQUEST, RESPONSE, SHORT, STOP, message, pack

AT, STATE_CHANGE, IFACE_REQUEST = (support.ID[name] for name in ("at", "state-change", "interface"))


def ended_process():
    process = subprocess.Popen(["true"])
    process.wait()
    return process.pid


class List(ToolTest):
    def bind(self, address, kind=socket.SOCK_DGRAM):
        bound = socket.socket(socket.AF_UNIX, kind)
        self.addCleanup(bound.close)
        bound.bind(address)
        return bound

    def assert_listed(self, *lines):
        self.assert_runs("bus list", "".join(line + "\n" for line in lines))

    def test_names_by_what_they_tell(self):
        pid, ended = os.getpid(), ended_process()
        for kind, names in (
                ("nobody", {}),
                ("shared names of modules", {
                    "lc_socket__common": "module= ids=5 kind=shared",
                    "lc_socket_cgi_common": "module=cgi ids=2 kind=shared",
                    "lc_socket_mm_common": "module=mm ids=1 kind=shared",
                    "lc_socket_sms_pb_common": "module=sms_pb ids=6 kind=shared",
                    "lc_socket_uptest_common": "module=uptest ids=7 kind=shared",
                    "lc_socket_wm_common": "module=wm ids=0 kind=shared"}),
                ("a process that runs", {
                    f"lc_socket_cli1_{pid}_common": f"module=cli1 ids=3,4 kind=process pid={pid} status=running"}),
                ("a process that has ended", {
                    f"lc_socket_sms_pb_{ended}_common": f"module=sms_pb ids=6 kind=process pid={ended} status=gone"}),
                ("modules that the library does not know", {
                    "lc_socket_cli1_007_common": "module=cli1_007 kind=shared",
                    "lc_socket_cli1_0_common": "module=cli1_0 kind=shared",
                    "lc_socket_cli1_12345678901234567890_common": "module=cli1_12345678901234567890 kind=shared",
                    "lc_socket_cli1_2147483648_common": "module=cli1_2147483648 kind=shared",
                    f"lc_socket_nobody_{pid}_common": f"module=nobody kind=process pid={pid} status=running",
                    "lc_socket_nobody_common": "module=nobody kind=shared"}),
                ("names of another form", dict.fromkeys(
                    ("lc_socket_", "lc_socket_common", "lc_socket_mm_common2", "lc_socket_mm_high"), "kind=unknown"))):
            with self.case(kind):
                for name in reversed(names):
                    self.start_peer(name)
                self.assert_listed(*[f"{name} {told}" for name, told in names.items()])

    def test_names_of_the_tools_themselves(self):
        self.start_wansim()
        self.start_wansim("--sms-store")
        watcher = f"lc_socket_cli1_{self.start_monitor().process.pid}_common"
        shown = dict(line.split(" module=") for line in ltectl("bus", "list").stdout.splitlines())
        self.assertEqual(list(shown), [watcher, support.SOCKET, support.SMS_SOCKET])
        self.assertRegex(shown[watcher], r"\Acli1 ids=3,4 kind=process pid=\d+ status=running\Z")

    def test_a_name_bound_without_its_padding_is_another(self):
        self.start_peer(support.SOCKET)
        self.bind(b"\0" + support.SOCKET.encode())
        self.assertEqual(sorted(ltectl("bus", "list").stdout.splitlines()),
                         ["lc_socket_mm_common module=mm ids=1 kind=shared",
                          "lc_socket_mm_common module=mm ids=1 kind=shared address=short"])

    def test_other_sockets_are_no_endpoints(self):
        server = self.bind(stranger.address(support.SOCKET), socket.SOCK_STREAM)
        server.listen()
        client = self.bind(stranger.address("lc_socket_client_common"), socket.SOCK_STREAM)
        client.connect(server.getsockname())
        self.addCleanup(server.accept()[0].close)
        self.bind(stranger.address("another_socket_mm_common"))
        self.bind("/2ndfile/lc_socket_mm_common")
        self.addCleanup(os.unlink, "/2ndfile/lc_socket_mm_common")
        self.assert_listed()

    def test_an_endpoint_whose_sender_has_waited_for_room(self):
        peer = self.start_peer(support.SOCKET)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.connect(stranger.address(support.SOCKET))
            self.assert_listed("lc_socket_mm_common module=mm ids=1 kind=shared")
        self.assert_listed("lc_socket_mm_common module=mm ids=1 kind=shared")

    def test_a_name_cannot_drive_the_terminal(self):
        self.start_peer("lc_socket_\x1b[2J_common")
        self.bind((b"\0lc_socket_\xc2\x9b2J\x9b\xc3\x9b_common").ljust(108, b"\0"))
        self.assert_listed("lc_socket_?[2J_common module=?[2J kind=shared",
                           "lc_socket_?2J?\u00db_common module=?2J?\u00db kind=shared")
        result = ltectl("bus", "list", "--json")
        self.assertIn('"module":"\\u009b2J\\ufffd\u00db"', result.stdout)
        self.assertEqual(self.objects(result.stdout)[1]["module"], "\u009b2J\ufffd\u00db")

    def test_more_than_there_is_room_for_at_first(self):
        names = [f"lc_socket_peer{i:03}_common" for i in range(100)]
        for name in names:
            self.start_peer(name)
        self.assertEqual([line.split()[0] for line in ltectl("bus", "list").stdout.splitlines()], names)

    def test_as_json(self):
        pid = ended_process()
        for name in (support.SOCKET, f"lc_socket_cli1_{pid}_common", "lc_socket_"):
            self.start_peer(name)
        self.bind(b"\0lc_socket_x_common")
        self.assert_json("bus list", *[{"event": "endpoint", "endpoint": name, **told} for name, told in (
            ("lc_socket_", {"kind": "unknown"}),
            (f"lc_socket_cli1_{pid}_common",
             {"module": "cli1", "ids": [3, 4], "kind": "process", "pid": pid, "status": "gone"}),
            ("lc_socket_mm_common", {"module": "mm", "ids": [1], "kind": "shared"}),
            ("lc_socket_x_common", {"module": "x", "kind": "shared", "address": "short"}))])

    def test_what_a_module_serves(self):
        header = support.read_file(os.path.join(os.path.dirname(__file__), "..", "..", "include", "lte_sdk.h")).decode()
        names = {int(number, 16): name for name, number in
                 re.findall(r"#define ((?:WM_MSG|SC)_\w+) (0x[0-9a-f]{8})u", header)}
        served = {module: {field: sorted({names[row.msg_id] for row in support.REQUESTS
                                          if row.module == module and (row.timeout != 0) == answered})
                           for field, answered in (("answers", True), ("takes", False))} for module in (1, 6)}
        self.assertGreater(len(served[1]["answers"]), 15)
        others = [f"lc_socket_cli1_{os.getpid()}_common", "lc_socket_cgi_common", "lc_socket_nobody_common", "lc_socket_"]
        for name in (support.SOCKET, support.SMS_SOCKET, *others):
            self.start_peer(name)
        shown = {told["endpoint"]: {key: sorted(told[key]) for key in ("answers", "takes") if key in told}
                 for told in self.objects(ltectl("bus", "list", "-v", "--json").stdout)}
        self.assertEqual(shown, {support.SOCKET: served[1], support.SMS_SOCKET: served[6], **dict.fromkeys(others, {})})
        told = ltectl("bus", "list", "--verbose").stdout.splitlines()[-1]
        self.assertEqual(told, "lc_socket_sms_pb_common module=sms_pb ids=6 kind=shared "
                               "answers=WM_MSG_SMS_DEL_ALL_REQ takes=WM_MSG_MODEM_NOTIFY")
        asked = ltectl("bus", "list", "-v", "-g", "endpoint,takes").stdout.splitlines()
        self.assertEqual(asked[asked.index(support.SOCKET) + 1].split(","), ["WM_MSG_CONNECT_REQ", "WM_MSG_DISCONNECT_REQ",
                         "WM_MSG_IFACE_UPORDOWN_REQ", "WM_MSG_AT_CFUN_OFF_REQ"])

    def test_a_table_that_cannot_be_read(self):
        result = support.run_mounted('mount -t tmpfs none /proc/$$/net && exec "$@"', support.ltectl_program, "bus", "list")
        self.assert_failed(result, FAILED, "cannot read /proc/net/unix: No such file or directory")


class WithWansim(ToolTest):
    def test_the_events_of_a_connection(self):
        self.start_wansim("--delay", "10")
        watch = self.start_ltectl("bus", "watch", "--count", "4")
        self.assertEqual(watch.err.next(), f"ltectl: waiting for messages to lc_socket_cli1_{watch.process.pid}_common;"
                                           " end with Ctrl-C")
        ltectl("connect", "--wait", "10")
        status, out, err = watch.finish()
        shown = [re.sub(r"session=\d+", "session=N", line) for line in out.splitlines()]
        link = "async WM_MSG_LINK_STATUS_NOTIFY id=0x10400016 session=N length=656 from=lc_socket_mm_common"
        self.assertEqual((status, err), (DONE, ""))
        self.assertEqual(sorted(shown), sorted([
            "async WM_MSG_IFACE_STATUS_NOTIFY id=0x10400017 session=N length=688 from=lc_socket_mm_common "
            "interface ready name=WM_READY",
            f"{link} link connecting name=WM_CONNECTING",
            "async WM_MSG_MODEM_NOTIFY id=0x104000b3 session=N length=32 from=lc_socket_mm_common text=+CSQ: 23,99",
            f"{link} {CONNECTED_LINE}"]))


class Watch(ToolTest):
    """The test is the WAN manager, and a stranger that knows the endpoint's name."""

    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)
        self.peer = self.start_peer()

    def start(self, *options):
        self.watch = self.start_ltectl("bus", "watch", *options)
        self.address = self.manager.accept_registrations(3)
        self.watch.err.next()

    def tell(self, msg_id, body=b"", kind=ASYNC, session=7):
        self.peer.send(message(kind, msg_id, body, session), self.address)

    def shown(self, msg_id, body=b"", kind=ASYNC):
        """The end of the line about a message, behind what its header tells."""
        self.tell(msg_id, body, kind)
        line = self.watch.out.next()
        head = f" id=0x{msg_id:08x} session=7 length={len(body)} from=lc_socket_cgi_common"
        self.assertIn(head, line)
        before, after = line.split(head)
        return before, after.lstrip()

    def test_subscribes_to_everything_under_its_own_name(self):
        self.watch = self.start_ltectl("bus", "watch")
        for notification in (IFACE_STATUS, LINK_STATUS, MODEM):
            taken = self.manager.take()
            self.assertEqual((*taken[:2], *stranger.unpack("I", taken[3])), (REQUEST, REGISTER, notification))
            self.assertEqual(taken[4], stranger.address(f"lc_socket_cli1_{self.watch.process.pid}_common"))
            self.manager.respond(taken, pack("I", 0))

    def test_what_is_shown_of_a_message(self):
        self.start()
        link = link_body(CONNECTED, 1, b"wwan0", [text.encode() for text in LINK_ADDRESSES])
        longest = bytes(range(256)) * 3 + b"x" * 240
        asked, unknown = support.GET_ROAMING, 0x50000001
        for kind, name, rows in (
                (ASYNC, "async WM_MSG_LINK_STATUS_NOTIFY", (
                    (LINK_STATUS, link, CONNECTED_LINE),
                    (LINK_STATUS, link_body(4), "link status=4 name=WM_LINK_STA_CLEAR"))),
                (ASYNC, "async WM_MSG_IFACE_STATUS_NOTIFY", (
                    (IFACE_STATUS, pack("2I", 0, 2).ljust(IFACE_BODY, b"\0"), "interface not ready name=WM_WARNING"),)),
                (ASYNC, "async WM_MSG_MODEM_NOTIFY", ((MODEM, b"+CSQ: 1,99\r\n\0rest", "text=+CSQ: 1,99??"),)),
                (REQUEST, "request WM_MSG_CONNECT_REQ", ((CONNECT, b"", ""),)),
                (REQUEST, "request SC_STATE_CHANGE_REQ", ((STATE_CHANGE, pack("I", 5), "value=5"),)),
                (REQUEST, "request WM_MSG_ROAM_SWITCH_SET_REQ", ((support.SET_ROAMING, pack("I", 1), "roaming on"),)),
                (REQUEST, "request WM_MSG_NETTYPE_SET_REQ", ((support.ID["set-nettype"], pack("I", 2), "value=2"),)),
                (REQUEST, "request WM_MSG_PIN_MODIFY_EN_REQ", ((support.SET_PIN_ASKING, b"\1", "value=1"),)),
                (REQUEST, "request WM_MSG_MODEM_AT_REQ", ((AT, at_request(b"AT+CSQ\r"), "command=AT+CSQ"),)),
                (REQUEST, "request WM_MSG_IFACE_UPORDOWN_REQ", (
                    (IFACE_REQUEST, pack("2I", 0, 1).ljust(IFACE_BODY, b"\0"), "interface ready name=WM_READY"),)),
                (ASYNC, "async unknown", ((unknown, b"\x00\xffa", "body=00ff61"), (unknown, b"", ""),
                                          (unknown, longest, f"body={longest.hex()}"))),
                (ASYNC, "async WM_MSG_CONNECT_REQ", ((CONNECT, b"\x01", "body=01"),)),
                (SHORT, "short WM_MSG_CONNECT_REQ", ((CONNECT, b"", ""),)),
                (9, "type=9 WM_MSG_CONNECT_REQ", ((CONNECT, b"", ""),)),
                (SHORT, "short WM_MSG_ROAM_SWITCH_SET_REQ", ((support.SET_ROAMING, pack("I", 0), "roaming off"),)),
                (RESPONSE, "response WM_MSG_ROAM_SWITCH_GET_REQ", (  # nobody has asked
                    (asked, pack("i", -2), "result=-2"), (asked, pack("i", 0) + b"\1\2", "result=0 body=0102"),
                    (asked, b"\1\2\3", "body=010203"), (asked, b"", "")))):
            for msg_id, body, fields in rows:
                with self.subTest(name, fields=fields):
                    self.assertEqual(self.shown(msg_id, body, kind), (name, fields))

    def test_pins_are_shown_only_on_demand(self):
        pins = b"1234".ljust(16, b"\0") + b"4321".ljust(16, b"\0")
        for options, shown in (((), lambda secret: "********"), (("--show-secrets",), lambda secret: secret)):
            self.start(*options)
            for msg_id, body, fields in (
                    (support.ENABLE_PIN, pins[:16], "pin=" + shown("1234")),
                    (support.DISABLE_PIN, b"1" * 16, "pin=" + shown("1" * 16)),
                    (support.MODIFY_PIN, pins, f"old_pin={shown('1234')} new_pin={shown('4321')}"),
                    (support.ENABLE_PIN, b"1234", "body=" + shown("31323334")),
                    (AT, at_request(b"AT+CPIN=1234\r"), "command=AT+CPIN=" + shown("1234")),
                    (AT, at_request(b"at+cmee=1;+cpwd=SC,1,2\r"), "command=at+cmee=1;+cpwd=" + shown("SC,1,2")),
                    (AT, at_request(b"AT+CLCK=\r"), "command=AT+CLCK=" + shown("")),
                    (AT, at_request(b"AT+CPIN?\r"), "command=AT+CPIN?"),
                    (AT, at_request(b"AT+CPIN\r"), "command=AT+CPIN"),
                    (AT, b"AT+CPIN=1\r", "body=" + shown(b"AT+CPIN=1\r".hex()))):
                self.assertEqual(self.shown(msg_id, body, REQUEST)[1], fields)
            self.watch.end()
            self.manager.assert_left()

    def test_every_name_is_that_of_the_header(self):
        self.start()
        with open(os.path.join(os.path.dirname(__file__), "..", "..", "include", "lte_sdk.h")) as header:
            ids = re.findall(r"#define ((?:WM_MSG|SC)_\w+) (0x[0-9a-f]{8})u", header.read())
        self.assertGreater(len(ids), 20)
        for name, number in ids:
            self.assertEqual(self.shown(int(number, 16)), (f"async {name}", ""))

    def test_so_is_a_body_of_another_length(self):
        self.start("--show-secrets")
        for msg_id, body in ((LINK_STATUS, link_body(2)[:-1]), (LINK_STATUS, link_body(2) + b"\0"),
                             (IFACE_STATUS, bytes(IFACE_BODY - 1)), (support.SET_ROAMING, b"\1\2\3"),
                             (support.ENABLE_PIN, bytes(15)), (AT, b"\1"), (AT, bytes(97)),
                             (AT, pack("I", 2).ljust(98, b"\0")), (AT, pack("I", 3).ljust(98, b"\r"))):
            self.assertEqual(self.shown(msg_id, body)[1], f"body={body.hex()}")

    def test_it_publishes_nothing(self):
        self.start()
        answer = self.peer.ask(REGISTER, pack("I", LINK_STATUS), to=self.address)
        self.assertEqual(stranger.unpack("I", answer), (6,))
        self.assertEqual(self.watch.out.next(), "request IPC_MSG_ID_REGISTER id=0x00000002 session=1 length=4 "
                                                "from=lc_socket_cgi_common notification=WM_MSG_LINK_STATUS_NOTIFY")
        self.assertEqual(self.shown(stranger.DEREGISTER, pack("I", 77)),
                         ("async IPC_MSG_ID_DEREGISTER", "notification=0x0000004d"))

    def test_a_request_is_not_answered(self):
        self.start()
        self.assertEqual(self.shown(support.GET_ROAMING, kind=REQUEST), ("request WM_MSG_ROAM_SWITCH_GET_REQ", ""))
        self.assertIsNone(self.peer.receive(0.2))

    def test_malformed_messages_and_foreign_stops_are_passed_over(self):
        self.start()
        self.peer.send(message(ASYNC, CONNECT, b"", length=1), self.address)
        self.peer.send(b"short", self.address)
        self.tell(STOP)
        self.assertEqual(self.shown(CONNECT), ("async WM_MSG_CONNECT_REQ", ""))

    def test_senders_without_a_name_of_the_bus(self):
        self.start()
        for address, shown in ((None, ""), ("/2ndfile/sender", "/2ndfile/sender"), (b"\0a\x1bb", "a?b")):
            with contextlib.closing(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)) as sender:
                if address is not None:
                    sender.bind(address)
                sender.sendto(message(ASYNC, CONNECT), self.address)
                self.assertEqual(self.watch.out.next(),
                                 f"async WM_MSG_CONNECT_REQ id=0x10400001 session=0 length=0 from={shown}")
        os.unlink("/2ndfile/sender")

    def test_as_json(self):
        self.start("--json")
        head = {"event": "message", "session": 7, "from": "lc_socket_cgi_common"}
        for msg_id, body, kind, fields in (
                (LINK_STATUS, link_body(0), ASYNC, {"type": "async", "message": "WM_MSG_LINK_STATUS_NOTIFY",
                                                    "status": "disconnected", "name": "WM_DISCONNECTED"}),
                (0x50000001, b"\xff", REQUEST, {"type": "request", "message": "unknown", "body": "ff"}),
                (CONNECT, b"", 4294967295,
                 {"type": "unknown", "type_value": 4294967295, "message": "WM_MSG_CONNECT_REQ"})):
            self.tell(msg_id, body, kind)
            [answer] = self.objects(self.watch.out.next())
            self.assertEqual(answer, {**head, "id": msg_id, "length": len(body), **fields})

    def test_ends_after_as_many_as_it_was_asked_for(self):
        self.start("--count", "2")
        self.watch.stop()  # or it may have ended before the third
        for _ in range(3):
            self.tell(CONNECT)
        self.watch.process.send_signal(signal.SIGCONT)
        status, out, err = self.watch.finish()
        self.assertEqual((status, err, len(out.splitlines())), (DONE, "", 2))

    def test_a_signal_ends_it_in_order_also_while_nobody_reads(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start()
            self.assertEqual(self.watch.end(number), (DONE, "", ""))
            self.manager.assert_left()
            self.start()
            self.watch.fill()
            self.tell(CONNECT)
            self.assertEqual(self.watch.end_unread(number), DONE)
            self.manager.assert_left()

    def test_a_reader_that_goes_away_ends_it_without_another_message(self):
        self.start()
        self.watch.out.close()
        self.assertEqual(self.watch.finish(), (DONE, "", ""))

    def test_a_wan_manager_that_refuses(self):
        self.watch = self.start_ltectl("bus", "watch")
        self.manager.accept_registrations(1, result=6)
        self.assertEqual(self.watch.finish(), (FAILED, "", "ltectl: the WAN manager on lc_socket_mm_common refuses "
                                                           "to publish its events (code 6)\n"))


if __name__ == "__main__":
    support.main()
