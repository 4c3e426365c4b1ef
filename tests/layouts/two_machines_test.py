"""Programs of two machines on one kernel, their native orders of bytes different: files that both use are the
same to the byte; messages are the same in each machine's own words.

usage: two_machines_test.py LTECTL WANSIM NATIVE_LTECTL NATIVE_WANSIM
"""

import os
import re
import struct
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools"))
import support  # noqa: E402
from support import (CONNECT, CONNECTED, DISCONNECTED, GET_ROAMING, IFACE_BODY, IFACE_STATUS,  # noqa: E402
                     LINK_BODY, LINK_STATUS, MODEM, SET_ROAMING, STORE, TIMEOUT, stranger)
from stranger import ASYNC, DEREGISTER, HEADER, REGISTER, REQUEST, RESPONSE, SERVER  # noqa: E402

LINK_WORDS = 20  # what a link status has before its texts
TRACE = support.TRACE


class Machine(stranger.Words):
    """The programs of one machine, and its words."""

    def __init__(self, byte_order, ltectl, wansim):
        super().__init__({"big": ">", "little": "<"}[byte_order])
        self.byte_order, self.ltectl, self.wansim = byte_order, ltectl, wansim

    def __str__(self):
        return f"{self.byte_order} endian"

    def run(self, test, *arguments):
        """Runs its ltectl to the end; what that printed."""
        status, out, err = support.Background(test, self.ltectl, *arguments).finish()
        test.assertEqual((status, err), (support.DONE, ""), arguments)
        return out


def swapped(data):
    """The words of one byte order in the other."""
    return struct.pack(f"<{len(data) // 4}I", *struct.unpack(f">{len(data) // 4}I", data))


class Peer(stranger.Stranger):
    """A process of whichever machine it is told, and the only one under its name."""

    def __init__(self, test, name):
        super().__init__(name)
        self.test = test
        test.addCleanup(self.close)

    def datagram(self):
        """The next, as it came, which must."""
        received = self.receive(TIMEOUT)
        self.test.assertIsNotNone(received, "nothing came")
        return received[0]

    def serve(self, machine, count, answers):
        """Takes this many datagrams, answering each request with the words for its identifier; the datagrams
        and the address of the last sender."""
        datagrams = []
        for _ in range(count):
            taken = self.take(machine)
            kind, msg_id, session, body, sender = taken
            if kind == REQUEST:
                self.respond(taken, machine.pack(f"{len(answers[msg_id])}I", *answers[msg_id]), machine)
            datagrams.append(machine.message(kind, msg_id, body, session))
        return datagrams, sender

    def assert_quiet(self):
        self.test.assertIsNone(self.receive(0))


class TwoMachines(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        if os.path.exists(TRACE):
            os.unlink(TRACE)

    def taken_trace(self):
        """What stands in the trace file, which then begins anew."""
        trace = support.read_file(TRACE)
        os.unlink(TRACE)
        return trace

    def assert_same_words(self, datagrams):
        """Of one machine and of the other: the same but for the order of bytes in each word."""
        ours, theirs = datagrams
        self.assertNotEqual(ours, theirs)
        self.assertEqual([swapped(datagram) for datagram in ours], theirs)


class Parameters(TwoMachines):
    VALUES = ("sim_ready", "", "18", "two\nlines", "grüße €", "\x01\x7f", "v" * 2047)

    def test_what_one_machine_writes_the_other_reads(self):
        for writer, reader in (machines, machines[::-1]):
            for value in self.VALUES:
                with self.subTest(f"{writer} to {reader}", value=value):
                    writer.run(self, "ram", "set", "wm_test", value)
                    self.assertEqual(support.parameter("wm_test"), value.encode() + b"\0")
                    self.assertEqual(reader.run(self, "ram", "get", "wm_test"), value + "\n")

    def test_one_machine_replaces_what_the_other_wrote(self):
        for first, second in (machines, machines[::-1]):
            first.run(self, "ram", "set", "wm_test", "a longer value")
            inode = os.stat(STORE + "wm_test").st_ino
            second.run(self, "ram", "set", "wm_test", "short")
            self.assertEqual(support.parameter("wm_test"), b"short\0")
            self.assertEqual(os.stat(STORE + "wm_test").st_ino, inode)

    def test_both_make_the_same_file(self):
        for machine in machines:
            machine.run(self, "ram", "set", machine.byte_order, "18")
        ours, theirs = (machine.byte_order for machine in machines)
        self.assertEqual(support.parameter(ours), support.parameter(theirs))
        self.assertEqual(os.stat(STORE + ours).st_mode, os.stat(STORE + theirs).st_mode)

    def test_both_list_what_both_have_stored(self):
        machines[0].run(self, "ram", "clear")
        for machine in machines:
            machine.run(self, "ram", "set", machine.byte_order, "1")
        for machine in machines:
            self.assertEqual(machine.run(self, "ram", "list"), "big=1\nlittle=1\n")


class Requests(TwoMachines):
    """What a client sends to a WAN manager."""

    ANSWERS = {GET_ROAMING: (0, 1), SET_ROAMING: (0,)}

    def roam(self, machine, answers, *arguments):
        """Has a client ask; its one datagram and how it ended."""
        manager = Peer(self, SERVER)
        client = support.Background(self, machine.ltectl, "roam", *arguments)
        datagrams, _ = manager.serve(machine, 1, answers)
        ended = client.finish()
        manager.assert_quiet()
        manager.close()
        return datagrams[0], ended

    def test_every_word_is_in_the_machines_own_order(self):
        for machine in machines:
            with self.subTest(str(machine)):
                datagram, ended = self.roam(machine, self.ANSWERS, "on")
                self.assertEqual(machine.words(datagram), (REQUEST, SET_ROAMING, 4, 1, 1))
                self.assertEqual(datagram[:4], (1).to_bytes(4, machine.byte_order))
                self.assertEqual(ended, (support.DONE, "roaming on\n", ""))

    def test_machines_send_the_same_but_for_the_order_of_bytes(self):
        for arguments in (["on"], []):
            with self.subTest(arguments):
                conversations = [self.roam(machine, self.ANSWERS, *arguments) for machine in machines]
                self.assert_same_words([[datagram] for datagram, _ in conversations])
                self.assertEqual(conversations[0][1], conversations[1][1])

    def test_machines_trace_the_same(self):
        for answer, text in (((0, 0x80000000), b"get roam switch value:-2147483648\n\n"),
                             ((0xFFFFFFFF, 1), b"result error.\n\n")):
            with self.subTest(text):
                traces = []
                for machine in machines:
                    self.roam(machine, {GET_ROAMING: answer})
                    traces.append(self.taken_trace())
                self.assertIn(text, traces[0])
                self.assertEqual(traces[0], traces[1])


class Events(TwoMachines):
    """What a client makes of notifications."""

    ARRIVALS = [IFACE_STATUS, LINK_STATUS, MODEM, LINK_STATUS]

    def link_status(self, machine, status):
        texts = struct.pack("16s18s18s18s18s18s", b"wwan0", *map(str.encode, support.LINK_ADDRESSES))
        return (machine.pack("5I", 2, 0, status, 1, 0) + texts).ljust(LINK_BODY, b"\0")

    def monitor(self, machine):
        """What a client prints of three events, what it traces, and its datagrams."""
        manager = Peer(self, SERVER)
        client = support.Background(self, machine.ltectl, "monitor", "--count", "3")
        arrivals, address = manager.serve(machine, len(self.ARRIVALS), {REGISTER: (0,)})
        for msg_id, body in ((IFACE_STATUS, machine.pack("2I", 0, 1).ljust(IFACE_BODY, b"\0")),
                             (LINK_STATUS, self.link_status(machine, CONNECTED)),
                             (MODEM, b""),
                             (LINK_STATUS, self.link_status(machine, DISCONNECTED))):
            manager.send(machine.message(ASYNC, msg_id, body), address)
        departures, _ = manager.serve(machine, len(set(self.ARRIVALS)), {})
        status, out, _ = client.finish()
        self.assertEqual(status, support.DONE)
        manager.assert_quiet()
        manager.close()
        return out, self.taken_trace(), arrivals + departures

    def test_subscriptions_are_in_the_machines_own_words(self):
        for machine in machines:
            with self.subTest(str(machine)):
                datagrams = self.monitor(machine)[2]
                expected = [(REQUEST, REGISTER, 4, session, msg_id)
                            for session, msg_id in enumerate(self.ARRIVALS, 1)]
                arrived = len(self.ARRIVALS)
                self.assertEqual([machine.words(datagram) for datagram in datagrams[:arrived]], expected)
                self.assertEqual([machine.words(datagram)[:3] for datagram in datagrams[arrived:]],
                                 [(ASYNC, DEREGISTER, 4)] * len(set(self.ARRIVALS)))

    def test_words_are_swapped_and_texts_are_not(self):
        printed, traces, conversations = zip(*(self.monitor(machine) for machine in machines))
        self.assert_same_words(conversations)
        self.assertEqual(printed[0], f"interface ready name=WM_READY\n{support.CONNECTED_LINE}\n"
                                     "link disconnected name=WM_DISCONNECTED\n")
        self.assertEqual(printed[0], printed[1])
        self.assertIn(b"]mask:255.255.255.252\n\n", traces[0])
        self.assertEqual(traces[0], traces[1])


class Manager(TwoMachines):
    """What a WAN manager sends and logs."""

    def start(self, machine):
        manager = support.Background(self, machine.wansim, "--delay", "0")
        self.assertIn(SERVER, manager.out.next())
        return manager

    def notifications(self, machine):
        """What a subscriber gets while the link comes up."""
        manager = self.start(machine)
        client = Peer(self, "lc_socket_cgi_common")
        for session, msg_id in enumerate((IFACE_STATUS, LINK_STATUS), 1):
            client.send(machine.message(REQUEST, REGISTER, machine.pack("I", msg_id), session))
            self.assertEqual(machine.words(client.datagram()), (RESPONSE, REGISTER, 4, session, 0))
        client.send(machine.message(ASYNC, CONNECT))
        datagrams = [client.datagram() for _ in range(3)]
        self.assertEqual(manager.end()[0], support.DONE)
        client.close()
        return datagrams

    def test_words_are_swapped_and_texts_are_not(self):
        ours, theirs = ([datagram[HEADER:] for datagram in self.notifications(machine)]
                        for machine in machines)
        self.assertEqual([len(body) for body in ours], [IFACE_BODY, LINK_BODY, LINK_BODY])
        self.assert_same_words(([ours[0]], [theirs[0]]))
        self.assert_same_words([[body[:LINK_WORDS] for body in bodies[1:]] for bodies in (ours, theirs)])
        self.assertEqual([body[LINK_WORDS:] for body in ours[1:]],
                         [body[LINK_WORDS:] for body in theirs[1:]])
        self.assertEqual(ours[2][LINK_WORDS:LINK_WORDS + 16], b"wwan0".ljust(16, b"\0"))

    def test_headers_are_the_same_but_for_the_order_of_bytes(self):
        ours, theirs = ([datagram[:HEADER] for datagram in self.notifications(machine)]
                        for machine in machines)
        self.assertEqual([machines[0].words(header)[:3] for header in ours],
                         [(ASYNC, IFACE_STATUS, IFACE_BODY)] + [(ASYNC, LINK_STATUS, LINK_BODY)] * 2)
        self.assert_same_words((ours, theirs))

    def complaints(self, machine):
        """What a WAN manager logs about datagrams that are none."""
        log = stranger.SyslogListener("WanManager", "ERROR")
        manager = self.start(machine)
        client = Peer(self, "lc_socket_cgi_common")
        lines = []
        for datagram in (b"short", machine.message(ASYNC, CONNECT, length=0xFFFFFFFC)):
            client.send(datagram)
            lines += log.wait_for("Receive common priority message failed!") or self.fail("no log line")
        self.assertEqual(manager.end()[0], support.DONE)
        client.close()
        log.close()
        return [re.sub(r"^(<\d+>)\w{3} [ \d]\d \d\d:\d\d:\d\d ", r"\1", line) for line in lines]

    def test_machines_log_the_same(self):
        ours, theirs = (self.complaints(machine) for machine in machines)
        self.assertRegex("".join(ours), "<11>03WanManager: .*message header is 4294967292\n")
        self.assertEqual(ours, theirs)


if __name__ == "__main__":
    under_test = {"BIG_ENDIAN": "big", "LITTLE_ENDIAN": "little"}[os.environ["LTEROUTER_BYTE_ORDER"]]
    machines = [Machine(under_test, *sys.argv[1:3]), Machine(sys.byteorder, *sys.argv[3:5])]
    unittest.main(argv=sys.argv[:1], verbosity=2)
