"""ltectl monitor."""

import json
import signal

import support
from support import (CONNECTED, DONE, IFACE_BODY, IFACE_STATUS, LINK_STATUS, MODEM, FakeManager,
                     ToolTest, link_body, ltectl, stranger)

CONNECTED_LINE = ("link connected interface=wwan0 ip=10.64.0.2 gateway=10.64.0.1 dns1=10.64.0.53 "
                  "dns2=10.64.1.53 mask=255.255.255.252 name=CONN_CONNECTED")


class WithWansim(ToolTest):
    def connect_and_disconnect(self):
        ltectl("connect", "--wait", "10")
        ltectl("disconnect", "--wait", "10")

    def test_shows_each_event_in_a_line(self):
        self.start_wansim("--delay", "10")
        monitor = self.start_monitor("--count", "6")
        self.connect_and_disconnect()
        status, out, err = monitor.finish()
        self.assertEqual(out.splitlines(), [
            "interface ready name=WM_READY", "link connecting name=WM_CONNECTING", CONNECTED_LINE,
            "link disconnecting name=WM_DISCONNECTING",
            "link disconnected name=WM_DISCONNECTED", "interface not ready name=WM_NOT_READY"])
        self.assertEqual((status, err), (DONE, ""))

    def test_as_json(self):
        self.start_wansim("--delay", "10")
        monitor = self.start_monitor("--count", "6", "--json")
        self.connect_and_disconnect()
        events = self.objects(monitor.finish()[1])
        self.assertEqual([(event["event"], event["status"]) for event in events], [
            ("interface", "ready"), ("link", "connecting"), ("link", "connected"),
            ("link", "disconnecting"), ("link", "disconnected"), ("interface", "not ready")])
        self.assertEqual(events[2]["dns2"], "10.64.1.53")
        self.assertNotIn("ip", events[3])

    def test_lines_come_as_they_happen(self):
        self.start_wansim("--delay", "600000")
        monitor = self.start_monitor()
        ltectl("connect")
        self.assertEqual([monitor.out.next(), monitor.out.next()], ["interface ready name=WM_READY", "link connecting name=WM_CONNECTING"])
        self.assertIsNone(monitor.process.poll())

    def test_a_signal_ends_it_in_order(self):
        self.start_wansim()
        for number in (signal.SIGINT, signal.SIGTERM):
            monitor = self.start_monitor()
            self.assertEqual(monitor.end(number), (DONE, "", ""))

    def test_a_reader_that_goes_away_ends_it_without_another_event(self):
        self.start_wansim()
        monitor = self.start_monitor()
        monitor.out.close()
        self.assertEqual(monitor.finish(), (DONE, "", ""))


class WithFakeManager(ToolTest):
    def setUp(self):
        super().setUp()
        self.manager = FakeManager(self)

    def start(self, *options):
        self.monitor = self.start_ltectl("monitor", *options)
        self.address = self.manager.accept_registrations()
        self.monitor.err.next()

    def test_modem_notifications_are_not_for_the_host(self):
        self.start("--count", "1")
        self.manager.publish(self.address, MODEM, b"+CSQ: 1,99\0")
        self.manager.publish(self.address, LINK_STATUS, link_body(0))
        self.assertEqual(self.monitor.finish()[1],
                         "link disconnected name=WM_DISCONNECTED\n")

    def test_states_without_a_name_are_shown_as_numbers(self):
        self.start()
        self.manager.publish(self.address, LINK_STATUS, link_body(4))
        self.assertEqual(self.monitor.out.next(), "link status=4 name=WM_LINK_STA_CLEAR")
        for readiness, shown in ((1, "ready name=WM_READY"), (0, "not ready name=WM_NOT_READY"),
                                 (2, "not ready name=WM_WARNING")):
            body = stranger.pack("2I", 0, readiness).ljust(IFACE_BODY, b"\0")
            self.manager.publish(self.address, IFACE_STATUS, body)
            self.assertEqual(self.monitor.out.next(), f"interface {shown}")

    def test_control_characters_do_not_reach_the_terminal(self):
        self.start()
        texts = [b"1\n2", b"\x1b[2J", b"\x7f", b"", b""]
        self.manager.publish(self.address, LINK_STATUS, link_body(CONNECTED, 1, b"a\rb", texts))
        self.assertEqual(self.monitor.out.next(),
                         "link connected interface=a?b ip=1?2 gateway=?[2J dns1=? dns2= mask= name=CONN_CONNECTED")

    def test_a_number_too_big_for_a_signed_word(self):
        self.start("--json")
        self.manager.publish(self.address, LINK_STATUS, link_body(0xFFFFFFFF))
        self.assertEqual(json.loads(self.monitor.out.next()), {"event": "link", "status": "unknown",
                                                              "status_value": 0xFFFFFFFF,
                                                              "name": "UNKNOWN LINK STATUS"})

    def test_a_signal_ends_it_while_nobody_reads(self):
        self.start()
        self.monitor.fill()
        self.manager.publish(self.address, LINK_STATUS, link_body(CONNECTED))
        self.assertEqual(self.monitor.end_unread(), DONE)
        self.assertEqual([self.manager.take()[1] for _ in range(3)], [stranger.DEREGISTER] * 3)

    def test_leaves_the_registry_at_its_end(self):
        self.start()
        self.assertEqual(self.monitor.end(signal.SIGINT)[0], DONE)
        self.assertEqual([self.manager.take()[1] for _ in range(3)], [stranger.DEREGISTER] * 3)

    def events_lost(self):
        """The sum of what the notes tell: the reader may fall behind more than once."""
        while self.monitor.err.more(0):
            pass
        lost = 0
        for note in self.monitor.err.buffer.decode().split("\n")[:-1]:
            self.assertRegex(note, r"\Altectl: \d+ events lost: the output is not read fast enough\Z")
            lost += int(note.split()[1])
        return lost

    def test_events_lost_to_a_slow_reader_are_counted_and_hold_nobody_up(self):
        self.start()
        sent = 3000
        for _ in range(sent):  # blocks for good if the monitor stops receiving
            self.manager.publish(self.address, LINK_STATUS, link_body(CONNECTED))
        for _ in range(10):
            while self.monitor.out.more(0.5):
                pass
            lost = self.events_lost()
            accounted = self.monitor.out.buffer.count(b"\n") + lost
            if lost and accounted == sent:
                break
            # The next event that finds room tells by its number what was lost before it.
            self.manager.publish(self.address, LINK_STATUS, link_body(CONNECTED))
            sent += 1
        self.assertGreater(lost, 0)
        self.assertEqual(accounted, sent)


if __name__ == "__main__":
    support.main()
