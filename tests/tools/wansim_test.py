"""wansim as its clients see it, through plain sockets."""

import fcntl
import itertools
import os
import signal
import subprocess
import time

import support
from support import (CONNECT, CONNECTED, CONNECTING, DISCONNECT, DISCONNECTED, DISCONNECTING, DONE,
                     FAILED, GET_ROAMING, IFACE_STATUS, LINK_STATUS, MODEM, NOT_READY, READY, REFUSED, SET_ROAMING,
                     SOCKET, STORE, SUCCESS, WansimTest, ltectl, parameter, stranger, wansim)


class Link(WansimTest):
    def test_every_step_is_announced_and_a_state_that_is_reached_is_again(self):
        for delay in "20", "0":
            self.start("--delay", delay)
            self.subscribe()
            for request, *events in ((DISCONNECT, DISCONNECTED),
                                     (CONNECT, READY, CONNECTING, b"+CSQ: 23,99", CONNECTED), (CONNECT, CONNECTED),
                                     (DISCONNECT, DISCONNECTING, b"+CSQ: 18,99", DISCONNECTED, NOT_READY)):
                with self.subTest(request, delay=delay, events=events):
                    self.tell(request)
                    self.assert_published(*events)
            self.end()

    def test_connect_while_connecting_is_announced_and_does_not_start_again(self):
        self.start("--delay", "400")
        self.subscribe(IFACE_STATUS, LINK_STATUS)
        started = time.monotonic()
        self.tell(CONNECT)
        self.assert_interface(1)
        self.assert_link(CONNECTING)
        time.sleep(0.2)
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        self.assert_link(CONNECTED)
        self.assertGreaterEqual(time.monotonic() - started, 0.4)
        self.assert_quiet()

    def test_disconnect_while_connecting_calls_the_connection_off(self):
        self.start("--delay", "100")
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.tell(DISCONNECT)
        for status in (CONNECTING, DISCONNECTING, DISCONNECTED):
            self.assert_link(status)
        self.assertIsNone(self.peer.receive(0.3))

    def test_the_delay_is_kept(self):
        self.start("--delay", "1200")
        self.subscribe(LINK_STATUS)
        started = time.monotonic()
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        self.assertLess(time.monotonic() - started, 1)
        self.assert_link(CONNECTED)
        self.assertGreaterEqual(time.monotonic() - started, 1.2)

    def test_options_are_what_is_published(self):
        addresses = ("1.2.3.4", "5.6.7.8", "9.10.11.12", "13.14.15.16", "255.255.255.255")
        self.start("--interface", "fifteen-letters", "--delay", "0", *itertools.chain(
            *zip(("--ip", "--gateway", "--dns1", "--dns2", "--mask"), addresses)))
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.assert_link(CONNECTING, "fifteen-letters")
        self.assert_link(CONNECTED, "fifteen-letters", addresses)

    def test_every_subscriber_is_told(self):
        self.start("--delay", "0")
        others = [self.start_peer(f"lc_socket_cli1_{number}_common") for number in (1, 2)]
        for other in others:
            self.subscribe(LINK_STATUS, peer=other)
        self.tell(CONNECT)
        for self.peer in others:
            self.assert_link(CONNECTING)
            self.assert_link(CONNECTED)


class Requests(WansimTest):
    def test_roaming_switch(self):
        for option, at_first in (("on", 1), ("off", 0)):
            self.start("--roaming", option)
            self.assert_roaming(at_first)
            for value in (1, 0):
                self.assertEqual(self.peer.ask(SET_ROAMING, stranger.pack("I", value)), SUCCESS)
                self.assert_roaming(value)
            self.end()

    def assert_roaming(self, value):
        self.assertEqual(self.peer.ask(GET_ROAMING), stranger.pack("iI", 0, value))

    def test_what_is_refused_changes_nothing(self):
        self.start("--roaming", "on")
        for why, msg_ids, bodies in (
                ("another value", [SET_ROAMING], [stranger.pack("I", value) for value in (2, 0xFFFFFFFF)]),
                ("a wrong length", [SET_ROAMING], [b"", bytes(3), bytes(8)]),
                ("a body for nothing", [CONNECT], [b"\0"]),
                ("an unknown request", [support.LINK_STATUS, support.DELETE_ALL, 0, 4, 0xFFFFFFFF], [b"body"])):
            for msg_id, body in itertools.product(msg_ids, bodies):
                with self.subTest(why, msg_id=msg_id, body=body):
                    self.assertEqual(self.peer.ask(msg_id, body), REFUSED)
        self.assertEqual(self.peer.ask(GET_ROAMING, bytes(4)), stranger.pack("iI", -1, 0))
        self.assert_roaming(1)

    def test_what_asks_for_no_answer_gets_none(self):
        self.start()
        self.tell(0x50000001, b"\0" * 688)
        self.tell(SET_ROAMING, stranger.pack("I", 1))
        self.assert_quiet()
        self.assert_roaming(1)

    def test_link_requests_may_be_synchronous(self):
        self.start("--delay", "600000")
        self.assertEqual(self.peer.ask(CONNECT), SUCCESS)
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        self.assertEqual(self.peer.ask(DISCONNECT), SUCCESS)

    def test_messages_of_its_own_are_not_taken_from_others(self):
        self.start("--delay", "600000")
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        for msg_id in (0xFFFF0001, 0xFFFF0002, stranger.STOP):
            for kind in (stranger.ASYNC, stranger.REQUEST):
                self.tell(msg_id, kind=kind)
        self.assert_quiet()
        self.assertIsNone(self.wansim.process.poll())

    def test_other_kinds_of_messages_are_not_requests(self):
        self.start()
        for kind in (stranger.RESPONSE, stranger.SHORT, 4, 0xFFFFFFFF):
            self.tell(SET_ROAMING, stranger.pack("I", 1), kind)
        self.assert_roaming(0)

    def test_only_its_three_notifications_can_be_subscribed(self):
        self.start()
        self.subscribe(IFACE_STATUS, LINK_STATUS, MODEM)
        for other in (0, CONNECT, LINK_STATUS - 1, IFACE_STATUS + 1, MODEM + 1):
            self.assertEqual(self.peer.register(other), 6)


class Registry(WansimTest):
    def setUp(self):
        super().setUp()
        self.failed = support.FailedSends(self)
        self.start("--delay", "0", "--quiet")
        self.assertEqual(support.eventually(lambda: self.peer.ask(GET_ROAMING), ConnectionRefusedError),
                         stranger.pack("iI", 0, 0))

    def test_clients_leave_nothing_behind(self):
        for _ in range(25):
            self.assertEqual(ltectl("roam").returncode, DONE)
        for words in (["connect"], ["connect", "--wait", "9"], ["disconnect"], ["disconnect", "--wait", "9"],
                      ["connect", "--wait", "9"]):
            for _ in range(5):
                self.assertEqual(ltectl(*words).returncode, DONE)
        monitor = self.start_monitor()
        monitor.end(signal.SIGINT)
        self.assertEqual(self.failed.count(self.peer), 0)

    def test_a_client_that_dies_does(self):
        """So that the test above is known to see what it looks for."""
        monitor = self.start_monitor()
        monitor.end(signal.SIGKILL)
        self.peer.ask(CONNECT)
        self.assertEqual(self.failed.count(self.peer), 1)


class Parameters(WansimTest):
    def test_state_is_kept_where_others_read_it(self):
        self.start("--delay", "0")
        self.assertEqual(parameter("wm_wcdma_modem_status_tmp"), b"sim_ready\0")
        self.assertRegex(parameter("wm_wcdma_imei_nv"), rb"\A[0-9]{15}\0\Z")
        self.assertEqual(parameter("wm_syslog_switch_flg"), b"0\0")
        for request, *values in ((None, b"18\0", b"0\0"), (CONNECT, b"23\0", b"2\0"), (DISCONNECT, b"18\0", b"0\0")):
            request and self.peer.ask(request)
            self.assertEqual([parameter(f"wm_wcdma_{name}_tmp") for name in ("rssi", "link")], values)

    def test_a_change_of_the_link_can_be_read_when_it_is_published(self):
        self.start("--delay", "600000")
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        self.assertEqual(parameter("wm_wcdma_link_tmp"), b"3\0")

    def test_a_link_that_was_up_when_it_was_killed_is_down_at_the_next_start(self):
        self.start("--delay", "0")
        self.peer.ask(CONNECT)
        self.wansim.end(signal.SIGKILL)
        self.assertEqual(parameter("wm_wcdma_link_tmp"), b"2\0")
        self.peer.close()
        self.start()
        self.assertEqual(self.peer.ask(GET_ROAMING), stranger.pack("iI", 0, 0))
        self.assertEqual(parameter("wm_wcdma_link_tmp"), b"0\0")

    def test_what_is_only_true_while_it_runs_goes_with_it(self):
        self.start()
        self.wansim.end()
        self.assertEqual(sorted(os.listdir(STORE)), ["wm_syslog_switch_flg", "wm_wcdma_imei_nv"])


class Life(WansimTest):
    def test_signals_end_it_in_order(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start("--delay", "600000")
            self.peer.ask(CONNECT)
            self.subscribe()
            status, out, errors = self.wansim.end(number)
            self.assertEqual((status, out.splitlines()[-1], errors), (DONE, "wansim: ended", ""))
            self.assertIsNone(self.peer.receive(0))
            self.peer.close()

    def test_a_signal_may_come_twice(self):
        """timeout(1) and terminals send it to the process and to its group."""
        for _ in range(20):
            self.start()
            self.wansim.process.send_signal(signal.SIGTERM)
            self.assertEqual(self.wansim.end()[0], DONE)
            self.peer.close()

    def test_its_name_is_free_before_it_says_that_it_has_ended(self):
        reading, writing = os.pipe()
        with os.fdopen(reading, "rb", buffering=0) as out, os.fdopen(writing, "wb", buffering=0) as full:
            process = subprocess.Popen([support.wansim_program], stdout=writing)
            self.addCleanup(process.wait)
            self.addCleanup(process.kill)
            out.read(1000)
            full.write(b"x" * fcntl.fcntl(writing, fcntl.F_GETPIPE_SZ))  # its last line has to wait
            process.terminate()
            support.eventually(lambda: self.start_peer(SOCKET), OSError)
            self.assertIsNone(process.poll())

    def test_only_one_at_a_time_and_the_second_does_no_harm(self):
        self.start()
        second = wansim()
        self.assert_result(second, FAILED, "", f"wansim: cannot listen at {SOCKET} (code 11): "
                           "end the one that is running first\n")
        self.assertEqual(parameter("wm_wcdma_rssi_tmp"), b"18\0")
        self.assertEqual(self.peer.ask(GET_ROAMING), stranger.pack("iI", 0, 0))

    def test_another_can_follow(self):
        for _ in range(2):
            self.start()
            self.assertEqual(self.wansim.end()[0], DONE)
            self.peer.close()

    def test_a_subscriber_that_does_not_read_cannot_keep_it(self):
        self.start("--delay", "0")
        deaf = self.start_peer("lc_socket_cli1_7_common")
        self.subscribe(LINK_STATUS, peer=deaf)
        with open("/proc/sys/net/unix/max_dgram_qlen") as file:
            room = int(file.read()) + 1
        for _ in range(room):  # the first is announced twice
            self.tell(CONNECT)
        for _ in range(room + 1):
            self.wansim.lines_to("wansim: link connect")
        status, _, errors = self.wansim.end()
        self.assertEqual((status, errors), (
            FAILED, "wansim: ended out of order: a subscriber does not read its events\n"))

    def test_goes_on_without_a_reader_of_its_output(self):
        self.start("--delay", "0")
        self.wansim.out.close()
        self.subscribe(LINK_STATUS)
        self.tell(CONNECT)
        self.assert_link(CONNECTING)
        self.assert_link(CONNECTED)
        self.assertEqual(self.wansim.end(), (DONE, "", ""))


class Output(WansimTest):
    def served(self, *options):
        """The output for one of everything."""
        self.start("--delay", "0", *options)
        self.peer.ask(CONNECT)
        self.peer.ask(DISCONNECT)
        self.peer.ask(SET_ROAMING, stranger.pack("I", 1))
        self.peer.ask(support.DELETE_ALL)
        status, out, errors = self.wansim.end()
        self.assertEqual((status, errors), (DONE, ""))
        return out

    def test_one_line_for_each_thing_it_does(self):
        peer = "from=lc_socket_cgi_common"
        self.assertEqual(self.served().splitlines(), [f"wansim: {line}" for line in (
            f"request connect id=0x10400001 {peer}",
            "interface ready name=WM_READY",
            "link connecting name=WM_CONNECTING",
            "modem +CSQ: 23,99",
            support.CONNECTED_LINE,
            f"request disconnect id=0x10400003 {peer}",
            "link disconnecting name=WM_DISCONNECTING",
            "modem +CSQ: 18,99",
            "link disconnected name=WM_DISCONNECTED",
            "interface not ready name=WM_NOT_READY",
            f"request set-roaming id=0x1040006c {peer}",
            "roaming on",
            f"request unknown id=0x104000d1 {peer}",
            "refused unknown result=-1",
            "ended")])

    def test_as_json(self):
        events = self.objects(self.served("--json"))
        self.assertEqual([event["event"] for event in events], [
            "request", "interface", "link", "modem", "link", "request", "link", "modem", "link",
            "interface", "request", "roaming", "request", "refused", "ended"])
        self.assertEqual(events[0], {"event": "request", "request": "connect", "id": CONNECT,
                                     "from": "lc_socket_cgi_common"})
        self.assertEqual(events[3], {"event": "modem", "report": "+CSQ: 23,99"})
        self.assertEqual(events[13], {"event": "refused", "request": "unknown", "result": -1})

    def test_ready_as_json(self):
        simulator = support.Background(self, support.wansim_program, "--json")
        self.assertEqual(self.objects(simulator.out.next()), [{"event": "ready", "socket": SOCKET}])

    def test_quiet(self):
        result = subprocess.run(["timeout", "--preserve-status", "--signal=TERM", "0.5",
                                 support.wansim_program, "--quiet"], capture_output=True, text=True)
        self.assert_result(result, DONE, "", "")


if __name__ == "__main__":
    support.main()
