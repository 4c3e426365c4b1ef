"""ltectl monitor."""

import json
import signal

import support
from support import (CONNECTED, CONNECTED_LINE, DONE, IFACE_BODY, IFACE_STATUS, LINK_STATUS, MODEM, FakeManager,
                     ToolTest, link_body, ltectl, stranger)


class WithWansim(ToolTest):
    def watched(self, *options):
        """The end of a monitor of a connection that comes and goes."""
        monitor = self.start_monitor("--count", "6", *options)
        ltectl("connect", "--wait", "10")
        ltectl("disconnect", "--wait", "10")
        return monitor.finish()

    def test_shows_each_event(self):
        self.start_wansim("--delay", "10")
        self.assertEqual(self.watched(), (DONE, "\n".join((
            "interface ready name=WM_READY", "link connecting name=WM_CONNECTING", CONNECTED_LINE,
            "link disconnecting name=WM_DISCONNECTING", "link disconnected name=WM_DISCONNECTED",
            "interface not ready name=WM_NOT_READY", "")), ""))
        events = self.objects(self.watched("--json")[1])
        self.assertEqual([(event["event"], event["status"]) for event in events], [
            ("interface", "ready"), ("link", "connecting"), ("link", "connected"),
            ("link", "disconnecting"), ("link", "disconnected"), ("interface", "not ready")])
        self.assertEqual(events[2]["dns2"], "10.64.1.53")
        self.assertNotIn("ip", events[3])

    def test_lines_come_as_they_happen(self):
        self.start_wansim("--delay", "600000")
        monitor = self.start_monitor()
        ltectl("connect")
        for line in ("interface ready name=WM_READY", "link connecting name=WM_CONNECTING"):
            self.assertEqual(monitor.out.next(), line)
        self.assertIsNone(monitor.process.poll())

    def test_a_signal_or_a_reader_that_goes_away_ends_it_in_order(self):
        self.start_wansim()
        for number in (signal.SIGINT, signal.SIGTERM):
            self.assertEqual(self.start_monitor().end(number), (DONE, "", ""))
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

    def test_what_is_shown_of_a_notification(self):
        self.start()
        for claim, msg_id, body, shown in (
                ("what the modem reports is not for the host", MODEM, b"+CSQ: 1,99\0", None),
                ("a state of the link", LINK_STATUS, link_body(0), "link disconnected name=WM_DISCONNECTED"),
                ("one without a name", LINK_STATUS, link_body(4), "link status=4 name=WM_LINK_STA_CLEAR"),
                *(("a readiness", IFACE_STATUS, stranger.pack("2I", 0, readiness).ljust(IFACE_BODY, b"\0"),
                   f"interface {shown}")
                  for readiness, shown in ((1, "ready name=WM_READY"), (0, "not ready name=WM_NOT_READY"),
                                           (2, "not ready name=WM_WARNING"))),
                ("no control characters", LINK_STATUS,
                 link_body(CONNECTED, 1, b"a\rb", [b"1\n2", b"\x1b[2J", b"\x7f", b"", b""]),
                 "link connected interface=a?b ip=1?2 gateway=?[2J dns1=? dns2= mask= name=CONN_CONNECTED")):
            with self.subTest(claim):
                self.manager.publish(self.address, msg_id, body)
                if shown:
                    self.assertEqual(self.monitor.out.next(), shown)

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
        self.manager.assert_left()

    def test_leaves_the_registry_at_its_end(self):
        self.start()
        self.assertEqual(self.monitor.end(signal.SIGINT)[0], DONE)
        self.manager.assert_left()

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
