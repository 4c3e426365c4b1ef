"""wansim's answers to every request that there is."""

import contextlib
import os
import time

import support
from support import (CONNECT, CONNECTED, CONNECTING, DELETE_ALL, DISCONNECTED, DISCONNECTING, GET_IMSI,
                     GET_NETTYPE, GET_ROAMING, ID, LINK_STATUS, MODEM, NOT_READY, READY, REFUSED, SEARCH,
                     SMS_SOCKET, SOCKET, STORE, SUCCESS, WansimTest, parameter, stranger, wansim)


def rows(module):
    """Name, identifier, the shortest and the longest body that is accepted, length of the answer."""
    names = dict.fromkeys(row.name for row in support.REQUESTS if row.module == module)
    for name in names:
        told = [row for row in support.REQUESTS if row.name == name]
        yield (name, told[0].msg_id, min(row.least for row in told), max(row.most for row in told),
               8 if told[0].room == 8 else 4)


WAN_MANAGER, SMS_STORE = tuple(rows(1)), tuple(rows(6))
LONGEST = 1008

OPERATORS = (
    (b"Northern Cell", 1, 1, 2, 7, 0, 23, 0),
    (b"Harbour Mobile", 1, 2, 1, 7, 1, 17, 0),
    (b"Ridge Telecom", 1, 5, 1, 4, 1, 12, 0),
    (b"Old Valley", 1, 9, 3, 1, 1, 9, 0),
)


def number(value):
    return stranger.pack("I", value)


class Table(WansimTest):
    MODULES = (("wan-manager", WAN_MANAGER), ("sms-store", SMS_STORE))

    def test_requests_are_listed_by_name(self):
        listed = [(name, msg_id, module) for module, rows in self.MODULES for name, msg_id, *_ in rows]
        self.assert_ran(wansim("--requests"), "".join(
            f"wansim: {name} id=0x{msg_id:08x} module={module}\n" for name, msg_id, module in listed))
        self.assertEqual(self.objects(wansim("--requests", "--json").stdout),
                         [{"event": "request", "request": name, "id": msg_id, "module": module}
                          for name, msg_id, module in listed])

    def test_a_body_of_the_wrong_length_is_refused(self):
        for options, rows, socket in (((), WAN_MANAGER, SOCKET), (("--sms-store",), SMS_STORE, SMS_SOCKET)):
            self.start(*options)
            printed = []
            for name, msg_id, least, most, answer in rows:
                for length in {0, least - 1, most + 1, LONGEST}:
                    if 0 <= length <= LONGEST and not least <= length <= most:
                        with self.subTest(name, length=length):
                            refusal = self.peer.ask(msg_id, b"\x01" * length, to=socket)
                            self.assertEqual(refusal, REFUSED.ljust(answer, b"\0"))
                            printed += [f"request {name} id=0x{msg_id:08x} from=lc_socket_cgi_common",
                                        f"refused {name} result=-1"]
            self.assertEqual(self.end().splitlines(), [f"wansim: {line}" for line in printed + ["ended"]])

    def test_what_is_refused_changes_nothing(self):
        self.start()
        before = {name: parameter(name) for name in os.listdir(STORE)}
        self.subscribe()
        for name, msg_id, least, most, _ in WAN_MANAGER:
            if most < LONGEST:
                self.tell(msg_id, b"\x01" * (most + 1))
        self.assert_quiet()
        self.assertEqual({name: parameter(name) for name in os.listdir(STORE)}, before)


class Values(WansimTest):
    def test_network_type_is_set_and_read_and_the_channel_told(self):
        self.start()
        self.assertEqual(self.peer.ask(GET_NETTYPE), stranger.pack("iI", 0, 3))
        for value in range(4):
            self.assertEqual(self.peer.ask(ID["set-nettype"], number(value)), SUCCESS)
            self.assertEqual(self.peer.ask(GET_NETTYPE), stranger.pack("iI", 0, value))
        self.assertEqual(self.peer.ask(ID["get-channel"]), stranger.pack("iI", 0, 1300))
        for name, body in (("set-apn", b""), ("state-change", b""), ("state-change", number(7))):
            self.assertEqual(self.peer.ask(ID[name], body), SUCCESS, f"{name} has no effect, and is accepted")

    def test_values_up_to_the_last_are_accepted_and_others_refused(self):
        self.start()
        for name, count in (("set-nettype", 4), ("set-pref", 16), ("set-port", 8)):
            for value, answer in ((0, SUCCESS), (count - 1, SUCCESS), (count, REFUSED), (2**32 - 1, REFUSED)):
                with self.subTest(name, value=value):
                    self.assertEqual(self.peer.ask(ID[name], number(value)), answer)
        self.assertEqual(self.peer.ask(GET_NETTYPE), stranger.pack("iI", 0, 3))

    def test_identities_are_those_of_the_command_line(self):
        for options, imsi, imei in (((), b"001010123456789", b"490154203237518"),
                                    (("--imsi", "999991234567890", "--imei", "123456789012345"),
                                     b"999991234567890", b"123456789012345")):
            self.start(*options)
            self.assertEqual(self.peer.ask(GET_IMSI), stranger.pack("i16s", 0, imsi))
            self.assertEqual(parameter("wm_wcdma_imei_nv"), imei + b"\0")
            self.end()

    def test_snapshot_is_stored(self):
        self.start("--delay", "0")
        for name, signal_level in (("diag", b"18"), ("diag-hidden", b"23")):
            self.assertFalse(os.path.exists(STORE + "wm_wcdma_diag_tmp"))
            self.assertEqual(self.peer.ask(ID[name]), SUCCESS)
            self.assertEqual(parameter("wm_wcdma_diag_tmp"), b"csq=" + signal_level + b",earfcn=1300\0")
            os.unlink(STORE + "wm_wcdma_diag_tmp")
            self.peer.ask(CONNECT)


class Search(WansimTest):
    def test_answer_holds_ten_records_and_the_list_is_left_where_clients_read_it(self):
        self.start("--search-delay", "0")
        self.assertFalse(os.path.exists(STORE + "wm_search_netlist_nv"))
        answer = self.peer.ask(SEARCH)
        self.assertEqual(len(answer), 408)
        self.assertEqual(stranger.unpack("iI", answer[:8]), (0, 0))
        records = [stranger.unpack("16s2H5i", answer[start:start + 40]) for start in range(8, 408, 40)]
        self.assertEqual([(record[0].rstrip(b"\0"), *record[1:]) for record in records],
                         [*OPERATORS, *[(b"",) + (0,) * 7] * 6])
        entries = [",".join([name.decode(), *map(str, numbers)]) for name, *numbers in OPERATORS]
        self.assertEqual(parameter("wm_search_netlist_nv").decode(), f"4>{'>'.join(entries)}>\0")

    def test_takes_its_time(self):
        self.start("--search-delay", "700")
        started = time.monotonic()
        self.assertEqual(len(self.peer.ask(SEARCH)), 408)
        self.assertGreaterEqual(time.monotonic() - started, 0.7)

    def test_ends_with_wansim(self):
        self.start("--search-delay", "600000")
        self.tell(SEARCH, kind=stranger.REQUEST)
        self.assertIn("request search", self.wansim.out.next())
        started = time.monotonic()
        self.assertEqual(self.end().splitlines(), ["wansim: refused search result=-1", "wansim: ended"])
        self.assertLess(time.monotonic() - started, 20)
        self.assertFalse(os.path.exists(STORE + "wm_search_netlist_nv"))


class AtTest(WansimTest):
    def ask(self, command, length=None, report=None):
        """The answer, behind what the modem reports."""
        self.tell(ID["at"], support.at_request(command, length), stranger.REQUEST)
        if report is not None:
            self.assert_modem(report)
        kind, msg_id, _, body, _ = self.peer.take()
        self.assertEqual((kind, msg_id), (stranger.RESPONSE, ID["at"]))
        return body

    def modem(self, command, report=None):
        """(type, text) of the answer to a command that is well formed."""
        answer = self.ask(command.encode() + b"\r", report=report)
        result, kind, length = stranger.unpack("i2I", answer[:12])
        self.assertEqual((result, len(answer), answer[-1:]), (0, 12 + length + 1, b"\0"))
        return kind, answer[12:-1].decode()


class AtCommands(AtTest):
    ANSWERS = (
        ("AT", "OK"),
        ("ATI", "Manufacturer: wansim\r\nModel: simulated\r\n\r\nOK"),
        ("AT+CGSN", "490154203237518\r\n\r\nOK"),
        ("AT+CIMI", "001010123456789\r\n\r\nOK"),
        ("AT+CSQ", "+CSQ: 18,99\r\n\r\nOK"),
        ("AT+COPS?", '+COPS: 0,0,"Northern Cell",7\r\n\r\nOK'),
    )

    def test_short_answers_are_in_the_message(self):
        self.start("--delay", "0")
        for command, answer in self.ANSWERS:
            for spelled in (command, command.lower()):
                self.assertEqual(self.modem(spelled), (0, answer))
        for unknown in ("AT+FOO", "AT ", "ATI+CGSN", "A", "x" * 800):
            self.assertEqual(self.modem(unknown), (0, "ERROR"))
        self.peer.ask(CONNECT)
        self.assertEqual(self.modem("AT+CSQ"), (0, "+CSQ: 23,99\r\n\r\nOK"))

    def test_long_answer_is_in_a_file(self):
        self.start()
        kind, path = self.modem("AT+CLAC")
        self.assertEqual((kind, path), (1, "/tmp/wansim.at"))
        with open(path, newline="") as file:
            commands = file.read()
        self.assertEqual(commands, "".join(f"{command}\r\n" for command, _ in self.ANSWERS) +
                         "AT+CFUN=0\r\nAT+CFUN=1\r\nAT+CLAC\r\n\r\nOK\r\n")
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o644)

    def test_that_file_is_its_own(self):
        self.start()
        for path in ("/tmp/victim", "/tmp/nothing"):
            with open("/tmp/victim", "w") as file:
                file.write("kept")
            with contextlib.suppress(FileNotFoundError):
                os.unlink("/tmp/wansim.at")
            os.symlink(path, "/tmp/wansim.at")
            self.assertEqual(self.modem("AT+CLAC"), (1, "/tmp/wansim.at"))
            self.assertFalse(os.path.islink("/tmp/wansim.at"))
            self.assertEqual(support.read_file("/tmp/victim"), b"kept")
            self.assertFalse(os.path.exists("/tmp/nothing"))

    def test_malformed_requests_are_refused(self):
        self.start()
        for command, length in ((b"AT", None), (b"\r", None), (b"AT\r", 0), (b"AT\r", 4), (b"AT\r", 2),
                                (b"AT\r", 5), (b"AT\r", 2**32 - 1), (b"", 1)):
            with self.subTest(command, length=length):
                self.assertEqual(self.ask(command, length), REFUSED)


class Radio(AtTest):
    def assert_signal(self, level):
        self.assertEqual(parameter("wm_wcdma_rssi_tmp"), level.encode() + b"\0")

    def test_is_switched_off_once_and_the_link_ends_with_it(self):
        for connected, *events in ((False,), (True, DISCONNECTING, b"+CSQ: 18,99", DISCONNECTED, NOT_READY)):
            self.start("--delay", "0")
            connected and self.peer.ask(CONNECT)
            self.subscribe()
            self.tell(ID["radio-off"])
            self.assert_published(*events, b"+CSQ: 99,99")
            self.assert_signal("99")
            self.assertEqual(self.peer.ask(ID["radio-off"]), SUCCESS)
            self.assert_quiet()
            self.end()

    def test_connection_under_way_is_called_off_with_it(self):
        self.start("--delay", "100")
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.tell(ID["radio-off"])
        for status in (CONNECTING, DISCONNECTING, DISCONNECTED):
            self.assert_link(status)
        self.assertIsNone(self.peer.receive(0.3))

    def test_no_connection_without_it(self):
        self.start("--delay", "0")
        self.peer.ask(ID["radio-off"])
        self.assertEqual(self.peer.ask(CONNECT), REFUSED)
        self.assertEqual(self.modem("AT+CFUN=1"), (0, "OK"))
        self.assert_signal("18")
        self.assertEqual(self.peer.ask(CONNECT), SUCCESS)

    def test_modem_switches_it_too(self):
        self.start()
        self.subscribe(MODEM)
        for command, level in (("AT+CFUN=0", "99"), ("AT+CFUN=1", "18")):
            self.assertEqual(self.modem(command, f"+CSQ: {level},99".encode()), (0, "OK"))
            self.assert_signal(level)


class Interface(WansimTest):
    def switch(self, up):
        self.tell(ID["interface"], stranger.pack("2I", 0, up).ljust(support.IFACE_BODY, b"\0"))

    def test_up_and_down_are_published_and_the_link_ends_with_it(self):
        self.start("--delay", "0")
        self.subscribe()
        for up, event in ((1, READY), (0, NOT_READY), (0, NOT_READY), (2, NOT_READY)):  # nothing but 1 is up
            self.switch(up)
            self.assert_published(event)
        self.tell(CONNECT)
        self.assert_published(READY, CONNECTING, b"+CSQ: 23,99", CONNECTED)
        self.switch(0)
        self.assert_published(DISCONNECTING, b"+CSQ: 18,99", DISCONNECTED, NOT_READY)


class SmsStore(WansimTest):
    def start(self, *options):
        super().start("--sms-store", *options)

    def ask(self, msg_id, body=b""):
        return self.peer.ask(msg_id, body, to=SMS_SOCKET)

    def test_messages_are_deleted_once(self):
        for options, count in (((), 3), (("--messages", "1000"), 1000), (("--messages", "0"), 0)):
            self.start(*options)
            for left in (count, 0):
                self.assertEqual(self.ask(DELETE_ALL), SUCCESS)
                self.assertIn("request delete-all", self.wansim.out.next())
                self.assertEqual(self.wansim.out.next(), f"wansim: deleted messages={left}")
            self.end()

    def test_what_the_modem_reports_is_printed(self):
        self.start("--json")
        for body, text in ((b'+CUSD: 0,"text",15'.ljust(400, b"\0"), '+CUSD: 0,"text",15'),
                           (b"x" * LONGEST, "x" * LONGEST), (b"", ""), (b"\0after", "")):
            self.peer.send(stranger.message(stranger.ASYNC, ID["report"], body), SMS_SOCKET)
            request, report = self.objects(self.wansim.out.next() + "\n" + self.wansim.out.next())
            self.assertEqual(request["request"], "report")
            self.assertEqual(report, {"event": "modem", "report": text})

    def test_is_nothing_but_the_sms_store_and_stands_beside_the_wan_manager(self):
        self.start()
        for msg_id in (CONNECT, GET_ROAMING, ID["state-change"]):
            self.assertEqual(self.ask(msg_id), REFUSED)
        with self.assertRaises(ConnectionRefusedError):
            self.peer.ask(GET_ROAMING)
        self.assertFalse(os.path.exists(STORE))
        manager = self.start_wansim()
        self.assertEqual(self.ask(DELETE_ALL), SUCCESS)
        self.assertEqual(self.peer.ask(GET_ROAMING), stranger.pack("iI", 0, 0))
        self.assertEqual(manager.end()[0], support.DONE)
        self.assertEqual(self.ask(DELETE_ALL), SUCCESS)

if __name__ == "__main__":
    support.main()
