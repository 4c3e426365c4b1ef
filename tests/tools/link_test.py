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
        self.start_wansim(*OPTIONS, "--delay", "50")
        self.assert_ran(ltectl("connect", "--wait", "10"), f"link connected {DETAILS_TEXT} name=CONN_CONNECTED\n")

    def test_connect_as_json(self):
        self.start_wansim(*OPTIONS, "--delay", "0")
        result = ltectl("connect", "--wait", "10", "--json")
        self.assertEqual(self.objects(result.stdout),
                         [{"event": "link", "status": "connected", **DETAILS, "name": "CONN_CONNECTED"}])

    def test_connect_when_connected_already(self):
        self.start_wansim(*OPTIONS, "--delay", "0")
        for _ in range(2):
            self.assert_ran(ltectl("connect", "--wait", "10"), f"link connected {DETAILS_TEXT} name=CONN_CONNECTED\n")

    def test_without_waiting_it_says_what_it_asked_for(self):
        simulator = self.start_wansim("--delay", "600000")
        self.assert_ran(ltectl("connect"), "connect requested\n")
        simulator.lines_to("wansim: link connecting")
        self.assert_ran(ltectl("disconnect"), "disconnect requested\n")
        simulator.lines_to("wansim: link disconnected")
        self.assert_ran(ltectl("connect", "--json"), '{"event":"requested","requested":"connect"}\n')
        self.assert_ran(ltectl("disconnect", "--json"), '{"event":"requested","requested":"disconnect"}\n')

    def test_connect_that_takes_too_long(self):
        self.start_wansim("--delay", "600000")
        started = time.monotonic()
        self.assert_failed(ltectl("connect", "--wait", "1"), FAILED,
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
        self.assert_ran(ltectl("disconnect", "--wait", "10"), "link disconnected name=WM_DISCONNECTED\n")
        self.assert_ran(ltectl("disconnect", "--wait", "10", "--json"),
                        '{"event":"link","status":"disconnected","name":"WM_DISCONNECTED"}\n')


class Waiting(ToolTest):
    """What counts as the outcome."""

    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)

    def start(self, *arguments):
        """A client that has made its request; its address."""
        self.client = self.start_ltectl(*arguments)
        address = self.manager.accept_registrations()
        request = self.manager.take()
        self.assertEqual(request[0], stranger.ASYNC)
        self.assertEqual(request[3], b"")
        self.request_id = request[1]
        return address

    def test_only_a_connected_link_fulfils_connect(self):
        address = self.start("connect", "--wait", "30")
        self.assertEqual(self.request_id, CONNECT)
        for msg_id, body in ((IFACE_STATUS, stranger.pack("3I", *[CONNECTED] * 3).ljust(IFACE_BODY, b"\0")),
                             (LINK_STATUS, link_body(DISCONNECTED)),
                             (LINK_STATUS, link_body(CONNECTING)),
                             (LINK_STATUS, link_body(CONNECTED, 1, b"lte0"))):
            self.manager.publish(address, msg_id, body)
        self.assertEqual(self.client.finish(), (
            DONE, "link connected interface=lte0 ip= gateway= dns1= dns2= mask= name=CONN_CONNECTED\n", ""))

    def test_only_a_disconnected_link_fulfils_disconnect(self):
        address = self.start("disconnect", "--wait", "30")
        self.assertEqual(self.request_id, DISCONNECT)
        # An interface status whose words would be those of a disconnected link.
        for msg_id, body in ((IFACE_STATUS, bytes(IFACE_BODY)), (LINK_STATUS, link_body(CONNECTED)),
                             (LINK_STATUS, link_body(DISCONNECTED))):
            self.manager.publish(address, msg_id, body)
        self.assertEqual(self.client.finish(), (DONE, "link disconnected name=WM_DISCONNECTED\n", ""))

    def test_a_field_without_a_terminator_ends_with_its_width(self):
        address = self.start("connect", "--wait", "30")
        texts = [letter * 18 for letter in (b"i", b"g", b"1", b"2", b"m")]
        self.manager.publish(address, LINK_STATUS, link_body(CONNECTED, 1, b"n" * 16, texts))
        self.assertEqual(self.client.finish()[1], f"link connected interface={'n' * 16} ip={'i' * 18} "
                                           f"gateway={'g' * 18} dns1={'1' * 18} dns2={'2' * 18} "
                                           f"mask={'m' * 18} name=CONN_CONNECTED\n")

    def test_a_character_that_its_width_cuts_off_is_not_completed_from_the_next_field(self):
        address = self.start("connect", "--wait", "30", "--json")
        texts = [b"\xa9", b"", b"", b"", b""]
        self.manager.publish(address, LINK_STATUS,
                             link_body(CONNECTED, 1, b"n" * 15 + b"\xc3", texts))
        [event] = self.objects(self.client.finish()[1])
        self.assertEqual((event["interface"], event["ip"]), ("n" * 15 + "\ufffd", "\ufffd"))

    def test_leaves_the_registry_when_it_has_seen_the_outcome(self):
        address = self.start("connect", "--wait", "30")
        self.manager.publish(address, LINK_STATUS, link_body(CONNECTED))
        left = [self.manager.take() for _ in range(3)]
        self.assertEqual([taken[:2] for taken in left], [(stranger.ASYNC, stranger.DEREGISTER)] * 3)
        self.assertEqual({taken[3] for taken in left},
                         {stranger.pack("I", number) for number in (
                             support.LINK_STATUS, support.IFACE_STATUS, support.MODEM)})

    def test_a_signal_ends_the_waiting_in_order(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start("connect", "--wait", "30")
            self.assertEqual(self.client.end(number), (
                FAILED, "", "ltectl: interrupted; the WAN manager may go on with the request\n"))
            self.assertEqual([self.manager.take()[1] for _ in range(3)], [stranger.DEREGISTER] * 3)

    def test_a_signal_ends_it_while_nobody_reads_the_outcome(self):
        address = self.start("connect", "--wait", "30")
        self.client.fill()
        self.manager.publish(address, LINK_STATUS, link_body(CONNECTED))
        self.assertEqual(self.client.end_unread(), FAILED)
        self.assertEqual([self.manager.take()[1] for _ in range(3)], [stranger.DEREGISTER] * 3)


if __name__ == "__main__":
    support.main()
