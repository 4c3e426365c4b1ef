"""lteweb's limits in time, on a clock that the test moves: how long a login lasts, who has to wait with another
password, how long an image may take.

usage: limits_test.py LTECTL WANSIM LTEWEB CLOCK"""

import os
import struct
import sys

import web
from web import BYTES, PASSWORD, WebTest, write_file

CLOCK = sys.argv[4]
PASSED = "/tmp/passed"
MINUTE = 60


class Limits(WebTest):
    def setUp(self):
        super().setUp()
        self.passed = 0
        write_file(PASSED, bytes(8))
        os.environ["LTEWEB_CLOCK"] = PASSED
        self.addCleanup(os.environ.pop, "LTEWEB_CLOCK")
        self.start(manager=False, launcher=("env", f"LD_PRELOAD={CLOCK}"), ltectl=self.fake("exit 0"))

    def let_pass(self, seconds):
        self.passed += seconds
        with open(PASSED, "r+b") as file:
            file.write(struct.pack("=q", self.passed * 1000))

    def changes(self):
        """The status of a change, which the session is in use for."""
        return self.post("/api/connect").status

    def test_a_login_that_is_not_used_ends_after_half_an_hour(self):
        self.log_in()
        for _ in range(3):
            self.let_pass(30 * MINUTE)
            self.assertEqual(self.changes(), 200)
        self.let_pass(30 * MINUTE + 1)
        self.assertEqual(self.changes(), 401)
        self.assertFalse(self.get("/api/session").json()["login"])

    def test_a_login_that_is_used_ends_after_twelve_hours(self):
        self.log_in()
        for _ in range(12 * 3):
            self.let_pass(20 * MINUTE)
            self.assertEqual(self.changes(), 200)
        self.let_pass(1)
        self.assertEqual(self.changes(), 401)
        self.assertEqual(self.log_in().status, 200)

    def test_who_tries_passwords_waits_a_minute_at_most(self):
        for _ in range(4):
            self.assertEqual(self.log_in("wrong").status, 401)
        for seconds in (1, 2, 4, 8, 16, 32, 64, 64, 64):
            self.assertEqual(self.log_in("wrong").status, 401)
            waits = self.log_in(PASSWORD)
            self.assertEqual((waits.status, waits.headers["Retry-After"]), (429, str(seconds)))
            self.let_pass(seconds - 1)
            self.assertEqual(self.log_in(PASSWORD).status, 429)
            self.let_pass(1)
        self.assertEqual(self.log_in(PASSWORD).status, 200)

    def test_an_image_has_a_quarter_of_an_hour(self):
        self.log_in()
        connection = self.connect()
        head = "".join(f"{name}: {value}\r\n" for name, value in self.credentials(BYTES).items())
        connection.sendall(f"POST /api/upgrade HTTP/1.1\r\nHost: localhost\r\nContent-Length: 100000\r\n{head}\r\n"
                           .encode() + b"x" * 5000)
        web.support.time.sleep(0.5)
        self.let_pass(15 * MINUTE - 1)
        self.assert_serves()
        connection.settimeout(1)
        connection.sendall(b"x")
        with self.assertRaises(TimeoutError):
            connection.recv(1)
        self.let_pass(1)
        self.assert_serves()
        connection.settimeout(8)  # less than silence alone may last
        try:
            self.assertEqual(connection.recv(1), b"")
        except ConnectionResetError:
            pass


if __name__ == "__main__":
    web.main()
