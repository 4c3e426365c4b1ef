"""lteweb behind another server, as docs/web.md configures it.

usage: proxy_test.py LTECTL WANSIM LTEWEB DOCUMENT UNPACKED"""

import os
import re
import socket
import sys

import web
from web import BYTES, WebTest, support, write_file

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import init_scripts  # noqa: E402

DOCUMENT, UNPACKED = sys.argv[4:6]
PROJECT = os.path.dirname(os.path.dirname(DOCUMENT))


class Behind(WebTest):
    def start_behind(self, *options):
        """A server with these options, and the one in front of it, which the test talks to."""
        self.start(*options)
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

    def assert_answers_by(self, *names):
        for host, status in (*((name, 200) for name in names), ("evil.example", 421)):
            self.assertEqual(self.ask("GET", "/api/session", headers={"Host": host}).status, status, host)


class Lighttpd(Behind):
    def setUp(self):
        super().setUp()
        self.start_behind("--host", "router.example")

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
        self.assert_answers_by("router.example")

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


class InitScripts(Behind):
    """A router's browsers call the server in front by the router's address: the init scripts hand on which that is."""

    def test_buildroots(self):
        program, *words = init_scripts.buildroot_command(PROJECT, 'LTEWEB_OPTIONS="--host 192.168.1.1 --host router.lan"')
        self.assertEqual(program, "/usr/bin/lteweb")
        self.start_behind(*words)
        self.assert_answers_by("192.168.1.1", "router.lan")

    def test_openwrts(self):
        program, *words = init_scripts.openwrt_command(
            PROJECT, "config lteweb 'main'\n\tlist host '192.168.1.1'\n\tlist host 'router.lan'\n")
        self.assertEqual(program, "/usr/bin/lteweb")
        self.start_behind(*words)
        self.assert_answers_by("192.168.1.1", "router.lan")


if __name__ == "__main__":
    web.main()
