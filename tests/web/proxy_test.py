"""lteweb behind another server, as docs/web.md configures it.

usage: proxy_test.py LTECTL WANSIM LTEWEB DOCUMENT UNPACKED"""

import re
import socket
import sys

import web
from web import BYTES, WebTest, support, write_file

DOCUMENT, UNPACKED = sys.argv[4:6]


class Lighttpd(WebTest):
    def setUp(self):
        super().setUp()
        self.start("--host", "router.example")
        with open(DOCUMENT) as file:
            configuration = re.search(r"```lighttpd\n(.*?)```", file.read(), re.S)[1]
        self.assertEqual(configuration.count("8080"), 1)
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            front = free.getsockname()[1]
        write_file("/tmp/lighttpd.conf", (configuration.replace("8080", str(self.port)) +
                                          f'server.document-root = "/tmp"\nserver.port = {front}\n'
                                          'server.bind = "127.0.0.1"\n').encode())
        self.front = web.Background(self, f"{UNPACKED}/usr/sbin/lighttpd", "-D",
                                    "-m", f"{UNPACKED}/usr/lib/lighttpd", "-f", "/tmp/lighttpd.conf")
        self.port = front
        web.eventually(lambda: self.get("/lte/").status == 200, ConnectionError)

    def ask(self, method, path, *arguments, **options):
        return super().ask(method, path.replace("/api", "/lte/api", 1), *arguments, **options)

    def test_page_requests_and_uploads(self):
        self.assertIn(b"<html", self.get("/lte/").body)
        self.assertEqual(self.get("/lte/lteweb.js").status, 200)
        self.assertEqual(self.get("/lteweb.js").status, 404)
        self.assertEqual(self.log_in().status, 200)
        own = f"http://127.0.0.1:{self.port}"
        reply = self.ask("POST", "/api/roam", '{"value":"on"}', {**self.credentials(), "Origin": own})
        self.assertEqual(self.done(reply), [{"event": "roaming", "status": "on"}])
        reply = self.ask("POST", "/api/roam", '{"value":"on"}', {**self.credentials(), "Origin": "http://evil.example"})
        self.assertEqual(reply.status, 403)
        self.assertNotEqual(self.command(self.post("/api/nv/import", b"garbage", BYTES))[0], 0)

    def test_names(self):
        for host, status in (("router.example", 200), ("evil.example", 421)):
            self.assertEqual(self.ask("GET", "/api/session", headers={"Host": host}).status, status, host)

    def test_events_come_at_once(self):
        self.log_in()
        with socket.create_connection(("127.0.0.1", self.port), timeout=10) as connection:
            connection.sendall(b"GET /lte/api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            got = b""
            while b'"back"' not in got:
                got += connection.recv(4096)
            self.post("/api/connect")
            while b'"connected"' not in got:
                part = connection.recv(4096)
                self.assertTrue(part)
                got += part


if __name__ == "__main__":
    web.main()
