"""The endpoint with peers that do not use the library. usage: stranger_test.py SERVER CLIENT"""

import random
import subprocess
import sys
import threading
import unittest

import stranger
from stranger import (ASK_ECHO, ASK_HEAP, ASYNC, DEREGISTER, NOTIFY_ID, REGISTER, REQUEST, RESPONSE,
                      SERVER, STOP, TELL_PUBLISH, TELL_TEXT, Program, Stranger, SyslogListener, message,
                      pack, parse, unpack)

SERVER_PROGRAM, CLIENT_PROGRAM = sys.argv.pop(1), sys.argv.pop(1)


class LibraryServes(unittest.TestCase):
    """A library process is module 1; the stranger is whoever talks to it."""

    def setUp(self):
        # Without the per-thread cache, what is freed counts as free at once.
        self.server = Program([SERVER_PROGRAM], GLIBC_TUNABLES="glibc.malloc.tcache_count=0")
        self.assertEqual(self.server.line(), "ready")
        self.peer = Stranger()

    def tearDown(self):
        self.peer.close()
        self.assertEqual(self.server.terminate(), 0)

    def publish(self, text):
        self.peer.send(message(ASYNC, TELL_PUBLISH, text))

    def log(self):
        listener = SyslogListener()
        self.addCleanup(listener.close)
        return listener

    def test_a_stranger_is_answered_with_its_session_id(self):
        self.assertEqual(self.peer.ask(ASK_ECHO, b"hello"), b"hello")

    def test_the_largest_body_is_carried_both_ways(self):
        body = bytes(range(256)) * 3 + b"x" * 240
        self.assertEqual(len(body), 1008)
        self.assertEqual(self.peer.ask(ASK_ECHO, body), body)

    def test_answers_come_from_the_modules_own_name(self):
        self.peer.send(message(REQUEST, ASK_ECHO, b"", 1))
        self.assertEqual(self.peer.receive()[1], stranger.address(SERVER))

    def test_socat_is_answered_too(self):
        request = message(REQUEST, ASK_ECHO, b"from socat", 77)
        # socat pads neither name, so the server is reached at its full address through a relay socket.
        relay = Stranger("lc_socket_relay_common")
        result = subprocess.Popen(["socat", "-t1", "-", "ABSTRACT-SENDTO:relay,bind=asker"],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        short = stranger.socket.socket(stranger.socket.AF_UNIX, stranger.socket.SOCK_DGRAM)
        short.bind(b"\0relay")
        result.stdin.write(request)
        result.stdin.flush()
        datagram, asker = short.recvfrom(4096)
        relay.send(datagram)
        answer, _ = relay.receive()
        short.sendto(answer, asker)
        output, _ = result.communicate(timeout=20)
        short.close()
        relay.close()
        self.assertEqual(parse(output), (RESPONSE, ASK_ECHO, 77, b"from socat"))

    def test_a_registered_stranger_is_notified_until_it_deregisters(self):
        self.assertEqual(self.peer.register(), 0)
        self.publish(b"first")
        self.assertEqual(parse(self.peer.receive()[0]), (ASYNC, NOTIFY_ID, 0, b"first"))
        self.peer.send(message(ASYNC, DEREGISTER, pack("I", NOTIFY_ID)))
        self.publish(b"second")
        self.assertEqual(self.peer.ask(ASK_ECHO, b"after"), b"after")
        self.assertIsNone(self.peer.receive(0.2))

    def test_registering_twice_keeps_one_address(self):
        self.assertEqual(self.peer.register(), 0)
        self.assertEqual(self.peer.register(), 0)
        self.publish(b"once")
        self.assertEqual(parse(self.peer.receive()[0])[3], b"once")
        self.assertIsNone(self.peer.receive(0.2))

    def test_a_refused_identifier_is_answered_6(self):
        self.assertEqual(self.peer.register(0x61000000), 6)

    def test_register_requests_with_bad_bodies_are_answered_4(self):
        for body in (b"", b"abc", b"8 bytes!", b"x" * 1000):
            self.assertEqual(unpack("I", self.peer.ask(REGISTER, body))[0], 4, body)

    def test_an_asynchronous_register_request_is_answered_as_type_0(self):
        self.peer.send(message(ASYNC, REGISTER, pack("I", NOTIFY_ID), 9))
        self.assertEqual(parse(self.peer.receive()[0]), (ASYNC, REGISTER, 9, pack("I", 0)))

    def test_a_strangers_stop_message_does_not_stop(self):
        log = self.log()
        for datagram in (message(ASYNC, STOP), message(RESPONSE, STOP), message(ASYNC, STOP, b"body")):
            self.peer.send(datagram)
            self.assertIsNotNone(log.wait_for("Not invalid stop message!\n"))
            self.assertIsNotNone(log.wait_for("Receive common priority message failed! sret=4.\n"))
        self.assertEqual(self.peer.ask(ASK_ECHO, b"alive"), b"alive")

    def test_a_name_bound_short_is_not_the_servers_own(self):
        lookalike = stranger.socket.socket(stranger.socket.AF_UNIX, stranger.socket.SOCK_DGRAM)
        lookalike.bind(b"\0" + SERVER.encode())
        lookalike.sendto(message(ASYNC, STOP), stranger.address(SERVER))
        lookalike.close()
        self.assertEqual(self.peer.ask(ASK_ECHO, b"alive"), b"alive")

    def test_responses_with_unknown_session_ids_are_dropped(self):
        log = self.log()
        self.peer.send(message(RESPONSE, ASK_ECHO, b"nobody asked", 4711))
        self.assertIsNotNone(log.wait_for("Receive common priority message failed! sret=4.\n"))
        self.assertEqual(self.peer.ask(ASK_ECHO, b"alive"), b"alive")

    def test_datagrams_of_wrong_length_are_dropped_and_logged(self):
        log = self.log()
        cases = [b"x", b"x" * 15, message(ASYNC, ASK_ECHO, b"1234", length=8),
                 message(ASYNC, ASK_ECHO, b"x" * 1009), message(ASYNC, ASK_ECHO, b"x" * 3000),
                 pack("3I", ASYNC, ASK_ECHO, 2**32 - 4)]  # which comes to 12 with the length of a header
        for datagram in cases:
            self.peer.send(datagram)
            self.assertIsNotNone(log.wait_for("Message length mismatched! Received length is "), datagram)
        self.peer.send(b"")
        self.assertIsNotNone(log.wait_for("Orderly shutdown occured!\n"))
        self.assertEqual(self.peer.ask(ASK_ECHO, b"alive"), b"alive")

    def heap_bytes(self):
        """The least of several answers: one is given while the receive thread may still hold the buffer
        that it read the question into. None where the C library cannot tell."""
        answers = [self.peer.ask(ASK_HEAP) for _ in range(50)]
        if set(answers) == {b""}:
            return None
        return min(unpack("Q", answer)[0] for answer in answers)

    def test_100000_random_datagrams_leave_it_answering_and_leak_nothing(self):
        noise = Stranger("lc_socket_noise_common")
        rng = random.Random(20)
        # Its noise may subscribe it, which is no leak: done beforehand, it is counted beforehand.
        self.assertEqual(noise.register(), 0)
        drain = threading.Thread(target=read_until_bye, args=(noise.socket,))
        drain.start()
        before = self.heap_bytes()
        for _ in range(100_000):
            noise.send(random_datagram(rng))
        self.assertEqual(self.peer.ask(ASK_ECHO, b"alive"), b"alive")
        after = self.heap_bytes()
        self.peer.send(b"bye", "lc_socket_noise_common")
        drain.join()
        noise.close()
        if before is None:
            self.skipTest("it goes on answering, but this C library cannot tell how much memory it holds")
        self.assertEqual(after, before)


def read_until_bye(sock):
    """Answers that nobody reads would block their sender."""
    while sock.recv(4096) != b"bye":
        pass


def random_datagram(rng):
    """Bytes of any length, or a message whose words are wrong in an interesting way."""
    if rng.random() < 0.3:
        return rng.randbytes(rng.randrange(1200))
    body = rng.randbytes(rng.choice((0, 1, 3, 4, 5, 8, 100, 1008, 1009)))
    ids = (STOP, REGISTER, DEREGISTER, ASK_ECHO, 0x5000FFFF, rng.getrandbits(32))
    length = len(body) if rng.random() < 0.8 else rng.getrandbits(32)
    return message(rng.choice((0, 1, 2, 3, rng.getrandbits(32))), rng.choice(ids), body,
                   rng.randrange(8), length)


class StrangerServes(unittest.TestCase):
    """The stranger is module 1; a library process is its client."""

    def setUp(self):
        self.peer = Stranger(SERVER)
        self.client = Program([CLIENT_PROGRAM])

    def tearDown(self):
        self.assertEqual(self.client.end(), 0)
        self.peer.close()

    def test_the_client_binds_a_name_of_its_own_process(self):
        self.client.write("ask 5000 100 hello")
        request = self.peer.take()
        name = f"lc_socket_cli1_{self.client.process.pid}_common"
        self.assertEqual(request[4], stranger.address(name))
        self.peer.respond(request, b"")
        self.assertEqual(self.client.line(), "0 0 ")

    def test_a_stranger_answers_a_request_of_type_1(self):
        self.client.write("ask 5000 100 hello")
        request = self.peer.take()
        self.assertEqual(request[:4], (REQUEST, ASK_ECHO, 1, b"hello"))
        self.peer.respond(request, b"answer")
        self.assertEqual(self.client.line(), "0 6 answer")

    def test_an_answer_longer_than_the_room_gives_5_and_its_beginning(self):
        self.client.write("ask 5000 4 hello")
        self.peer.respond(self.peer.take(), b"answer")
        self.assertEqual(self.client.line(), "5 4 answ")

    def test_a_wrong_session_id_is_not_taken_for_the_answer(self):
        self.client.write("ask 5000 100 hello")
        request = self.peer.take()
        self.peer.respond(request, b"wrong", session=request[2] + 1)
        self.peer.respond(request, b"right")
        self.assertEqual(self.client.line(), "0 5 right")

    def test_a_late_answer_is_dropped_and_the_next_request_still_matches(self):
        self.client.write("ask 1000 100 first")
        first = self.peer.take()
        self.assertEqual(self.client.line(), "7 100 ")
        self.peer.respond(first, b"too late")
        self.client.write("ask 5000 100 second")
        second = self.peer.take()
        self.assertEqual(second[2], first[2] + 1)
        self.peer.respond(second, b"in time")
        self.assertEqual(self.client.line(), "0 7 in time")

    def test_asynchronous_messages_arrive_as_type_0(self):
        self.assertEqual(self.client.command("tell hello"), "0")
        self.assertEqual(self.peer.take()[:4], (ASYNC, TELL_TEXT, 1, b"hello"))

    def test_the_register_request_and_each_of_its_answers(self):
        for result in (0, 4, 6, 11):
            self.client.write("register 12345678")
            request = self.peer.take()
            self.assertEqual(request[0:2], (REQUEST, REGISTER))
            self.assertEqual(request[3], pack("I", 0x12345678))
            self.peer.respond(request, pack("I", result))
            self.assertEqual(self.client.line(), str(result))

    def test_an_answer_without_a_result_is_no_success(self):
        self.client.write("register 1")
        self.peer.respond(self.peer.take(), b"")
        self.assertEqual(self.client.line(), "4")

    def test_the_deregister_request_has_type_0_and_no_answer(self):
        self.assertEqual(self.client.command("deregister 12345678"), "0")
        self.assertEqual(self.peer.take()[:4], (ASYNC, DEREGISTER, 1, pack("I", 0x12345678)))

    def test_nobody_there_is_10_at_once(self):
        self.peer.close()
        self.assertEqual(self.client.command("ask 60000 100 hello"), "10 100 ")
        self.peer = Stranger(SERVER)


if __name__ == "__main__":
    unittest.main(verbosity=2)
