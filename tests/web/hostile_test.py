"""lteweb among those who mean it harm: other sites, other names, odd paths and bodies, floods and trickles.

usage: hostile_test.py LTECTL WANSIM LTEWEB"""

import contextlib
import json
import random
import socket
import subprocess
import time

import web
from web import BYTES, JSON, WebTest, eventually, support

GET = b"GET /api/session HTTP/1.1\r\nHost: localhost\r\n\r\n"


class OtherSites(WebTest):
    def test_a_foreign_origin(self):
        self.start()
        self.log_in()
        own = f"http://127.0.0.1:{self.port}"
        for origin, status in ((own, 200), (own.replace("http:", "https:"), 200), ("null", 403), ("", 403),
                               ("http://evil.example", 403), ("http://127.0.0.1", 403), (own + ".evil.example", 403),
                               ("http://127.0.0.1:1", 403), ("file://", 403), (own + "/", 403),
                               (f"ftp://127.0.0.1:{self.port}", 403)):
            reply = self.ask("POST", "/api/connect", "{}", {**self.credentials(), "Origin": origin})
            self.assertEqual(reply.status, status, origin)
            self.assertEqual(self.ask("GET", "/api/status", headers={"Origin": origin}).status, status, origin)
        for site, status in (("same-origin", 200), ("none", 200), ("cross-site", 403), ("same-site", 403), ("", 403)):
            reply = self.ask("POST", "/api/connect", "{}", {**self.credentials(), "Sec-Fetch-Site": site})
            self.assertEqual(reply.status, status, site)

    def test_a_link_from_another_site(self):
        """It leads to the page, and to nothing else."""
        self.start()
        for site in "cross-site", "same-site":
            headers = {"Sec-Fetch-Site": site, "Sec-Fetch-Mode": "navigate"}
            for method, path, status in (("GET", "/", 200), ("POST", "/", 403), ("GET", "/api/status", 403),
                                         ("GET", "/lteweb.js", 403)):
                self.assertEqual(self.ask(method, path, headers=headers).status, status, (method, path))
            self.assertEqual(self.ask("GET", "/", headers={**headers, "Sec-Fetch-Mode": "no-cors"}).status, 403)

    def test_no_login_from_another_site(self):
        self.start()
        body = json.dumps({"password": web.PASSWORD})
        reply = self.ask("POST", "/api/login", body, {"Content-Type": JSON, "Origin": "http://evil.example"})
        self.assertEqual((reply.status, reply.headers["Set-Cookie"]), (403, None))

    def test_what_a_form_can_send_is_nothing_to_us(self):
        self.start()
        self.log_in()
        for content_type in ("text/plain", "application/x-www-form-urlencoded", "multipart/form-data; boundary=x", "",
                             "application/jsonx", "xapplication/json"):
            headers = {**self.credentials(), "Content-Type": content_type}
            self.assertEqual(self.ask("POST", "/api/connect", "{}", headers).status, 415, content_type)

    def test_no_permission_for_another_site(self):
        self.start(manager=False)
        reply = self.ask("OPTIONS", "/api/connect", headers={"Access-Control-Request-Method": "POST"})
        self.assertEqual((reply.status, reply.headers["Allow"]), (405, "POST"))
        self.assertFalse([name for name in reply.headers if name.lower().startswith("access-control-")])

    def test_what_is_allowed_is_what_works(self):
        self.start(manager=False)
        for path in "/", "/api/events", "/api/log", "/api/status", "/api/connect":
            methods = self.ask("PUT", path).headers["Allow"].split(", ")
            for method in "GET", "HEAD", "POST":
                if (method, path) == ("GET", "/api/events"):
                    self.assertIn(method, methods)
                    continue
                self.assertEqual(self.ask(method, path).status != 405, method in methods, (path, method))

    def test_no_change_by_reading(self):
        self.start()
        self.log_in()
        for path in ("/api/connect", "/api/nv/reset", "/api/scan", "/api/logout", "/api/login"):
            self.assertEqual(self.get(path).status, 405)


class OtherNames(WebTest):
    def status(self, host):
        return int(self.raw(f"GET /api/session HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n\r\n".encode())
                   .split()[1])

    def test_a_name_that_leads_here(self):
        self.start("--host", "router.example", "--host", "lte", manager=False)
        for host in ("127.0.0.1", "localhost", "LocalHost", f"127.0.0.1:{self.port}", "localhost:80",
                     "router.example", "Router.Example:443", "lte"):
            self.assertEqual(self.status(host), 200, host)
        for host in ("evil.example", "127.0.0.1.evil.example", "router.example.", "x.router.example", "127.0.0.2",
                     "[::1]", "127.1", "2130706433", "localhost.", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:80:80",
                     "127.0.0.1@evil.example", "127.0.0.1/", "localhost#", "[127.0.0.1]", "]", "[", ":", ":80"):
            self.assertIn(self.status(host), (400, 421), host)

    def test_any_address_where_it_listens_at_all(self):
        self.start_at("0.0.0.0:0")
        for host in ("127.0.0.1", "192.168.1.1", "[::1]", "[fe80::1]:80", "localhost"):
            self.assertEqual(self.status(host), 200, host)
        for host in ("evil.example", "1.2.3", "[::1", "::1", "1.2.3.4.5", "[1.2.3.4]", "[" + "1" * 100 + "]"):
            self.assertIn(self.status(host), (400, 421), host)

    def start_at(self, where):
        self.manager = None
        self.server = web.Background(self, web.LTEWEB, "--json", "--listen", where, "--ltectl", "/nowhere")
        self.port = json.loads(self.server.out.next())["port"]

    def test_an_address_as_browsers_write_it(self):
        self.start_at("[0:0:0:0:0:0:0:0001]:0")
        with socket.create_connection(("::1", self.port)) as connection:
            connection.sendall(b"GET /api/session HTTP/1.1\r\nHost: [::1]\r\nConnection: close\r\n\r\n")
            self.assertTrue(connection.recv(4096).startswith(b"HTTP/1.1 200 "))

    def test_an_address_that_the_machine_gets_later(self):
        for address, host in ("192.0.2.7", "192.0.2.7"), ("fd00::7", "[fd00::7]"):
            self.start_at(f"{host}:0")
            subprocess.run(["ip", "address", "add", address, "dev", "lo"], check=True)
            with socket.create_connection((address, self.port)) as connection:
                connection.sendall(f"GET /api/session HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n\r\n".encode())
                self.assertTrue(connection.recv(4096).startswith(b"HTTP/1.1 200 "))
            self.end()

    def test_many_connections_from_one_address(self):
        """Unless it is this machine's own, where a proxy may be."""
        self.start_at("0.0.0.0:0")
        answered = 0
        for _ in range(40):
            connection = self.connect()
            with contextlib.suppress(ConnectionError):
                connection.sendall(GET)
                answered += connection.recv(4096).startswith(b"HTTP/1.1 200 ")
        self.assertEqual(answered, 32)

    def test_no_name_or_two(self):
        self.start(manager=False)
        for request in (b"GET / HTTP/1.1\r\n\r\n", b"GET / HTTP/1.0\r\n\r\n",
                        b"GET / HTTP/1.1\r\nHost: localhost\r\nHost: evil.example\r\n\r\n",
                        b"GET / HTTP/1.1\r\nHost: localhost\r\nhost: localhost\r\n\r\n"):
            self.assertEqual(self.raw(request).split()[1], b"400", request)


class Paths(WebTest):
    def test_no_path_but_those_of_the_table(self):
        self.start(manager=False)
        for path in ("/..", "/../etc/passwd", "/%2e%2e/etc/passwd", "/./", "//", "//api/session", "/api//session",
                     "/api/session/", "/API/SESSION", "/api/session%00", "/api/session%20", "/%2Fapi/session",
                     "/lteweb.js/", "/lteweb.js%00.html", "/index.html", "/.", "/api", "/api/", "/%", "/%zz",
                     "/lteweb.css/../lteweb.js", "/\xff", "*", "http:/", "/api/\u0441ession".encode().decode("latin-1"),
                     "/" + "x" * 3000):
            data = f"GET {path} HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n".encode("latin-1")
            self.assertIn(self.raw(data).split()[1], (b"404", b"400"), path)

    def test_nothing_behind_a_question_mark_but_dry_run(self):
        self.start()
        self.log_in()
        for query in ("?x", "?dry-run=1", "?dry-run&dry-run", "?dry-run&x=y", "?dry_run", "?%64ry-run", "?=", "?a=b"):
            self.assertEqual(self.post("/api/nv/reset" + query).status, 400, query)
        for path in "/api/status?dry-run", "/?x":
            self.assertEqual(self.get(path).status, 400, path)
        self.assertEqual(self.post("/api/connect?dry-run").status, 400)


class Bodies(WebTest):
    def test_what_is_no_object_of_texts(self):
        self.start()
        self.log_in()
        for body in (b"{", b"}", b"[]", b'"on"', b"null", b"1", b'{"value":1}', b'{"value":null}', b'{"value":["on"]}',
                     b'{"value":{}}', b'{"value":true}', b'{"value":"on"', b'{"value":"on"}}', b'{"value":"on"}x',
                     b'{"value":"on",}', b'{,"value":"on"}', b'{value:"on"}', b"{'value':'on'}", b'{"value""on"}',
                     b'{"value":"on" "x":"y"}', b'{"value":"on","value":"off"}', b'{"value":"on","other":"x"}',
                     b'{"other":"on"}', b"{}", b"", b" ", b'{"value":"o\nn"}', b'{"value":"\\x"}', b'{"value":"\\u12"}',
                     b'{"value":"\\u0000"}', b'{"value":"\\ud800"}', b'{"value":"\\udc00\\ud800"}',
                     b'{"value":"\\ud83d\\u0041"}', b'{"value":"\xff"}', b'{"value":"\xc0\xaf"}',
                     b'{"value":"\xed\xa0\x80"}', b'{"value":"o\x00n"}', b'\xef\xbb\xbf{"value":"on"}',
                     '{"value":"on"}'.encode("utf-16"), b'{"a":"","b":"","c":"","d":"","e":""}', b'{"value":"\\',
                     b"{" * 2000, b'{"value":"' + b"x" * 17 + b'"}'):
            reply = self.post("/api/roam", body)
            self.assertEqual(reply.status, 400, body)
            self.assertIn("error", reply.json())
        for body in (b' { "value" : "on" } ', b'{"value":"\\u006f\\u006E"}', b'{"\\u0076alue":"on"}'):
            self.done(self.post("/api/roam", body))

    def test_every_character_arrives(self):
        text = "".join(map(chr, [*range(1, 10), *range(11, 0x250), 0xD7FF, 0xE000, 0xFFFD, 0x1F600, 0x10FFFF]))
        self.start()
        self.log_in()
        for escaped in True, False:
            body = json.dumps({"name": "wan_apn", "value": text}, ensure_ascii=escaped).encode()
            self.post("/api/nv/set", body)
            self.assert_copies("wan_apn", text.encode())

    def test_lengths(self):
        self.start()
        self.log_in()
        head = "".join(f"{name}: {value}\r\n" for name, value in self.credentials().items())
        for length, status in (("4097", b"413"), ("99999999999999999999", b"413"), ("-1", b"400"), ("0x10", b"400"),
                               ("1 1", b"400"), ("18446744073709551617", b"413"), (None, b"411")):
            lengths = f"Content-Length: {length}\r\n" if length is not None else ""
            answer = self.raw(f"POST /api/roam HTTP/1.1\r\nHost: localhost\r\n{lengths}{head}\r\n".encode())
            self.assertEqual(answer.split()[1:2], [status], length)
        self.assertEqual(self.post("/api/roam", b'{"value":"on"}'.ljust(4096)).status, 200)
        chunked = f"POST /api/roam HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n{head}\r\n".encode()
        self.assertEqual(self.raw(chunked + b"0\r\n\r\n").split()[1], b"411")
        both = (f"POST /api/roam HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\nContent-Length: 2\r\n{head}"
                "\r\n{}").encode()
        self.assertIn(self.raw(both).split()[1], (b"400", b"411"))
        two = f"POST /api/roam HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\nContent-Length: 3\r\n{head}\r\n{{}}"
        self.assertEqual(self.raw(two.encode()).split()[1], b"400")
        self.assertEqual(self.ask("GET", "/api/session", "{}").status, 400)

    def test_heads_that_are_too_large(self):
        self.start(manager=False)
        for head in (b"GET /" + b"x" * 20000, b"GET / HTTP/1.1\r\nX: " + b"x" * 20000,
                     b"GET / HTTP/1.1\r\n" + b"X: y\r\n" * 5000, b"x" * 20000, b"GET / HTTP/1.1\r\n" + b"\r" * 20000,
                     b"GET / HTTP/1.1\r\nCookie: " + b"lteweb=" * 3000):
            answer = self.raw(head + b"\r\n\r\n")
            self.assertIn(answer.split()[1:2], ([], [b"400"], [b"413"], [b"414"], [b"431"]), head[:40])
            self.assert_serves()


class Floods(WebTest):
    def test_requests_that_trickle(self):
        """However steadily: the whole of a request has ten seconds."""
        self.start(manager=False)
        self.set_password()
        self.log_in()
        head = "".join(f"{name}: {value}\r\n" for name, value in self.credentials().items())
        starts = (b"", b"GET / HTTP/1.1\r\nX: ",
                  f"POST /api/roam HTTP/1.1\r\nHost: localhost\r\nContent-Length: 4000\r\n{head}\r\n".encode())
        connections = [self.connect() for _ in starts]
        for connection, start in zip(connections, starts):
            connection.sendall(start)
        begun = time.monotonic()
        closed = {}
        while len(closed) < len(starts):
            for number, connection in enumerate(connections):
                if number in closed:
                    continue
                try:
                    connection.sendall(b"x")
                    connection.settimeout(0.01)
                    if connection.recv(100) == b"":
                        closed[number] = time.monotonic() - begun
                except TimeoutError:
                    pass
                except ConnectionError:
                    closed[number] = time.monotonic() - begun
            self.assertLess(time.monotonic() - begun, 30)
            time.sleep(0.5)
        self.assertTrue(all(8 < seconds < 16 for seconds in closed.values()), closed)

    def test_a_reply_that_nobody_takes(self):
        self.start("--sample", "1", manager=False, ltectl=self.fake("head -c 1000000 /dev/zero | tr '\\0' '\\n'; "
                                                 'exec yes \'{"event":"x"}\' | head -c 1500000'))
        before = self.settled_descriptors()
        for _ in range(3):
            connection = self.connect()
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            connection.sendall(b"GET /api/status HTTP/1.1\r\nHost: localhost\r\n\r\n")
        self.assertEqual(self.get("/api/session").status, 200)
        deadline = time.monotonic() + 30
        while self.descriptors() > before and time.monotonic() < deadline:
            time.sleep(0.2)
        self.assertEqual(self.descriptors(), before)

    def test_a_thousand_connections(self):
        """Who comes later waits until there is room; nobody waits longer than the silent ones may be silent."""
        self.start(manager=False)
        before = self.settled_descriptors()
        connections = []
        for number in range(1000):
            connection = socket.socket()
            self.addCleanup(connection.close)
            connection.setblocking(False)
            connection.connect_ex(("127.0.0.1", self.port))
            connections.append(connection)
            if number % 100 == 0:
                self.assertLessEqual(self.descriptors(), before + 64)
        self.assertLessEqual(self.descriptors(), before + 64)
        for connection in connections[100:]:
            connection.close()
        begun = time.monotonic()
        eventually(lambda: self.get("/api/session").status == 200, (ConnectionError, TimeoutError))
        self.assertLess(time.monotonic() - begun, 90)
        for connection in connections:
            connection.close()
        eventually(lambda: self.get("/api/session").status == 200 and self.descriptors() <= before + 1,
                   (ConnectionError, TimeoutError))

    def connect_from(self, address):
        connection = socket.create_connection(("127.0.0.1", self.port), support.TIMEOUT, (address, 0))
        self.addCleanup(connection.close)
        connection.sendall(GET)
        return connection

    def is_served(self, connection):
        try:
            return connection.recv(12) == b"HTTP/1.1 200"
        except ConnectionError:
            return False

    def test_one_address_has_half_of_the_places(self):
        """Unless it is this machine's own, where a proxy's connections come from."""
        self.set_password()
        for where, served in ("0.0.0.0", 32), ("127.0.0.1", 40):
            self.server = web.Background(self, web.LTEWEB, "--json", "--listen", f"{where}:0", "--ltectl", "/nowhere")
            self.port = json.loads(self.server.out.next())["port"]
            connections = [self.connect_from("127.0.0.2") for _ in range(40)]
            self.assertEqual([self.is_served(each) for each in connections], [True] * served + [False] * (40 - served))
            self.assertTrue(self.is_served(self.connect_from("127.0.0.3")))
            for connection in connections:
                connection.close()
            self.end()

    def test_few_descriptors(self):
        """The limit of the process is reached before that of connections."""
        self.start(manager=False, launcher=("prlimit", "--nofile=32"))
        connections = []
        for _ in range(100):
            connection = self.connect()
            connections.append(connection)
        time.sleep(1)
        for connection in connections:
            connection.close()
        eventually(lambda: self.get("/api/session").status == 200, (ConnectionError, TimeoutError))
        self.assertIn(self.get("/api/bus").status, (200, 502))

    def test_arbitrary_bytes(self):
        self.start()
        self.log_in()
        noise = random.Random(1)
        pieces = [b"GET ", b"POST ", b"/", b"/api/", b"status", b"roam", b" HTTP/1.1", b" HTTP/1.0", b"\r\n", b"\n",
                  b"\r\n\r\n", b"Host: localhost", b"Content-Length: ", b"5", b"Transfer-Encoding: chunked", b"{", b"}",
                  b'"value"', b":", b"\0", b"\xff", b"%", b"?dry-run", b"Cookie: ", self.cookie.encode(),
                  b"X-Lteweb-Token: ", self.token.encode(), b"Content-Type: application/json", b" ", b"\t"]
        for number in range(400):
            if number % 2:
                data = noise.randbytes(noise.randrange(1, 300))
            else:
                data = b"".join(noise.choice(pieces) for _ in range(noise.randrange(1, 40)))
            with self.connect() as connection, contextlib.suppress(ConnectionError, TimeoutError):
                connection.settimeout(0.02)
                connection.sendall(data)
                connection.recv(65536)
        self.assert_serves()

    def assert_keeps_nothing(self, work, name, most_kib):
        """Neither descriptors, nor more memory than that."""
        descriptors = self.settled_descriptors()
        before = self.resident_kib()
        work()
        if not web.SANITIZED:
            print(f"\n{name}: {before} KiB before, {self.resident_kib()} KiB after")
            self.assertLess(self.resident_kib() - before, most_kib)
        self.assertEqual(self.settled_descriptors(), descriptors)

    def test_a_days_requests(self):
        """What it occupies does not grow."""
        self.start(ltectl=self.fake("echo '{\"event\":\"x\"}'"))
        self.log_in()
        count = 2000 if web.SANITIZED else 20000

        def ask(number):
            connection = web.http.client.HTTPConnection("127.0.0.1", self.port, timeout=support.TIMEOUT)
            for each in range(number):
                path = ("/", "/api/session", "/api/history", "/nowhere", "/api/jobs")[each % 5]
                if each % 200 == 0:
                    path = "/api/status"
                connection.request("GET", path, headers={"Cookie": self.cookie})
                web.Reply(connection.getresponse())
                if each % 50 == 49:
                    connection.request("POST", "/api/roam", "{", self.credentials())
                    self.assertEqual(web.Reply(connection.getresponse()).status, 400)
                    connection.close()
            connection.close()

        ask(count // 10)
        self.assert_keeps_nothing(lambda: ask(count), f"{count} requests", 256)

    def test_a_days_work(self):
        """Neither does it with what has more to keep: streams, logins, searches, images."""
        self.start(manager=False, ltectl=self.fake("cat >/dev/null\necho '{\"event\":\"x\"}'"))
        image = b"x" * 100000

        def work(times):
            for _ in range(times):
                self.assertEqual(self.log_in().status, 200)
                stream = self.listen(self.cookie)
                self.assertEqual(self.post("/api/scan").status, 202)
                self.assertEqual(self.post("/api/upgrade", image, BYTES).status, 202)
                for _ in range(2):
                    stream.until("job", running=False)
                stream.socket.close()
                self.assertEqual(self.post("/api/logout").status, 200)

        count = 30 if web.SANITIZED else 300
        work(count // 3)
        self.assert_keeps_nothing(lambda: work(count), f"{count} rounds of work", 128)


if __name__ == "__main__":
    web.main()
