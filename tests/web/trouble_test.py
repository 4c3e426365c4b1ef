"""lteweb when something goes wrong: the WAN manager, ltectl, memory, the disk, its clients, its own end.

usage: trouble_test.py LTECTL WANSIM LTEWEB"""

import fcntl
import json
import os
import signal
import socket
import time

import web
from web import BYTES, DONE, WebTest, eventually, support

NO_ANSWER, NOBODY = support.NO_ANSWER, support.NOBODY


def connect_link():
    """As soon as there is a WAN manager."""
    eventually(lambda: support.ltectl("connect", "--wait", "10").returncode == DONE)


class Manager(WebTest):
    def test_none_is_there(self):
        self.start(manager=False)
        stream = self.listen()
        stream.until("manager", status="gone")
        code, objects, message = self.command(self.get("/api/status"))
        self.assertEqual((code, [o["event"] for o in objects]), (NOBODY, ["status"]))
        self.assertIn("WAN manager", message)
        self.log_in()
        self.assertEqual(self.command(self.post("/api/connect"))[0], NOBODY)

    def test_it_ends_and_comes_back(self):
        self.start()
        self.log_in()
        stream = self.listen()
        stream.until("manager", status="back")
        self.manager.process.kill()
        self.manager.process.wait()
        stream.until("manager", status="gone")
        self.assertEqual(self.command(self.get("/api/channel"))[0], NOBODY)
        self.manager = self.start_wansim("--delay", "0", "--quiet")
        stream.until("manager", status="back")
        self.post("/api/connect")
        stream.until("link", status="connected")

    def test_a_link_that_was_there_before(self):
        """Its addresses are those of the interface, if that is there."""
        self.manager = self.start_wansim("--delay", "0", "--quiet")
        connect_link()
        known = {"event": "link", "status": "connected", "name": "CONN_CONNECTED"}
        for interface, addresses in (("lo", {"interface": "lo", "ip": "127.0.0.1", "mask": "255.0.0.0"}),
                                     ("nowhere0", {})):
            self.start("--interface", interface, manager=False)
            self.assertEqual(self.listen().until("link"), {**known, **addresses})
            self.end()

    def test_a_link_that_is_made_before_it_is_found_again(self):
        self.start("--interface", "lo")
        stream = self.listen()
        for gone in True, False:
            stream.until("link", status="disconnected")
            self.manager.process.kill()
            self.manager.process.wait()
            if gone:
                stream.until("manager", status="gone")
            self.manager = self.start_wansim("--delay", "0", "--quiet")
            connect_link()
            self.assertIn("ip", stream.until("link", status="connected"))
            support.ltectl("disconnect", "--wait", "10")

    def test_it_is_stopped(self):
        """Requests to it time out by ltectl; everything else is as fast as ever, until too many wait."""
        self.start()
        self.log_in()
        stream = self.listen()
        stream.until("manager", status="back")
        self.manager.stop()
        waiting = [self.connect() for _ in range(6)]
        for connection in waiting:
            connection.sendall(b"GET /api/channel HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
        eventually(lambda: len(self.children()) == 6)
        busy = self.ask("GET", "/api/channel")
        self.assertEqual((busy.status, busy.headers["Retry-After"]), (503, "1"))
        self.done(self.get("/api/log"))  # there is room left for who has logged in
        begun = time.monotonic()
        for path in ("/", "/api/session", "/api/history", "/api/jobs"):
            self.assertEqual(self.get(path).status, 200)
        self.assertLess(time.monotonic() - begun, 2)
        stream.until("manager", status="gone")
        for connection in waiting:
            reply = b""
            while part := connection.recv(65536):
                reply += part
            answer = json.loads(reply.partition(b"\r\n\r\n")[2])
            self.assertEqual((answer["exit"], answer["objects"]), (NO_ANSWER, []))
        self.manager.process.send_signal(signal.SIGCONT)
        stream.until("manager", status="back")
        self.assertEqual(self.done(self.get("/api/channel"))[0]["value"], 1300)

    def test_one_that_hangs_is_asked_rarely(self):
        """Each question stays in its queue, which would soon be too full for other processes."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(support.stranger.address(support.SOCKET))
            self.start(manager=False)
            manager.settimeout(10)
            for _ in range(4):  # the library's three attempts, and the first look
                manager.recv(1024)
            manager.settimeout(8)
            self.assertRaises(TimeoutError, manager.recv, 1024)


class Ltectl(WebTest):
    def test_it_is_not_there(self):
        self.start(manager=False, ltectl="/nowhere/ltectl")
        for path in ("/api/status", "/api/bus"):
            self.assertEqual(self.get(path).status, 502)
        self.log_in()
        self.assertEqual(self.post("/api/scan").status, 502)
        self.assertEqual(self.post("/api/upgrade", b"x" * 3000, BYTES).status, 502)
        self.assertEqual(self.get("/api/jobs").json()["scan"], {"running": False})

    def test_it_is_no_program(self):
        support.write_file("/tmp/ltectl", b"no program")
        self.start(manager=False, ltectl="/tmp/ltectl")
        self.assertEqual(self.get("/api/status").status, 502)

    def test_it_hangs(self):
        self.start(manager=False, ltectl=self.fake("trap '' TERM\nwhile :; do sleep 1; done"))
        begun = time.monotonic()
        reply = self.get("/api/status")
        self.assertEqual((reply.status, reply.json()), (504, {"error": "ltectl did not end in time"}))
        self.assertTrue(20 <= time.monotonic() - begun < 30)

    def test_it_dies(self):
        self.start(manager=False, ltectl=self.fake('echo \'{"event":"x"}\'\necho oh >&2\nkill -SEGV $$'))
        self.assertEqual(self.command(self.get("/api/status")), (128 + signal.SIGSEGV, [{"event": "x"}], "oh\n"))

    def test_it_says_too_much(self):
        self.start(manager=False, ltectl=self.fake('echo \'{"event":"x"}\'\nexec yes \'{"event":"x"}\''))
        self.assertEqual(self.get("/api/status").status, 502)
        self.assertEqual(self.children(), [])

    def test_it_complains_too_much(self):
        self.start(manager=False, ltectl=self.fake("i=0\nwhile [ $i -lt 2000 ]; do echo complaint $i >&2; "
                                                   "i=$((i + 1)); done\nexit 1"))
        code, _, message = self.command(self.get("/api/status"))
        self.assertEqual(code, 1)
        self.assertTrue(message.startswith("complaint 0\ncomplaint 1\n"))
        self.assertLessEqual(len(message), 8192)

    def test_it_says_what_is_no_object(self):
        self.start(manager=False, ltectl=self.fake('printf \'{"event":"x"}\\ntext\\n[1]\\n\\n{"event":"y"}\''))
        self.assertEqual(self.done(self.get("/api/status")), [{"event": "x"}, {"event": "y"}])

    def test_it_does_not_read(self):
        self.start(manager=False, ltectl=self.fake("exit 3"))
        self.log_in()
        self.assertEqual(self.command(self.post("/api/nv/import", b"x" * 262144, BYTES))[0], 3)
        self.assert_serves()

    def test_it_reads_slowly(self):
        self.start(manager=False, ltectl=self.fake("sleep 1\nn=$(wc -c)\nprintf '{\"n\":%s}\\n' \"$n\""))
        self.log_in()
        self.assertEqual(self.done(self.post("/api/nv/import", b"x" * 262144, BYTES)), [{"n": 262144}])

    def test_it_is_ended_when_nobody_waits_for_what_it_reads(self):
        self.start(manager=False, ltectl=self.fake("exec sleep 100"))
        connection = self.connect()
        connection.sendall(b"GET /api/status HTTP/1.1\r\nHost: localhost\r\n\r\n")
        eventually(self.children)
        connection.close()
        eventually(lambda: not self.children())

    def test_it_goes_on_with_a_change(self):
        self.start(manager=False, ltectl=self.fake("sleep 1\n>/tmp/changed"))
        self.log_in()
        connection = self.connect()
        connection.sendall("\r\n".join(["POST /api/connect HTTP/1.1", "Host: localhost", "Content-Length: 0",
                                       *(f"{name}: {value}" for name, value in self.credentials().items()), "", ""])
                           .encode())
        eventually(self.children)
        connection.close()
        eventually(lambda: os.path.exists("/tmp/changed"))

    def test_it_inherits_no_descriptor(self):
        self.start(manager=False, ltectl=self.fake_python(
            "import os\nfor fd in os.listdir('/proc/self/fd'):\n"
            " try: print('{\"fd\":%s}' % fd, flush=True) if os.fstat(int(fd)) else 0\n except OSError: pass\n"))
        self.listen()
        self.assertEqual(sorted(o["fd"] for o in self.done(self.get("/api/status"))), [0, 1, 2])


class Disk(WebTest):
    def test_an_image_for_which_there_is_no_room(self):
        os.makedirs("/tmp/small", exist_ok=True)
        self.mount_small("/tmp/small", 64)
        self.start("--image-folder", "/tmp/small", manager=False, ltectl=self.fake("exit 0"))
        self.log_in()
        reply = self.post("/api/upgrade", b"x" * 200000, BYTES)
        self.assertEqual((reply.status, reply.json()), (507, {"error": "there is no room for the image"}))
        self.assertEqual((os.listdir("/tmp/small"), self.children()), ([], []))
        self.assertEqual(self.post("/api/upgrade", b"x" * 20000, BYTES).status, 202)
        eventually(lambda: not self.get("/api/jobs").json()["upgrade"]["running"])
        self.assertEqual(os.statvfs("/tmp/small").f_bfree, os.statvfs("/tmp/small").f_blocks)
        self.end()

    def test_no_folder_for_the_image(self):
        self.start("--image-folder", "/nowhere", manager=False)
        self.log_in()
        self.assertEqual(self.post("/api/upgrade", b"x" * 3000, BYTES).status, 507)

    def test_an_image_that_is_too_large(self):
        self.start("--image-limit", "1", manager=False)
        self.log_in()
        headers = {**self.credentials(BYTES), "Content-Length": str(1024 * 1024 + 1)}
        self.assertEqual(self.ask("POST", "/api/upgrade", None, headers).status, 413)

    def test_a_client_that_goes_during_the_upload(self):
        self.start(manager=False)
        self.log_in()
        before = self.settled_descriptors()
        connection = self.connect()
        head = "".join(f"{name}: {value}\r\n" for name, value in self.credentials(BYTES).items())
        connection.sendall(f"POST /api/upgrade HTTP/1.1\r\nHost: localhost\r\nContent-Length: 100000\r\n{head}\r\n"
                           .encode() + b"x" * 5000)
        eventually(lambda: self.descriptors() >= before + 2)
        connection.close()
        eventually(lambda: self.descriptors() <= before)
        self.assertEqual(self.children(), [])


class Clients(WebTest):
    def test_one_that_does_not_read_its_events(self):
        """Its stream is ended when its buffer is full; the others get every event."""
        self.start("--sample", "1", ltectl=self.fake(
            'i=0; while [ $i -lt 3000 ]; do printf \'{"event":"x","number":%d,"filling":"%0200d"}\\n\' $i 0; '
            'i=$((i + 1)); [ $((i % 20)) -ne 0 ] || sleep 0.01; done'))
        self.log_in()
        deaf = socket.socket()
        self.addCleanup(deaf.close)
        deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        deaf.connect(("127.0.0.1", self.port))
        deaf.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
        stream = self.listen()
        stream.until("manager")
        before = self.resident_kib()
        self.assertEqual(self.post("/api/scan").status, 202)
        numbers = []
        stream.until("job")
        while "exit" not in (event := stream.until("job")):
            numbers.append(event["object"]["number"])
        self.assertEqual(numbers, list(range(3000)))
        if not web.SANITIZED:
            self.assertLess(self.resident_kib() - before, 1024)
        # What the kernel has taken in comes, and then the end, since more was lost.
        time.sleep(16)
        got = b""
        deaf.settimeout(20)
        try:
            while part := deaf.recv(65536):
                got += part
        except ConnectionError:
            pass
        self.assertLess(got.count(b"event: job"), 3000)

    def test_more_listeners_than_there_is_room_for(self):
        self.start(manager=False)
        streams = [self.listen() for _ in range(12)]
        self.assertEqual([s.status for s in streams], [200] * 12)
        refused = self.get("/api/events")
        self.assertEqual((refused.status, refused.headers["Retry-After"]), (503, "5"))
        streams[3].socket.close()
        streams[3].response.close()
        eventually(lambda: self.listen().status == 200)
        self.log_in()
        self.assertEqual([self.listen(self.cookie).status for _ in range(5)], [200] * 4 + [503])

    def test_closing_in_every_state_leaves_nothing_behind(self):
        self.start(ltectl=self.fake("sleep 0.5"))
        self.get("/api/status")
        before = self.settled_descriptors()
        requests = (b"", b"GET", b"GET /api/status HTTP/1.1\r\nHost: localhost\r\n\r\n",
                    b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n",
                    b"POST /api/login HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
                    b"Content-Length: 100\r\n\r\n{")
        for _ in range(10):
            for request in requests:
                connection = self.connect()
                connection.sendall(request)
                time.sleep(0.01)
                connection.close()
        eventually(lambda: self.descriptors() <= before)
        self.assertEqual(self.get("/api/status").status, 200)

    def test_several_requests_on_one_connection(self):
        self.start()
        connection = web.http.client.HTTPConnection("127.0.0.1", self.port, timeout=support.TIMEOUT)
        self.addCleanup(connection.close)
        for path in ("/", "/api/status", "/api/session", "/nowhere", "/api/channel") * 3:
            connection.request("GET", path)
            reply = web.Reply(connection.getresponse())
            self.assertEqual(reply.status, 404 if path == "/nowhere" else 200, path)


class OtherUpgrades(WebTest):
    """An upgrade that this server has not begun: a server before it has, or somebody in a shell."""

    def test_one_is_told_and_keeps_others_out(self):
        self.start(manager=False)
        self.log_in()
        stream = self.listen()
        stream.until("manager")
        with open("/tmp/ltectl-upgrade.lock", "w") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assertEqual(stream.until("job"), {"job": "upgrade", "running": True})
            self.assertEqual(self.get("/api/jobs").json()["upgrade"], {"running": True})
            self.assertEqual(self.post("/api/upgrade", b"x" * 3000, BYTES).status, 409)
        self.assertEqual(stream.until("job"), {"job": "upgrade", "running": False})
        self.assertEqual(self.post("/api/upgrade", b"x" * 3000, BYTES).status, 202)

    def test_only_one_image_is_taken_at_a_time(self):
        self.start(manager=False, ltectl=self.fake("cat >/dev/null"))
        self.log_in()
        head = "\r\n".join(["POST /api/upgrade HTTP/1.1", "Host: localhost", "Content-Length: 3000",
                            *(f"{name}: {value}" for name, value in self.credentials(BYTES).items()), "", ""])
        connection = self.connect()
        connection.sendall(head.encode() + b"x" * 1000)
        eventually(lambda: self.post("/api/upgrade", b"x" * 3000, BYTES).status == 409)
        connection.close()
        eventually(lambda: self.post("/api/upgrade", b"x" * 3000, BYTES).status == 202)


class Network(WebTest):
    def serve(self, address, *options):
        self.server = web.Background(self, web.LTEWEB, "--json", "--listen", f"{address}:0", "--ltectl", "/nowhere",
                                     *options)
        self.port = json.loads(self.server.out.next())["port"]

    def test_a_reader_that_is_out_of_reach(self):
        """His stream keeps its place until nothing has been heard of him for half a minute, not for a quarter of an hour."""
        here, there = "10.77.0.1", "10.77.0.2"
        for address in here, there:
            support.subprocess.run(["ip", "address", "add", address, "dev", "lo"], check=True)
        self.serve(here, "--sample", "1")
        before = self.settled_descriptors()
        reader = socket.create_connection((here, self.port), support.TIMEOUT, (there, 0))
        self.addCleanup(reader.close)
        reader.sendall(f"GET /api/events HTTP/1.1\r\nHost: {here}\r\n\r\n".encode())
        self.assertTrue(reader.recv(100))
        self.assertGreater(self.descriptors(), before)
        support.subprocess.run(["ip", "address", "del", f"{there}/32", "dev", "lo"], check=True)
        begun = time.monotonic()
        while self.descriptors() > before:
            self.assertLess(time.monotonic() - begun, 60)
            time.sleep(0.5)
        self.assertGreater(time.monotonic() - begun, 20)


class Ending(WebTest):
    def test_with_listeners_and_work_under_way(self):
        for number in signal.SIGTERM, signal.SIGINT:
            self.start(ltectl=self.fake("exec sleep 100"))
            streams = [self.listen() for _ in range(3)]
            connection = self.connect()
            connection.sendall(b"GET /api/status HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
            eventually(self.children)
            begun = time.monotonic()
            status, out, errors = self.server.end(number)
            self.assertEqual((status, errors), (DONE, ""))
            self.assertEqual(json.loads(out.splitlines()[-1]), {"event": "ended"})
            self.assertLess(time.monotonic() - begun, 5)
            for stream in streams:
                while stream.next():
                    pass
            self.assertIn(b'"exit":143', connection.recv(65536))
            self.manager.end()

    def test_while_the_wan_manager_is_stopped(self):
        self.start()
        self.listen().until("manager", status="back")
        self.manager.stop()
        time.sleep(2.5)
        begun = time.monotonic()
        status, _, _ = self.server.end()
        self.assertEqual(status, DONE)
        self.assertLess(time.monotonic() - begun, 5)

    def test_an_upgrade_goes_on(self):
        self.start(manager=False, ltectl=self.fake("sleep 2\ncat >/tmp/received\necho '{\"event\":\"x\"}'"))
        self.log_in()
        self.assertEqual(self.post("/api/upgrade", b"image" * 1000, BYTES).status, 202)
        self.assertLess(self.end(), 2)
        self.assertFalse(os.path.exists("/tmp/received"))
        eventually(lambda: os.path.exists("/tmp/received") and os.path.getsize("/tmp/received") == 5000)

    def test_another_one_at_the_same_address(self):
        self.start()
        self.log_in()
        stream = self.listen()
        stream.until("manager")
        port = self.port
        self.end()
        self.start(manager=False, port=port)
        self.assertEqual(self.port, port)
        self.assertEqual(self.get("/api/session").json()["login"], False)
        self.listen().until("manager", status="back")

    def test_it_is_killed(self):
        self.start(manager=False)
        self.listen()
        port = self.port
        self.server.process.kill()
        self.server.process.wait()
        self.start(manager=False, port=port)
        self.assert_serves()


if __name__ == "__main__":
    web.main()
