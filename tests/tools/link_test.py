"""ltectl connect and disconnect."""

import signal
import time

import support
from support import (CONNECT, CONNECTED, CONNECTING, DISCONNECT, DISCONNECTED, DONE, FAILED,
                     IFACE_BODY, IFACE_STATUS, LINK_STATUS, FakeManager, ToolTest, link_body, ltectl,
                     stranger)

DETAILS = {"interface": "wwan7", "ip": "10.20.30.41", "gateway": "10.20.30.42", "dns1": "10.9.8.7",
           "dns2": "10.9.8.6", "mask": "255.255.255.252"}
DETAILS_TEXT = " ".join(f"{name}={value}" for name, value in DETAILS.items())
OPTIONS = [word for name, value in DETAILS.items() for word in (f"--{name}", value)]


class WithWansim(ToolTest):
    def test_connect_waits_for_the_link_and_shows_it(self):
        """Also when it is connected already."""
        self.start_wansim(*OPTIONS, "--delay", "50")
        for _ in range(2):
            self.assert_runs("connect --wait 10", f"link connected {DETAILS_TEXT} name=CONN_CONNECTED\n")
        self.assert_json("connect --wait 10",
                         {"event": "link", "status": "connected", **DETAILS, "name": "CONN_CONNECTED"})

    def test_without_waiting_it_says_what_it_asked_for(self):
        simulator = self.start_wansim("--delay", "600000")
        for command, state in (("connect", "connecting"), ("disconnect", "disconnected")):
            self.assert_runs(command, f"{command} requested\n")
            simulator.lines_to(f"wansim: link {state}")
            self.assert_runs(f"{command} --json", f'{{"event":"requested","requested":"{command}"}}\n')

    def test_connect_that_takes_too_long(self):
        self.start_wansim("--delay", "600000")
        started = time.monotonic()
        self.assert_fails("connect --wait 1",
                          "the link is not connected after 1 s; ltectl monitor shows what happens")
        self.assertGreaterEqual(time.monotonic() - started, 1)

    def test_an_answer_that_nobody_would_read_is_not_waited_for(self):
        self.start_wansim("--delay", "600000")
        client = self.start_ltectl("connect", "--wait", "60")
        client.out.close()
        self.assertEqual(client.finish(), (
            FAILED, "",
            "ltectl: nobody reads the answer; the WAN manager goes on with the request\n"))

    def test_disconnect_waits_for_the_end_of_the_link(self):
        self.start_wansim("--delay", "0")
        ltectl("connect", "--wait", "10")
        self.assert_runs("disconnect --wait 10", "link disconnected name=WM_DISCONNECTED\n")
        self.assert_runs("disconnect --wait 10 --json",
                         '{"event":"link","status":"disconnected","name":"WM_DISCONNECTED"}\n')


class Waiting(ToolTest):
    """What counts as the outcome."""

    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)

    def start(self, command="connect", *options, publish=()):
        """A client that has made its request, and what the manager publishes then; its address."""
        self.client = self.start_ltectl(command, "--wait", "30", *options)
        address = self.manager.accept_registrations()
        request = self.manager.take()
        self.assertEqual((request[0], request[1], request[3]),
                         (stranger.ASYNC, {"connect": CONNECT, "disconnect": DISCONNECT}[command], b""))
        for msg_id, body in publish:
            self.manager.publish(address, msg_id, body)
        return address

    def test_only_the_state_that_was_asked_for_fulfils_it(self):
        for command, publish, shown in (
                ("connect", ((IFACE_STATUS, stranger.pack("3I", *[CONNECTED] * 3).ljust(IFACE_BODY, b"\0")),
                             (LINK_STATUS, link_body(DISCONNECTED)), (LINK_STATUS, link_body(CONNECTING)),
                             (LINK_STATUS, link_body(CONNECTED, 1, b"lte0"))),
                 "link connected interface=lte0 ip= gateway= dns1= dns2= mask= name=CONN_CONNECTED\n"),
                # An interface status whose words would be those of a disconnected link.
                ("disconnect", ((IFACE_STATUS, bytes(IFACE_BODY)), (LINK_STATUS, link_body(CONNECTED)),
                                (LINK_STATUS, link_body(DISCONNECTED))),
                 "link disconnected name=WM_DISCONNECTED\n")):
            with self.case(command):
                self.start(command, publish=publish)
                self.assertEqual(self.client.finish(), (DONE, shown, ""))

    def test_a_field_without_a_terminator_ends_with_its_width(self):
        texts = [letter * 18 for letter in (b"i", b"g", b"1", b"2", b"m")]
        self.start(publish=[(LINK_STATUS, link_body(CONNECTED, 1, b"n" * 16, texts))])
        self.assertEqual(self.client.finish()[1], f"link connected interface={'n' * 16} ip={'i' * 18} "
                                           f"gateway={'g' * 18} dns1={'1' * 18} dns2={'2' * 18} "
                                           f"mask={'m' * 18} name=CONN_CONNECTED\n")

    def test_a_character_that_its_width_cuts_off_is_not_completed_from_the_next_field(self):
        body = link_body(CONNECTED, 1, b"n" * 15 + b"\xc3", [b"\xa9", b"", b"", b"", b""])
        self.start("connect", "--json", publish=[(LINK_STATUS, body)])
        [event] = self.objects(self.client.finish()[1])
        self.assertEqual((event["interface"], event["ip"]), ("n" * 15 + "\ufffd", "\ufffd"))

    def test_leaves_the_registry_when_it_has_seen_the_outcome(self):
        self.start(publish=[(LINK_STATUS, link_body(CONNECTED))])
        self.manager.assert_left()

    def test_a_signal_ends_the_waiting_in_order(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start()
            self.assertEqual(self.client.end(number), (
                FAILED, "", "ltectl: interrupted; the WAN manager may go on with the request\n"))
            self.manager.assert_left()

    def test_a_signal_ends_it_while_nobody_reads_the_outcome(self):
        address = self.start()
        self.client.fill()
        self.manager.publish(address, LINK_STATUS, link_body(CONNECTED))
        self.assertEqual(self.client.end_unread(), FAILED)
        self.manager.assert_left()

if __name__ == "__main__":
    support.main()
