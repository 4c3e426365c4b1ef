"""ltectl bus: which endpoints are bound, and what arrives at one of them."""

import contextlib
import os
import re
import signal
import socket
import subprocess

import support
from support import (CONNECTED, DONE, FAILED, IFACE_BODY, IFACE_STATUS, LINK_ADDRESSES, LINK_STATUS, MODEM,
                     NOBODY, FakeManager, ToolTest, link_body, ltectl, stranger)
from stranger import ASYNC, REGISTER, REQUEST, RESPONSE, SHORT, STOP, message, pack

AT, STATE_CHANGE, IFACE_REQUEST = (support.ID[name] for name in ("at", "state-change", "interface"))
CONNECTED_FIELDS = ("interface=wwan0 ip=10.64.0.2 gateway=10.64.0.1 dns1=10.64.0.53 dns2=10.64.1.53 "
                    "mask=255.255.255.252 name=CONN_CONNECTED")


def at_request(command):
    command += b"\r"
    return pack("4I", len(command), 0, 5000, 3).ljust(96, b"\0") + command + b"\0"


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
        self.assert_ran(ltectl("bus", "list"), "".join(line + "\n" for line in lines))

    def test_nobody(self):
        self.assert_listed()

    def test_shared_names_of_modules(self):
        self.start_wansim()
        self.start_wansim("--sms-store")
        for name in ("wm", "cgi", "uptest", ""):
            self.start_peer(f"lc_socket_{name}_common")
        self.assert_listed("lc_socket__common module= ids=5 kind=shared",
                           "lc_socket_cgi_common module=cgi ids=2 kind=shared",
                           "lc_socket_mm_common module=mm ids=1 kind=shared",
                           "lc_socket_sms_pb_common module=sms_pb ids=6 kind=shared",
                           "lc_socket_uptest_common module=uptest ids=7 kind=shared",
                           "lc_socket_wm_common module=wm ids=0 kind=shared")

    def test_a_name_of_a_process_that_runs(self):
        self.start_wansim()
        name = f"lc_socket_cli1_{self.start_monitor().process.pid}_common"
        line = ltectl("bus", "list").stdout.splitlines()[0]
        self.assertEqual(line, f"{name} module=cli1 ids=3,4 kind=process pid={name.split('_')[3]} status=running")

    def test_a_name_of_a_process_that_has_ended(self):
        pid = ended_process()
        self.start_peer(f"lc_socket_sms_pb_{pid}_common")
        self.assert_listed(f"lc_socket_sms_pb_{pid}_common module=sms_pb ids=6 kind=process pid={pid} status=gone")

    def test_modules_that_the_library_does_not_know(self):
        pid = os.getpid()
        for name in ("nobody", f"nobody_{pid}", "cli1_0", "cli1_007", "cli1_2147483648",
                     "cli1_12345678901234567890"):
            self.start_peer(f"lc_socket_{name}_common")
        self.assert_listed("lc_socket_cli1_007_common module=cli1_007 kind=shared",
                           "lc_socket_cli1_0_common module=cli1_0 kind=shared",
                           "lc_socket_cli1_12345678901234567890_common module=cli1_12345678901234567890 kind=shared",
                           "lc_socket_cli1_2147483648_common module=cli1_2147483648 kind=shared",
                           f"lc_socket_nobody_{pid}_common module=nobody kind=process pid={pid} status=running",
                           "lc_socket_nobody_common module=nobody kind=shared")

    def test_names_of_another_form(self):
        for name in ("lc_socket_", "lc_socket_common", "lc_socket_mm_high", "lc_socket_mm_common2"):
            self.start_peer(name)
        self.assert_listed("lc_socket_ kind=unknown", "lc_socket_common kind=unknown",
                           "lc_socket_mm_common2 kind=unknown", "lc_socket_mm_high kind=unknown")

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

    def test_a_name_cannot_drive_the_terminal(self):
        self.start_peer("lc_socket_\x1b[2J_common")
        self.assert_listed("lc_socket_?[2J_common module=?[2J kind=shared")

    def test_nor_can_one_with_control_characters_above_ascii(self):
        self.bind((b"\0lc_socket_\xc2\x9b2J\x9b\xc3\x9b_common").ljust(108, b"\0"))
        self.assert_listed("lc_socket_?2J?\u00db_common module=?2J?\u00db kind=shared")
        result = ltectl("bus", "list", "--json")
        self.assertIn('"module":"\\u009b2J\\ufffd\u00db"', result.stdout)
        self.assertEqual(self.objects(result.stdout)[0]["module"], "\u009b2J\ufffd\u00db")

    def test_more_than_there_is_room_for_at_first(self):
        names = [f"lc_socket_peer{i:03}_common" for i in range(100)]
        for name in names:
            self.start_peer(name)
        self.assertEqual([line.split()[0] for line in ltectl("bus", "list").stdout.splitlines()], names)

    def test_as_json(self):
        pid = ended_process()
        self.start_peer(support.SOCKET)
        self.start_peer(f"lc_socket_cli1_{pid}_common")
        self.start_peer("lc_socket_")
        self.bind(b"\0lc_socket_x_common")
        self.assertEqual(self.objects(ltectl("bus", "list", "--json").stdout), [
            {"event": "endpoint", "endpoint": "lc_socket_", "kind": "unknown"},
            {"event": "endpoint", "endpoint": f"lc_socket_cli1_{pid}_common", "module": "cli1", "ids": [3, 4], "kind": "process",
             "pid": pid, "status": "gone"},
            {"event": "endpoint", "endpoint": "lc_socket_mm_common", "module": "mm", "ids": [1], "kind": "shared"},
            {"event": "endpoint", "endpoint": "lc_socket_x_common", "module": "x", "kind": "shared", "address": "short"}])

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
            f"{link} link connected {CONNECTED_FIELDS}"]))


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
        taken = [self.manager.take() for _ in range(1)]
        for _ in range(2):
            self.manager.respond(taken[-1], pack("I", 0))
            taken.append(self.manager.take())
        self.assertEqual([entry[:2] for entry in taken], [(REQUEST, REGISTER)] * 3)
        self.assertEqual([stranger.unpack("I", entry[3])[0] for entry in taken], [IFACE_STATUS, LINK_STATUS, MODEM])
        self.assertEqual(taken[0][4], stranger.address(f"lc_socket_cli1_{self.watch.process.pid}_common"))

    def test_notifications(self):
        self.start()
        self.assertEqual(self.shown(LINK_STATUS, link_body(CONNECTED, 1, b"wwan0",
                                                           [text.encode() for text in LINK_ADDRESSES])),
                         ("async WM_MSG_LINK_STATUS_NOTIFY", f"link connected {CONNECTED_FIELDS}"))
        self.assertEqual(self.shown(LINK_STATUS, link_body(4)),
                         ("async WM_MSG_LINK_STATUS_NOTIFY", "link status=4 name=WM_LINK_STA_CLEAR"))
        self.assertEqual(self.shown(IFACE_STATUS, pack("2I", 0, 2).ljust(IFACE_BODY, b"\0")),
                         ("async WM_MSG_IFACE_STATUS_NOTIFY", "interface not ready name=WM_WARNING"))
        self.assertEqual(self.shown(MODEM, b"+CSQ: 1,99\r\n\0rest"),
                         ("async WM_MSG_MODEM_NOTIFY", "text=+CSQ: 1,99??"))

    def test_requests(self):
        self.start()
        for msg_id, body, name, fields in (
                (support.CONNECT, b"", "WM_MSG_CONNECT_REQ", ""),
                (STATE_CHANGE, pack("I", 5), "SC_STATE_CHANGE_REQ", "value=5"),
                (support.SET_ROAMING, pack("I", 1), "WM_MSG_ROAM_SWITCH_SET_REQ", "roaming on"),
                (support.ID["set-nettype"], pack("I", 2), "WM_MSG_NETTYPE_SET_REQ", "value=2"),
                (support.SET_PIN_ASKING, b"\1", "WM_MSG_PIN_MODIFY_EN_REQ", "value=1"),
                (AT, at_request(b"AT+CSQ"), "WM_MSG_MODEM_AT_REQ", "command=AT+CSQ"),
                (IFACE_REQUEST, pack("2I", 0, 1).ljust(IFACE_BODY, b"\0"), "WM_MSG_IFACE_UPORDOWN_REQ",
                 "interface ready name=WM_READY")):
            with self.subTest(name):
                self.assertEqual(self.shown(msg_id, body, REQUEST), (f"request {name}", fields))

    def test_pins_are_shown_only_on_demand(self):
        pins = b"1234".ljust(16, b"\0") + b"4321".ljust(16, b"\0")
        for options, shown in (((), lambda secret: "********"), (("--show-secrets",), lambda secret: secret)):
            self.start(*options)
            for msg_id, body, fields in (
                    (support.ENABLE_PIN, pins[:16], "pin=" + shown("1234")),
                    (support.DISABLE_PIN, b"1" * 16, "pin=" + shown("1" * 16)),
                    (support.MODIFY_PIN, pins, f"old_pin={shown('1234')} new_pin={shown('4321')}"),
                    (support.ENABLE_PIN, b"1234", "body=" + shown("31323334")),
                    (AT, at_request(b"AT+CPIN=1234"), "command=AT+CPIN=" + shown("1234")),
                    (AT, at_request(b"at+cmee=1;+cpwd=SC,1,2"), "command=at+cmee=1;+cpwd=" + shown("SC,1,2")),
                    (AT, at_request(b"AT+CLCK="), "command=AT+CLCK=" + shown("")),
                    (AT, at_request(b"AT+CPIN?"), "command=AT+CPIN?"),
                    (AT, at_request(b"AT+CPIN"), "command=AT+CPIN"),
                    (AT, b"AT+CPIN=1\r", "body=" + shown(b"AT+CPIN=1\r".hex()))):
                self.assertEqual(self.shown(msg_id, body, REQUEST)[1], fields)
            self.watch.end()
            self.assertEqual([self.manager.take()[1] for _ in range(3)], [stranger.DEREGISTER] * 3)

    def test_every_name_is_that_of_the_header(self):
        self.start()
        with open(os.path.join(os.path.dirname(__file__), "..", "..", "include", "lte_sdk.h")) as header:
            ids = re.findall(r"#define ((?:WM_MSG|SC)_\w+) (0x[0-9a-f]{8})u", header.read())
        self.assertGreater(len(ids), 20)
        for name, number in ids:
            self.assertEqual(self.shown(int(number, 16)), (f"async {name}", ""))

    def test_what_has_no_known_layout_is_hexadecimal(self):
        self.start()
        self.assertEqual(self.shown(0x50000001, b"\x00\xffa"), ("async unknown", "body=00ff61"))
        self.assertEqual(self.shown(0x50000001), ("async unknown", ""))
        self.assertEqual(self.shown(support.CONNECT, b"\x01"), ("async WM_MSG_CONNECT_REQ", "body=01"))
        longest = bytes(range(256)) * 3 + b"x" * 240
        self.assertEqual(self.shown(0x50000001, longest)[1], f"body={longest.hex()}")

    def test_so_is_a_body_of_another_length(self):
        self.start("--show-secrets")
        for msg_id, body in ((LINK_STATUS, link_body(2)[:-1]), (LINK_STATUS, link_body(2) + b"\0"),
                             (IFACE_STATUS, bytes(IFACE_BODY - 1)), (support.SET_ROAMING, b"\1\2\3"),
                             (support.ENABLE_PIN, bytes(15)), (AT, b"\1"), (AT, bytes(97)),
                             (AT, pack("I", 2).ljust(98, b"\0")), (AT, pack("I", 3).ljust(98, b"\r"))):
            self.assertEqual(self.shown(msg_id, body)[1], f"body={body.hex()}")

    def test_types(self):
        self.start()
        self.assertEqual(self.shown(support.CONNECT, kind=SHORT)[0], "short WM_MSG_CONNECT_REQ")
        self.assertEqual(self.shown(support.CONNECT, kind=9)[0], "type=9 WM_MSG_CONNECT_REQ")
        self.assertEqual(self.shown(support.SET_ROAMING, pack("I", 0), SHORT)[1], "roaming off")

    def test_a_stray_response_tells_its_result(self):
        self.start()
        name = "response WM_MSG_ROAM_SWITCH_GET_REQ"
        self.assertEqual(self.shown(support.GET_ROAMING, pack("i", -2), RESPONSE), (name, "result=-2"))
        self.assertEqual(self.shown(support.GET_ROAMING, pack("i", 0) + b"\1\2", RESPONSE),
                         (name, "result=0 body=0102"))
        self.assertEqual(self.shown(support.GET_ROAMING, b"\1\2\3", RESPONSE), (name, "body=010203"))
        self.assertEqual(self.shown(support.GET_ROAMING, b"", RESPONSE), (name, ""))

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
        self.peer.send(message(ASYNC, support.CONNECT, b"", length=1), self.address)
        self.peer.send(b"short", self.address)
        self.tell(STOP)
        self.assertEqual(self.shown(support.CONNECT), ("async WM_MSG_CONNECT_REQ", ""))

    def test_senders_without_a_name_of_the_bus(self):
        self.start()
        for address, shown in ((None, ""), ("/2ndfile/sender", "/2ndfile/sender"), (b"\0a\x1bb", "a?b")):
            with contextlib.closing(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)) as sender:
                if address is not None:
                    sender.bind(address)
                sender.sendto(message(ASYNC, support.CONNECT), self.address)
                self.assertEqual(self.watch.out.next(),
                                 f"async WM_MSG_CONNECT_REQ id=0x10400001 session=0 length=0 from={shown}")
        os.unlink("/2ndfile/sender")

    def test_as_json(self):
        self.start("--json")
        head = {"event": "message", "session": 7, "from": "lc_socket_cgi_common"}
        for msg_id, body, kind, fields in (
                (LINK_STATUS, link_body(0), ASYNC,
                 {"type": "async", "message": "WM_MSG_LINK_STATUS_NOTIFY", "status": "disconnected", "name": "WM_DISCONNECTED"}),
                (0x50000001, b"\xff", REQUEST, {"type": "request", "message": "unknown", "body": "ff"}),
                (support.CONNECT, b"", 4294967295, {"type": "unknown", "type_value": 4294967295, "message": "WM_MSG_CONNECT_REQ"})):
            self.tell(msg_id, body, kind)
            [answer] = self.objects(self.watch.out.next())
            self.assertEqual(answer, {**head, "id": msg_id, "length": len(body), **fields})

    def test_ends_after_as_many_as_it_was_asked_for(self):
        self.start("--count", "2")
        self.watch.stop()  # or it may have ended before the third
        for _ in range(3):
            self.tell(support.CONNECT)
        self.watch.process.send_signal(signal.SIGCONT)
        status, out, err = self.watch.finish()
        self.assertEqual((status, err, len(out.splitlines())), (DONE, "", 2))

    def test_a_signal_ends_it_in_order(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start()
            self.assertEqual(self.watch.end(number), (DONE, "", ""))
            taken = [self.manager.take() for _ in range(3)]
            self.assertEqual([(entry[1], *stranger.unpack("I", entry[3])) for entry in taken],
                             [(stranger.DEREGISTER, IFACE_STATUS), (stranger.DEREGISTER, LINK_STATUS),
                              (stranger.DEREGISTER, MODEM)])

    def test_so_it_does_while_nobody_reads(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start()
            self.watch.fill()
            self.tell(support.CONNECT)
            self.assertEqual(self.watch.end_unread(number), DONE)
            self.assertEqual([self.manager.take()[1] for _ in range(3)], [stranger.DEREGISTER] * 3)

    def test_a_reader_that_goes_away_ends_it_without_another_message(self):
        self.start()
        self.watch.out.close()
        self.assertEqual(self.watch.finish(), (DONE, "", ""))

    def test_a_wan_manager_that_refuses(self):
        self.watch = self.start_ltectl("bus", "watch")
        self.manager.accept_registrations(1, result=6)
        self.assertEqual(self.watch.finish(), (FAILED, "", "ltectl: the WAN manager on lc_socket_mm_common refuses "
                                                           "to publish its events (code 6)\n"))


class WithoutManager(ToolTest):
    def test_nobody_answers(self):
        self.assert_failed(ltectl("bus", "watch"), NOBODY, "no WAN manager is bound to lc_socket_mm_common; start "
                                                           "wansim or the WAN manager")


if __name__ == "__main__":
    support.main()
