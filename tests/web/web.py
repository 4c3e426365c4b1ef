"""Running lteweb beside wansim, and talking to it as a browser does."""

import contextlib
import http.client
import json
import os
import resource
import socket
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools"))
import support  # noqa: E402
from support import DONE, Background, NvTest, eventually, read_file, write_file  # noqa: E402

LTEWEB = sys.argv[3]
SANITIZED = os.environ.get("LTEROUTER_SANITIZED") == "1"
PASSWORD = "correct horse"
PASSWORDS = "/tmp/passwords"
JSON = "application/json"
BYTES = "application/octet-stream"
DECLARED = b"wan_apn=1=internet\nwifi_key=9=secret\nlan_ip=1=192.168.1.1\n"


class Reply:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()

    def json(self):
        return json.loads(self.body)


class Stream:
    """Events as they come; a socket of its own."""

    def __init__(self, test, port, cookie=None):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=support.TIMEOUT)
        test.addCleanup(self.socket.close)
        cookies = f"Cookie: {cookie}\r\n" if cookie else ""
        self.socket.sendall(f"GET /api/events HTTP/1.1\r\nHost: 127.0.0.1\r\n{cookies}\r\n".encode())
        self.response = http.client.HTTPResponse(self.socket)
        self.response.begin()
        self.status = self.response.status

    def next(self):
        """(kind, object) of the next event, None at the end of the stream."""
        kind = None
        while line := self.response.readline():
            name, _, value = line.decode().rstrip("\n").partition(": ")
            if name == "event":
                kind = value
            elif name == "data":
                return kind, json.loads(value)
        return None

    def until(self, wanted, **values):
        """The first event of a kind with these values."""
        while True:
            event = self.next()
            assert event is not None, "the stream ended"
            kind, found = event
            if kind == wanted and values.items() <= found.items():
                return found


class WebTest(NvTest):
    """Every test has a server of its own, and a WAN manager unless it says otherwise."""

    def setUp(self):
        NvTest.setUp(self)
        support.ToolTest.setUp(self)
        self.declare(DECLARED)
        with contextlib.suppress(FileNotFoundError):
            os.unlink(PASSWORDS)
        self.cookie = self.token = None

    def start(self, *options, manager=True, ltectl=None, password=True, launcher=(), port=0):
        if manager:
            self.manager = self.start_wansim("--delay", "0", "--quiet")
        if password:
            self.set_password()
        self.server = Background(self, *launcher, LTEWEB, "--json", "--listen", f"127.0.0.1:{port}",
                                 "--password-file", PASSWORDS, "--ltectl", ltectl or support.ltectl_program,
                                 *options)
        self.port = json.loads(self.server.out.next())["port"]

    def set_password(self):
        made = support.subprocess.run([LTEWEB, "--make-password", PASSWORDS], input=PASSWORD.encode(),
                                      capture_output=True, timeout=support.TIMEOUT)
        self.assertEqual((made.returncode, made.stderr), (DONE, b""))

    def fake(self, script):
        """A program in ltectl's place."""
        write_file("/tmp/ltectl", b"#!/bin/sh\n" + script.encode())
        os.chmod("/tmp/ltectl", 0o755)
        return "/tmp/ltectl"

    def fake_python(self, script):
        write_file("/tmp/ltectl", b"#!/usr/bin/python3\n" + script.encode())
        os.chmod("/tmp/ltectl", 0o755)
        return "/tmp/ltectl"

    def connect(self):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=support.TIMEOUT)
        self.addCleanup(connection.close)
        return connection

    def ask(self, method, path, body=None, headers=(), **more):
        """A reply; nothing is sent but what is told here."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=support.TIMEOUT, **more)
        try:
            connection.request(method, path, body, dict(headers))
            return Reply(connection.getresponse())
        finally:
            connection.close()

    def raw(self, data, timeout=support.TIMEOUT):
        """Everything that comes back for these bytes until the server closes the connection."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=timeout) as connection:
            try:
                connection.sendall(data)
                connection.shutdown(socket.SHUT_WR)
                back = b""
                while part := connection.recv(65536):
                    back += part
            except OSError as error:  # it has been refused before all of it was sent
                if isinstance(error, TimeoutError):
                    raise
                back = b""
        return back

    def get(self, path):
        return self.ask("GET", path, headers={"Cookie": self.cookie} if self.cookie else {})

    def log_in(self, password=PASSWORD):
        reply = self.ask("POST", "/api/login", json.dumps({"password": password}), {"Content-Type": JSON})
        if reply.status == 200:
            self.cookie = reply.headers["Set-Cookie"].partition(";")[0]
            self.token = reply.json()["token"]
        return reply

    def credentials(self, content_type=JSON):
        return {"Cookie": self.cookie, "X-Lteweb-Token": self.token, "Content-Type": content_type}

    def post(self, path, body=None, content_type=JSON):
        if not isinstance(body, (bytes, str)):
            body = json.dumps(body or {})
        return self.ask("POST", path, body, self.credentials(content_type))

    def command(self, reply):
        """(exit code, objects, message) of what ltectl did."""
        self.assertEqual(reply.status, 200, reply.body)
        answer = reply.json()
        self.assertEqual(set(answer), {"exit", "objects", "message"})
        return answer["exit"], answer["objects"], answer["message"]

    def done(self, reply):
        code, objects, message = self.command(reply)
        self.assertEqual((code, message), (DONE, ""))
        return objects

    def listen(self, cookie=None):
        return Stream(self, self.port, cookie)

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid()}/fd"))

    def settled_descriptors(self):
        """Without those of connections that are closed already."""
        count = None
        while count != (now := self.descriptors()):
            count = now
            time.sleep(0.2)
        return count

    def pid(self):
        """The server's own, under a launcher too."""
        return self.server.process.pid

    def resident_kib(self):
        with open(f"/proc/{self.pid()}/status") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))

    def children(self):
        """Processes that the server has started and that run."""
        found = []
        for name in filter(str.isdigit, os.listdir("/proc")):
            try:
                fields = read_file(f"/proc/{name}/stat").rpartition(b")")[2].split()
            except OSError:
                continue
            if int(fields[1]) == self.pid() and fields[0] != b"Z":
                found.append(int(name))
        return found

    def assert_serves(self):
        self.assertEqual(self.ask("GET", "/api/session").status, 200)

    def end(self):
        """Ends the server in order; the seconds that took."""
        begun = time.monotonic()
        status, out, errors = self.server.end()
        self.assertEqual((status, errors), (DONE, ""))
        self.assertEqual(json.loads(out.splitlines()[-1]), {"event": "ended"})
        return time.monotonic() - begun

    def tearDown(self):
        """It has not died, and no sanitizer has found anything."""
        if hasattr(self, "server") and self.server.process.poll() is None:
            self.server.process.terminate()
            status, _, errors = self.server.finish()
            self.assertEqual(status, DONE, errors)


def main():
    support.main()


__all__ = ["BYTES", "DONE", "JSON", "LTEWEB", "PASSWORD", "PASSWORDS", "Stream", "WebTest", "eventually", "main",
           "read_file", "resource", "support", "write_file"]
