"""lteweb while one call that may fail does: each in its turn, whatever the request. It answers, with the status of a
failure or without, or closes the connection; and the next time everything is as it was.

usage: faults_test.py LTECTL WANSIM LTEWEB FAULTY"""

import http.client
import json
import os
import sys

import web
from web import BYTES, JSON, WebTest, support

FAULTY = sys.argv[4]
ARM = "/tmp/armed"

REQUESTS = (
    ("GET", "/", None, None), ("GET", "/api/session", None, None), ("GET", "/api/status", None, None),
    ("GET", "/api/history", None, None), ("GET", "/api/jobs", None, None),
    ("POST", "/api/login", json.dumps({"password": web.PASSWORD}).encode(), JSON),
    ("POST", "/api/pin/change", b'{"old":"1234","new":"4321"}', JSON), ("POST", "/api/nv/export", b"{}", JSON),
    ("POST", "/api/nv/import", b"x" * 9000, BYTES), ("POST", "/api/upgrade", b"x" * 9000, BYTES),
    ("POST", "/api/scan", b"{}", JSON),
)


def disarm():
    """Whether nothing had failed yet; what lteweb does at intervals may at any moment."""
    try:
        os.unlink(ARM)
    except FileNotFoundError:
        return False
    return True


class Faults(WebTest):
    def serve(self, fault):
        os.environ.update(LTEWEB_FAIL=fault, LTEWEB_ARM=ARM)
        self.addCleanup(lambda: [os.environ.pop(name, None) for name in ("LTEWEB_FAIL", "LTEWEB_ARM")])
        self.start(manager=False, launcher=("env", f"LD_PRELOAD={FAULTY}"),
                   ltectl=self.fake("cat >/dev/null\necho '{\"event\":\"x\"}'\necho oh >&2"))
        self.log_in()

    def attempt(self, method, path, body, content_type):
        headers = self.credentials(content_type) if content_type else {"Cookie": self.cookie}
        try:
            return self.ask(method, path, body, headers).status
        except (ConnectionError, http.client.HTTPException):
            return None

    def try_all(self, name, most):
        """Each call of this kind that a request makes fails once."""
        failed = 0
        self.set_password()
        for request in REQUESTS:
            for number in range(1, most + 1):
                with self.subTest(name=name, request=request[1], number=number):
                    self.serve(f"{name}:{number}")
                    good = self.attempt(*request)
                    self.assertIn(good, (200, 202))
                    web.eventually(lambda: not any(job["running"] for job in self.get("/api/jobs").json().values()))
                    support.write_file(ARM, b"")
                    status = self.attempt(*request)
                    reached = not disarm()
                    self.assertIn(status, (None, 200, 202, 401, 403, 500, 502, 503, 507))
                    failed += reached
                    web.eventually(lambda: self.attempt(*request) in (200, 202))
                    self.end()
                if not reached:
                    break
        return failed

    def test_memory(self):
        self.assertGreater(self.try_all("malloc", 12), 20)

    def test_texts(self):
        self.assertGreaterEqual(self.try_all("open_memstream", 4), 5)

    def test_pipes_and_processes(self):
        self.assertGreaterEqual(self.try_all("pipe2", 5), 10)
        self.assertGreaterEqual(self.try_all("posix_spawn", 2), 5)

    def test_files(self):
        self.assertGreaterEqual(self.try_all("mkostemp", 2), 1)
        self.assertGreaterEqual(self.try_all("lseek", 2), 1)

    def test_reading_and_writing(self):
        self.assertGreater(self.try_all("read", 8), 15)
        self.assertGreaterEqual(self.try_all("write", 4), 4)


if __name__ == "__main__":
    web.main()
