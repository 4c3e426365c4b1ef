"""ltectl bus capture: files and streams of what an endpoint receives."""

import os
import signal
import socket
import subprocess
import sys
import time

import captures
import support
from stranger import ASYNC, REQUEST, RESPONSE, message, pack
from support import CONNECT, DONE, FAILED, LINK_STATUS, NOBODY, FakeManager, ToolTest, at_request, link_body, ltectl

FILE = "/tmp/captured.pcap"
SENDER = "lc_socket_cgi_common"
ORDER = {"=": {"big": ">", "little": "<"}[sys.byteorder]}.get(support.stranger.ORDER, support.stranger.ORDER)


class CaptureTest(ToolTest):
    """The test is the WAN manager, and a stranger that knows the endpoint's name."""

    def setUp(self):
        super().setUp()
        if os.path.lexists(FILE):
            os.unlink(FILE)
        self.manager = FakeManager(self)
        self.peer = self.start_peer()

    def start(self, path=FILE, *options, count=None):
        self.capture = self.start_ltectl("bus", "capture", path, *options, *(["--count", str(count)] if count else []))
        self.address = self.manager.accept_registrations(3)
        self.name = f"lc_socket_cli1_{self.capture.process.pid}_common"
        self.assertEqual(self.capture.err.next(), f"ltectl: capturing messages to {self.name}; end with Ctrl-C")

    def send(self, datagram):
        self.peer.send(datagram, self.address)

    def content(self, datagram, source=SENDER, flags=0):
        return captures.content(ORDER, source, self.name, datagram, flags)

    def packets(self, path=FILE):
        return captures.parse(ORDER, support.read_file(path))

    def contents(self, path=FILE):
        return [packet.content for packet in self.packets(path)]

    def assert_captured(self, packets, path=FILE):
        self.assertEqual(self.capture.finish(), (DONE, f"{path} packets={packets}\n", ""))

    def read_exactly(self, size, stream=None):
        stream = stream or self.capture.process.stdout
        data = b""
        while len(data) < size:
            more = os.read(stream.fileno(), size - len(data))
            self.assertTrue(more, data)
            data += more
        return data


class Files(CaptureTest):
    def test_hold_what_travels(self):
        datagrams = [message(ASYNC, LINK_STATUS, link_body(2, 1, b"wwan0"), 7), message(ASYNC, CONNECT),
                     message(REQUEST, support.GET_ROAMING, b"", 0xFFFFFFFE), message(RESPONSE, support.GET_ROAMING,
                                                                                  pack("iI", 0, 1), 9),
                     message(77, 0x50000001, bytes(range(256)) * 3 + b"x" * 240), message(3, 5, b"abc")]
        started = time.time()
        self.start(count=len(datagrams) + 1)
        self.send(message(ASYNC, CONNECT, b"", length=1))  # not received
        for datagram in datagrams:
            self.send(datagram)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as nameless:
            nameless.sendto(datagrams[1], self.address)
        self.assert_captured(len(datagrams) + 1)
        self.assertEqual(self.contents(), [*map(self.content, datagrams), self.content(datagrams[1], "")])
        times = [packet.seconds + packet.microseconds / 1e6 for packet in self.packets()]
        self.assertEqual(times, sorted(times))
        self.assertTrue(started - 0.001 <= times[0] and times[-1] <= time.time(), times)
        self.assertGreater(len({packet.microseconds % 1000 for packet in self.packets()}), 1)

    def test_hold_pins_only_on_demand(self):
        pins = b"1234".ljust(16, b"\0") + b"4321".ljust(16, b"\0")
        secrets = [(support.ENABLE_PIN, pins[:16], b"*" * 16), (support.MODIFY_PIN, pins, b"*" * 32),
                   (support.ENABLE_PIN, b"1234", b"****"),
                   (support.ID["at"], at_request(b"AT+CPIN=1234\r"), at_request(b"AT+CPIN=****\r")[:-1] + b"*"),
                   (support.ID["at"], b"AT+CPIN=1\r", b"*" * 10)]
        plain = [(support.ID["at"], at_request(b"AT+CSQ\r")), (support.SET_ROAMING, pack("I", 1))]
        for shows in (False, True):
            self.start(FILE, *(["--show-secrets"] if shows else []), count=len(secrets) + len(plain))
            for msg_id, body, *_ in secrets + plain:
                self.send(message(REQUEST, msg_id, body, 7))
            self.assert_captured(len(secrets) + len(plain))
            self.assertEqual(self.contents(), [
                *[self.content(message(REQUEST, msg_id, body if shows else masked, 7),
                               flags=0 if shows else captures.MASKED) for msg_id, body, masked in secrets],
                *[self.content(message(REQUEST, msg_id, body, 7)) for msg_id, body in plain]])
            self.manager.assert_left()

    def test_are_whole_after_a_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.start()
            self.send(message(ASYNC, CONNECT))
            support.eventually(lambda: len(self.contents()) == 1)  # written at once
            self.assertEqual(self.capture.end(number), (DONE, f"{FILE} packets=1\n", ""))
            self.assertEqual(self.contents(), [self.content(message(ASYNC, CONNECT))])
            self.manager.assert_left()

    def test_replace_others_when_there_is_something_to_capture(self):
        support.write_file("/tmp/target", b"earlier")
        os.chmod("/tmp/target", 0o640)
        os.symlink("/tmp/target", FILE)
        self.assertEqual(self.start_ltectl("bus", "capture", FILE, "--timeout", "1").finish()[0], support.NO_ANSWER)
        self.assertEqual(support.read_file(FILE), b"earlier")
        while self.manager.receive(0.1) is not None:
            pass
        self.start()
        self.assertEqual(self.contents(), [])
        self.capture.end()
        self.manager.assert_left()
        self.assertTrue(os.path.islink(FILE))
        self.assertEqual(os.stat(FILE).st_mode & 0o7777, 0o640)
        self.assertEqual([name for name in os.listdir("/tmp") if "target." in name], [])
        os.unlink(FILE)
        old = os.umask(0o27)
        try:
            self.start()
        finally:
            os.umask(old)
        self.capture.end()
        self.assertEqual(os.stat(FILE).st_mode & 0o7777, 0o640)

    def test_are_written_in_place_where_they_cannot_be_replaced(self):
        for path in (FILE, "/tmp/real"):
            support.write_file(path, b"x" * 100)
        subprocess.run(["mount", "--bind", "/tmp/real", FILE], check=True)
        self.addCleanup(subprocess.run, ["umount", FILE], check=True)
        inode = os.stat(FILE).st_ino
        self.start(count=1)
        self.send(message(ASYNC, CONNECT))
        self.assert_captured(1)
        self.assertEqual((self.contents(), os.stat(FILE).st_ino), ([self.content(message(ASYNC, CONNECT))], inode))

    def test_as_json(self):
        self.start(FILE, "--json", count=1)
        self.send(message(ASYNC, CONNECT))
        [told] = self.objects(self.capture.finish()[1])
        self.assertEqual(told, {"event": "captured", "file": FILE, "packets": 1})


class Streams(CaptureTest):
    def test_get_each_packet_as_it_comes(self):
        self.start("-", count=2)
        self.assertEqual(self.read_exactly(24), captures.file_header(ORDER))
        for number in (1, 2):
            expected = self.content(message(ASYNC, CONNECT, bytes(number)))
            self.send(message(ASYNC, CONNECT, bytes(number)))
            self.assertEqual(self.read_exactly(16 + len(expected))[16:], expected)
        self.assertEqual(self.capture.finish(), (DONE, "", ""))

    def test_end_with_their_reader(self):
        self.start("-")
        self.capture.out.close()
        self.assertEqual(self.capture.finish(), (DONE, "", ""))
        self.manager.assert_left()
        os.mkfifo(FILE)
        with open(os.open(FILE, os.O_RDONLY | os.O_NONBLOCK), "rb", buffering=0) as reader:
            self.start()
            self.assertEqual(self.read_exactly(24, reader), captures.file_header(ORDER))
        self.assertEqual(self.capture.finish()[::2], (DONE, ""))
        self.assertTrue(os.path.exists(FILE))

    def test_end_by_a_signal_while_nobody_reads(self):
        self.start("-")
        self.capture.fill()
        self.send(message(ASYNC, CONNECT))
        self.assertEqual(self.capture.end_unread(signal.SIGINT), DONE)
        self.manager.assert_left()

    def test_hold_nothing_but_packets_while_the_wan_manager_restarts(self):
        self.manager.close()
        wansim = self.start_wansim("--delay", "10")
        self.capture = self.start_ltectl("bus", "capture", "-")
        self.capture.err.next()
        wansim.dispose()
        self.assertEqual(self.capture.err.next(), "ltectl: the WAN manager is gone")
        self.start_wansim("--delay", "10")
        self.assertEqual(self.capture.err.next(), "ltectl: the WAN manager is back")
        self.capture.process.send_signal(signal.SIGINT)
        self.assertEqual(captures.parse(ORDER, self.capture.process.stdout.read()), [])


class Trouble(CaptureTest):
    LONG = 1008

    def mount_small(self, size):
        os.makedirs("/tmp/small", exist_ok=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}k", "none", "/tmp/small"], check=True)
        self.addCleanup(subprocess.run, ["umount", "/tmp/small"], check=True)

    def assert_full(self, shown, path, packets):
        self.assertEqual(self.capture.finish(), (
            FAILED, "", f"ltectl: cannot write {shown}: No space left on device; make room: df /tmp/small tells how full "
                        f"it is; {packets} packets are whole\n"))
        self.assertEqual(self.contents(path), [self.content(message(ASYNC, CONNECT, bytes(self.LONG)))] * packets)

    def test_a_full_disk(self):
        self.mount_small(8)
        path = "/tmp/small/captured"
        self.start(path)
        for _ in range(9):
            self.send(message(ASYNC, CONNECT, bytes(self.LONG)))
        self.assert_full(path, path, 7)
        self.manager.assert_left()

    def test_a_full_disk_behind_standard_output(self):
        """Behind what others have written there."""
        self.mount_small(8)
        support.write_file("/tmp/small/out", b"x" * 4096)
        self.capture = support.Background(self, "sh", "-c", '"$0" bus capture - >>/tmp/small/out & echo $!; wait $!',
                                          support.ltectl_program)
        self.address = self.manager.accept_registrations(3)
        self.name = f"lc_socket_cli1_{self.capture.out.next()}_common"
        self.capture.err.next()
        for _ in range(9):
            self.send(message(ASYNC, CONNECT, bytes(self.LONG)))
        status, _, errors = self.capture.finish()
        self.assertEqual((status, errors), (FAILED, "ltectl: cannot write standard output: No space left on device; make "
                                            "room: df /tmp/small tells how full it is; 3 packets are whole\n"))
        written = support.read_file("/tmp/small/out")
        self.assertEqual(written[:4096], b"x" * 4096)
        self.assertEqual([packet.content for packet in captures.parse(ORDER, written[4096:])],
                         [self.content(message(ASYNC, CONNECT, bytes(self.LONG)))] * 3)

    def test_a_disk_that_is_full_from_the_start_keeps_the_earlier_file(self):
        self.mount_small(4)
        support.write_file("/tmp/small/captured", b"x" * 4096)
        self.capture = self.start_ltectl("bus", "capture", "/tmp/small/captured")
        self.manager.accept_registrations(3)
        status, out, errors = self.capture.finish()
        self.assertEqual((status, out), (FAILED, ""))
        self.assertIn("cannot write /tmp/small/captured: No space left on device", errors)
        self.assertEqual((os.listdir("/tmp/small"), support.read_file("/tmp/small/captured")), (["captured"], b"x" * 4096))

    def test_without_a_right_or_a_folder(self):
        os.makedirs("/tmp/locked", exist_ok=True)
        os.chmod("/tmp/locked", 0o500)
        self.manager.close()
        self.start_wansim()
        self.assert_failed(support.without_rights("bus", "capture", "/tmp/locked/captured"), FAILED,
                           "cannot write /tmp/locked/captured: Permission denied; it takes root's rights")
        self.assert_fails("bus capture /tmp/nowhere/captured", "cannot write /tmp/nowhere/captured: No such file or directory")
        self.assert_fails("bus capture /tmp", "cannot write /tmp: Is a directory")
        self.assertEqual([name for name in os.listdir("/") if name.startswith("tmp.")], [])
        result = support.run("sh", "-c", '"$0" bus capture - >&-', support.ltectl_program)
        self.assert_failed(result, FAILED, "cannot write the answer: standard output is closed")

    def test_without_a_wan_manager(self):
        self.manager.close()
        self.assertEqual(ltectl("bus", "capture", FILE).returncode, NOBODY)
        self.assertFalse(os.path.exists(FILE))


if __name__ == "__main__":
    support.main()
