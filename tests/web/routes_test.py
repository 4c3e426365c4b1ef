"""Every page and request of lteweb: what it does, and that it asks for a login where one is needed.

usage: routes_test.py LTECTL WANSIM LTEWEB PAGE"""

import json
import os
import re
import sys
import time

import web
from web import BYTES, DONE, JSON, PASSWORD, PASSWORDS, WebTest, eventually, support, write_file

PAGE = sys.argv[4]
FAILED, USAGE = support.FAILED, support.USAGE

OPEN = ("/api/status", "/api/channel", "/api/bus", "/api/log", "/api/session", "/api/history", "/api/jobs")
READERS = ("/api/imsi", "/api/nv", "/api/nv/diff", "/api/trace")
# Each with a body that is right.
CHANGING = {
    "/api/logout": {}, "/api/connect": {}, "/api/disconnect": {}, "/api/roam": {"value": "on"},
    "/api/nettype": {"value": "2"}, "/api/pref": {"value": "1"}, "/api/pin/enable": {"pin": "1234"},
    "/api/pin/disable": {"pin": "1234"}, "/api/pin/change": {"old": "1234", "new": "4321"},
    "/api/at": {"command": "AT+CSQ"}, "/api/nv/set": {"name": "wan_apn", "value": "web"}, "/api/nv/export": {},
    "/api/nv/reset": {}, "/api/log": {"module": "", "level": "debug", "value": "on"}, "/api/scan": {},
}
UPLOADS = ("/api/nv/import", "/api/upgrade")


class Page(WebTest):
    def test_the_page_is_the_one_of_the_tree(self):
        self.start(manager=False)
        for path, name, kind in (("/", "index.html", "text/html"), ("/lteweb.css", "lteweb.css", "text/css"),
                                 ("/lteweb.js", "lteweb.js", "text/javascript")):
            reply = self.get(path)
            self.assertEqual((reply.status, reply.headers["Content-Type"]), (200, kind + "; charset=utf-8"))
            self.assertEqual(reply.body, web.read_file(os.path.join(PAGE, name)))
            headless = self.ask("HEAD", path)
            self.assertEqual((headless.status, headless.body), (200, b""))
            self.assertEqual(headless.headers["Content-Length"], str(len(reply.body)))

    def test_the_page_has_nothing_inline_and_nothing_of_others(self):
        files = {name: web.read_file(os.path.join(PAGE, name)).decode() for name in os.listdir(PAGE)}
        self.assertLess(sum(map(len, files.values())), 40 * 1024)
        self.assertNotRegex(files["index.html"], r"<script(?![^>]* src=)|<style|\son\w+\s*=|\sstyle\s*=")
        for content in files.values():
            self.assertNotRegex(content, r"(src|href)\s*=\s*\"(https?:|/)|@import|\beval\b|innerHTML|document\.write")

    def test_every_reply_has_the_headers(self):
        self.start()
        for path in ("/", "/api/status", "/api/imsi", "/nowhere"):
            headers = self.get(path).headers
            policy = headers["Content-Security-Policy"]
            self.assertIn("default-src 'none'", policy)
            self.assertNotIn("unsafe", policy)
            self.assertEqual((headers["X-Content-Type-Options"], headers["Referrer-Policy"], headers["Cache-Control"],
                              headers["Cross-Origin-Resource-Policy"], headers["X-Frame-Options"]),
                             ("nosniff", "no-referrer", "no-store", "same-origin", "DENY"), path)

    def test_the_table_of_this_test_is_complete(self):
        with open(os.path.join(PAGE, "..", "routes.cpp")) as file:
            paths = set(re.findall(r'"(/api/[a-z/]+)"', file.read()))
        self.assertEqual(paths, {*OPEN, *READERS, *CHANGING, *UPLOADS, "/api/login", "/api/events"})


class Reading(WebTest):
    def test_the_status_is_for_everybody_but_who_it_is_is_not(self):
        self.start()
        self.done(support_connected(self))
        status = eventually(lambda: next((s for s in self.done(self.get("/api/status"))
                                          if s["link"] == "CONN_CONNECTED"), None))
        self.assertNotIn("imsi", status)
        self.assertNotIn("imei", status)
        self.assertEqual((status["event"], status["interface"]), ("status", "wwan0"))
        self.log_in()
        self.assertEqual({**self.done(self.get("/api/status"))[0], "uptime": 0},
                         {**status, "imsi": "001010123456789", "imei": "490154203237518", "uptime": 0})

    def test_what_anybody_may_read(self):
        self.start()
        self.assertEqual(self.done(self.get("/api/channel")), [{"event": "channel", "value": 1300}])
        self.assertIn("lc_socket_mm_common", [o["endpoint"] for o in self.done(self.get("/api/bus"))])
        self.assertIn("WanManager", [o.get("module") for o in self.done(self.get("/api/log"))])
        self.assertEqual(self.get("/api/session").json(), {"login": False, "password": True})

    def test_what_needs_a_login(self):
        self.start()
        for path in READERS:
            self.assertEqual(self.get(path).status, 401, path)
        self.log_in()
        self.assertEqual(self.done(self.get("/api/imsi")), [{"event": "imsi", "imsi": "001010123456789"}])
        self.assertEqual(len(self.done(self.get("/api/nv"))), 3)
        self.assertEqual(self.done(self.get("/api/nv/diff")), [])
        self.assertEqual({o["event"] for o in self.done(self.get("/api/trace"))}, {"trace"})

    def test_the_history_grows(self):
        self.start("--sample", "1", "--interface", "lo")
        history = eventually(lambda: (h := self.get("/api/history").json()) and len(h["signal"]) >= 2 and h)
        self.assertEqual(set(history), {"now", "every", "signal", "traffic"})
        (first, _), (second, _) = history["signal"][:2]
        self.assertTrue(9000 <= second - first < 13000, history)  # an hour of them has room
        for (moment, signal), (same_moment, received, sent) in zip(history["signal"], history["traffic"]):
            self.assertEqual((moment, signal), (same_moment, 18))
            self.assertLessEqual(moment, history["now"])
            self.assertGreater(received + sent, 0)

    def test_a_history_of_what_is_not_known(self):
        self.start("--sample", "1", manager=False)
        history = eventually(lambda: (h := self.get("/api/history").json()) and h["signal"] and h)
        self.assertEqual((history["signal"][0][1:], history["traffic"][0][1:]), ([None], [None, None]))


def support_connected(test):
    test.log_in()
    reply = test.post("/api/connect")
    test.cookie = test.token = None
    return reply


class Login(WebTest):
    def test_a_session_begins_with_the_password_and_ends_with_logout(self):
        self.start()
        reply = self.log_in()
        self.assertEqual(reply.status, 200)
        attributes = [part.strip() for part in reply.headers["Set-Cookie"].split(";")[1:]]
        self.assertEqual(attributes, ["Path=/", "HttpOnly", "SameSite=Strict"])
        self.assertRegex(self.cookie, "^lteweb=[0-9a-f]{32}$")
        self.assertRegex(self.token, "^[0-9a-f]{32}$")
        self.assertEqual(self.get("/api/session").json(), {"login": True, "token": self.token, "password": True})
        out = self.post("/api/logout")
        self.assertEqual((out.status, out.json()), (200, {}))
        self.assertIn("Max-Age=0", out.headers["Set-Cookie"])
        self.assertEqual(self.get("/api/session").json(), {"login": False, "password": True})
        self.assertEqual(self.post("/api/connect").status, 401)

    def test_a_wrong_password_is_none(self):
        self.start()
        for wrong in ("", PASSWORD[:-1], PASSWORD + "x", PASSWORD.upper()):
            reply = self.log_in(wrong)
            self.assertEqual((reply.status, reply.headers["Set-Cookie"]), (401, None), wrong)
        self.assertEqual(self.log_in().status, 200)

    def test_who_tries_passwords_has_to_wait_longer_and_longer(self):
        self.start()
        for _ in range(5):
            self.assertEqual(self.log_in("wrong").status, 401)
        waits = []
        for _ in range(2):
            refused = self.log_in()  # the right one
            self.assertEqual(refused.status, 429)
            waits.append(int(refused.headers["Retry-After"]))
            self.assertEqual(eventually(lambda: (r := self.log_in("wrong")).status == 401 and r).status, 401)
        self.assertEqual(waits, [1, 2])
        self.assertEqual(self.log_in().status, 429)
        eventually(lambda: self.log_in().status == 200)
        self.assertEqual(self.log_in("wrong").status, 401)  # it begins anew

    def test_a_session_does_not_suffer_from_who_tries_passwords(self):
        self.start()
        self.log_in()
        for _ in range(6):
            self.log_in("wrong")
        self.assertEqual(self.get("/api/session").json()["login"], True)

    def test_without_a_password_nothing_can_be_changed(self):
        self.start(password=False)
        self.assertEqual(self.get("/api/session").json(), {"login": False, "password": False})
        self.assertEqual(self.log_in("").status, 403)

    def test_a_password_file_that_holds_none(self):
        self.start(password=False)
        for content in b"", b"\n", b"correct horse\n", b"$1$salt$hash\n", b"$6$\n", b"\0\0", b"$6$" + b"x" * 5000:
            write_file(PASSWORDS, content)
            self.assertIn(self.log_in().status, (401, 403), content)
            self.assertEqual(self.log_in("correct horse").headers["Set-Cookie"], None)

    def test_a_hash_of_another_program_and_one_that_is_changed_meanwhile(self):
        self.start()
        made = support.subprocess.run(["openssl", "passwd", "-6", "battery staple"], capture_output=True, check=True)
        write_file(PASSWORDS, made.stdout)
        self.assertEqual(self.log_in().status, 401)
        self.assertEqual(self.log_in("battery staple").status, 200)

    def test_one_more_login_than_there_is_room_for_ends_the_oldest(self):
        self.start()
        cookies = []
        for _ in range(9):
            self.log_in()
            cookies.append(self.cookie)
        alive = [self.ask("GET", "/api/session", headers={"Cookie": cookie}).json()["login"] for cookie in cookies]
        self.assertEqual(alive, [False] + [True] * 8)

    def test_the_cookie_is_found_among_others(self):
        self.start()
        self.log_in()
        for cookies, found in ((f"a=b; {self.cookie}; c=d", True), (f"x{self.cookie}", False),
                               (self.cookie + "0", False), (self.cookie[:-1], False), ("lteweb=", False),
                               ("lteweb", False), (";;=;lteweb", False)):
            reply = self.ask("GET", "/api/session", headers={"Cookie": cookies})
            self.assertEqual(reply.json()["login"], found, cookies)


    def test_another_password_ends_every_session(self):
        self.start()
        for change in self.set_password, lambda: os.unlink(PASSWORDS):
            self.log_in()
            stream = self.listen(self.cookie)
            stream.until("manager")
            change()
            self.assertEqual(self.post("/api/connect").status, 401)
            self.assertEqual(self.get("/api/session").json()["login"], False)
            while stream.next():
                pass

    def test_a_login_ends_the_one_before(self):
        self.start()
        self.log_in()
        cookie = self.cookie
        reply = self.ask("POST", "/api/login", json.dumps({"password": PASSWORD}),
                         {"Content-Type": JSON, "Cookie": cookie})
        self.assertEqual(reply.status, 200)
        self.assertEqual(self.get("/api/session").json()["login"], False)

    def test_the_cookie_of_a_login_by_tls_is_for_tls(self):
        self.start()
        for scheme, secure in (("https", True), ("http", False)):
            reply = self.ask("POST", "/api/login", json.dumps({"password": PASSWORD}),
                             {"Content-Type": JSON, "Host": "localhost", "Origin": f"{scheme}://localhost"})
            self.assertEqual("Secure" in reply.headers["Set-Cookie"], secure)

    def test_a_session_that_ends_while_a_request_comes(self):
        """The request does nothing, neither for it nor for a session that began in its place."""
        self.start()
        for path, body in ("/api/logout", "{}"), ("/api/roam", '{"value":"on"}'):
            self.log_in()
            late = self.connect()
            lines = [f"POST {path} HTTP/1.1", "Host: localhost", f"Content-Length: {len(body)}", "Connection: close",
                     *(f"{name}: {value}" for name, value in self.credentials().items()), "", body[:-1]]
            late.sendall("\r\n".join(lines).encode())
            self.assert_serves()
            self.post("/api/logout")
            self.log_in()
            late.sendall(body[-1:].encode())
            self.assertTrue(late.recv(65536).startswith(b"HTTP/1.1 401 "))
            self.assertEqual(self.get("/api/session").json()["login"], True)
        self.assertEqual(self.done(self.post("/api/roam", {"value": "off"}))[0]["status"], "off")


class Changing(WebTest):
    def test_no_change_without_a_session(self):
        self.start()
        for path in (*CHANGING, *UPLOADS):
            body = "{}" if path in CHANGING else "x"
            reply = self.ask("POST", path, body, {"Content-Type": JSON if path in CHANGING else BYTES})
            self.assertEqual(reply.status, 401, path)
        self.assertEqual(self.children(), [])

    def test_no_change_without_the_token(self):
        self.start()
        self.log_in()
        for path in (*CHANGING, *UPLOADS):
            for token in None, "", "0" * 32, self.token[:-1], self.token + "0", self.token.upper() + "g":
                headers = {**self.credentials(), "X-Lteweb-Token": token}
                if token is None:
                    del headers["X-Lteweb-Token"]
                self.assertEqual(self.ask("POST", path, "{}", headers).status, 403, (path, token))

    def test_a_token_of_another_session(self):
        self.start()
        self.log_in()
        other = self.token
        self.log_in()
        headers = {**self.credentials(), "X-Lteweb-Token": other}
        self.assertEqual(self.ask("POST", "/api/connect", "{}", headers).status, 403)

    def test_each_change_reaches_the_wan_manager(self):
        self.start()
        self.log_in()
        for path, body, objects in (
                ("/api/roam", {"value": "on"}, [{"event": "roaming", "status": "on"}]),
                ("/api/nettype", {"value": "2"}, [{"event": "nettype", "value": 2, "name": "WM_REG_3G"}]),
                ("/api/pin/enable", {"pin": "1234"}, [{"event": "pin", "status": "enabled", "sim": "pin_enable"}]),
                ("/api/pin/change", {"old": "1234", "new": "4321"},
                 [{"event": "pin", "status": "changed", "sim": "pin_enable"}]),
                ("/api/pin/disable", {"pin": "4321"}, [{"event": "pin", "status": "disabled", "sim": "sim_ready"}]),
                ("/api/connect", {}, [{"event": "requested", "requested": "connect"}]),
                ("/api/disconnect", {}, [{"event": "requested", "requested": "disconnect"}])):
            self.assertEqual(self.done(self.post(path, body)), objects, path)
        self.assertEqual([o["event"] for o in self.done(self.post("/api/pref", {"value": "1"}))], ["pref"])
        answer = self.done(self.post("/api/at", {"command": "AT+CSQ"}))[0]
        self.assertEqual((answer["event"], answer["command"]), ("at", "AT+CSQ"))
        self.assertIn("OK", answer["answer"])
        self.assertEqual({o["debug"] for o in self.done(self.post("/api/log", CHANGING["/api/log"]))}, {"on"})
        switched = self.done(self.post("/api/log", {"module": "MM", "level": "", "value": "off"}))
        self.assertEqual([o["module"] for o in switched], ["MM"])

    def test_what_ltectl_refuses_is_refused(self):
        self.start()
        self.log_in()
        for path, body, expected in (
                ("/api/roam", {"value": "perhaps"}, USAGE), ("/api/nettype", {"value": "4"}, USAGE),
                ("/api/roam", {"value": "--help"}, USAGE), ("/api/nettype", {"value": "-1"}, USAGE),
                ("/api/pref", {"value": "--json"}, USAGE), ("/api/pin/enable", {"pin": "12a4"}, USAGE),
                ("/api/pin/enable", {"pin": "9999"}, FAILED), ("/api/at", {"command": "--version"}, FAILED),
                ("/api/nv/set", {"name": "no_such", "value": "x"}, FAILED),
                ("/api/nv/set", {"name": "../escape", "value": "x"}, None),
                ("/api/nv/set", {"name": "--help", "value": "x"}, None),
                ("/api/log", {"module": "nobody", "level": "", "value": "on"}, USAGE)):
            code, objects, message = self.command(self.post(path, body))
            self.assertNotEqual(code, DONE, (path, body))
            self.assertEqual([o for o in objects if o.get("answer") != "ERROR"], [])
            self.assertTrue(message.startswith("ltectl: "), message)
            if expected is not None:
                self.assertEqual(code, expected, (path, body, message))

    def test_parameters(self):
        self.start()
        self.log_in()
        for name, value in (("wan_apn", "web"), ("lan_ip", "-"), ("wifi_key", 'a "quoted" \u00e9 \\ key')):
            self.done(self.post("/api/nv/set", {"name": name, "value": value}))
            self.assert_copies(name, value.encode())
        changed = {o["name"]: o["value"] for o in self.done(self.get("/api/nv/diff"))}
        self.assertEqual((changed["wan_apn"], changed["wifi_key"]), ("web", "********"))
        exported = self.post("/api/nv/export")
        self.assertEqual((exported.status, exported.headers["Content-Type"]), (200, BYTES))
        self.assertTrue(exported.headers["Content-Disposition"].startswith("attachment;"))
        self.assertIn(b"wan_apn=1=web\n", exported.body)
        dry = self.done(self.post("/api/nv/reset?dry-run"))
        self.assertTrue(dry)
        self.assert_copies("wan_apn", b"web")
        self.done(self.post("/api/nv/set", {"name": "wan_apn", "value": "other"}))
        self.done(self.post("/api/nv/import?dry-run", exported.body, BYTES))
        self.assert_copies("wan_apn", b"other")
        self.done(self.post("/api/nv/import", exported.body, BYTES))
        self.assert_copies("wan_apn", b"web")
        code, _, _ = self.command(self.post("/api/nv/import", b"garbage", BYTES))
        self.assertNotEqual(code, DONE)

    def test_a_failed_export_is_told(self):
        self.start()
        self.log_in()
        os.unlink(support.DEFAULTS)
        code, objects, message = self.command(self.post("/api/nv/export"))
        self.assertEqual((code, objects), (FAILED, []))
        self.assertIn("default.cfg", message)

    def test_a_secret_is_no_argument(self):
        self.start(ltectl=self.fake('for word; do printf \'{"event":"word","word":"%s"}\\n\' "$word"; done; '
                                    'while read -r line; do printf \'{"event":"line","line":"%s"}\\n\' "$line"; done'))
        self.log_in()
        for path, body, lines in (("/api/pin/enable", {"pin": "1234"}, ["1234"]),
                                  ("/api/pin/change", {"old": "1111", "new": "2222"}, ["1111", "2222"]),
                                  ("/api/at", {"command": "AT+CPIN=1234"}, ["AT+CPIN=1234"]),
                                  ("/api/nv/set", {"name": "wifi_key", "value": "hidden"}, ["hidden"])):
            objects = self.done(self.post(path, body))
            words = [o["word"] for o in objects if o["event"] == "word"]
            self.assertEqual(words.index("--"), len(words) - 1 - len(body), words)
            self.assertEqual([o["line"] for o in objects if o["event"] == "line"], lines)
            self.assertEqual(set(words) & set(lines), set())

    def test_a_shell_has_no_part_in_it(self):
        self.start()
        self.log_in()
        for text in ("$(touch /tmp/shell)", "`touch /tmp/shell`", "; touch /tmp/shell", "| touch /tmp/shell",
                     "\n touch /tmp/shell", "'; touch /tmp/shell; '"):
            for path, body in (("/api/at", {"command": text}), ("/api/roam", {"value": text[:16]}),
                               ("/api/nv/set", {"name": text, "value": "x"}),
                               ("/api/nv/set", {"name": "wan_apn", "value": text})):
                self.assertIn(self.post(path, body).status, (200, 400))
        self.assertFalse(os.path.exists("/tmp/shell"))


class Events(WebTest):
    def test_link_and_interface_as_they_change(self):
        self.start()
        self.log_in()
        stream = self.listen()
        self.assertEqual(stream.response.headers["Content-Type"], "text/event-stream")
        stream.until("manager", status="back")
        self.post("/api/connect")
        link = stream.until("link", status="connected")
        self.assertEqual(link, {"event": "link", "status": "connected", "interface": "wwan0", "ip": "10.64.0.2",
                                "gateway": "10.64.0.1", "dns1": "10.64.0.53", "dns2": "10.64.1.53",
                                "mask": "255.255.255.252", "name": "CONN_CONNECTED"})
        late = self.listen()  # begins with what is known
        self.assertEqual(late.until("link"), link)
        self.post("/api/disconnect")
        for each in stream, late:
            each.until("link", status="disconnected", name="WM_DISCONNECTED")

    def test_the_interface(self):
        self.start(manager=False)
        stream = self.listen()
        stream.until("manager", status="gone")
        self.manager = self.start_wansim("--quiet")
        stream.until("manager", status="back")
        self.assertEqual(support.ltectl("iface", "down").returncode, DONE)
        self.assertEqual(stream.until("interface", status="not ready")["event"], "interface")
        self.assertEqual(support.ltectl("iface", "up").returncode, DONE)
        stream.until("interface", status="ready")

    def test_samples(self):
        self.start("--sample", "1", "--interface", "lo")
        sample = self.listen().until("sample", signal=18)
        self.assertEqual(set(sample), {"time", "signal", "rx_bytes", "tx_bytes"})

    def test_a_search_for_operators(self):
        self.start()
        self.log_in()
        stream = self.listen()
        self.assertEqual(self.get("/api/jobs").json(), {"scan": {"running": False}, "upgrade": {"running": False}})
        self.assertEqual(self.post("/api/scan").status, 202)
        self.assertEqual(self.post("/api/scan").status, 409)
        self.assertTrue(self.get("/api/jobs").json()["scan"]["running"])
        self.assertEqual(set(begun := stream.until("job")), {"job", "running", "started"})
        self.assertEqual((begun["job"], begun["running"]), ("scan", True))
        found = []
        while "exit" not in (event := stream.until("job")):
            self.assertEqual(event, {**begun, "object": event["object"]})
            found.append(event["object"])
        self.assertEqual((event["exit"], event["running"], event["message"]), (DONE, False, ""))
        self.assertEqual(len(found), 4)
        job = self.get("/api/jobs").json()["scan"]
        self.assertEqual((job["running"], job["exit"], job["objects"]), (False, DONE, found))
        self.assertEqual({job["started"], event["started"]}, {begun["started"]})

    def test_everybody_is_told_when_a_search_begins(self):
        self.start(ltectl=self.fake("read -r line </tmp/go\necho '{\"event\":\"x\"}'"))
        os.mkfifo("/tmp/go")
        self.addCleanup(os.unlink, "/tmp/go")
        self.log_in()
        streams = [self.listen(), self.listen(self.cookie)]
        for stream in streams:
            stream.until("manager")
        self.assertEqual(self.post("/api/scan").status, 202)
        begun = [stream.until("job") for stream in streams]
        self.assertEqual([(event["job"], event["running"]) for event in begun], [("scan", True)] * 2)
        self.assertEqual(self.get("/api/jobs").json()["scan"],
                         {"running": True, "started": begun[0]["started"], "objects": []})
        write_file("/tmp/go", b"\n")
        for stream in streams:
            stream.until("job", running=False, exit=DONE)

    def test_an_upgrade_gets_the_image_and_tells_its_progress(self):
        image = bytes(range(256)) * 5000
        self.start("--image-folder", "/2ndfile",
                   ltectl=self.fake('cp "$3" /tmp/received\necho \'{"event":"progress","percent":50}\'\n'
                                    'echo noise\necho oh >&2\nexit 1'))
        self.log_in()
        stream = self.listen()
        before = os.listdir("/2ndfile")
        self.assertEqual(self.post("/api/upgrade", image, BYTES).status, 202)
        self.assertEqual(set(stream.until("job", job="upgrade", running=True)), {"job", "running", "started"})
        self.assertEqual(stream.until("job")["object"], {"event": "progress", "percent": 50})
        event = stream.until("job")
        self.assertEqual((event["exit"], event["message"]), (FAILED, "oh\n"))
        self.assertEqual(web.read_file("/tmp/received"), image)
        self.assertEqual(os.listdir("/2ndfile"), before)
        self.assertEqual(self.get("/api/jobs").json()["upgrade"]["objects"], [{"event": "progress", "percent": 50}])

    def test_only_one_upgrade_at_a_time(self):
        self.start(ltectl=self.fake("sleep 100"))
        self.log_in()
        self.assertEqual(self.post("/api/upgrade", b"x" * 3000, BYTES).status, 202)
        self.assertEqual(self.post("/api/upgrade", b"x" * 3000, BYTES).status, 409)
        for child in self.children():
            os.kill(child, 15)
        eventually(lambda: self.get("/api/jobs").json()["upgrade"].get("exit") == 128 + 15)

    def test_ltectl_refuses_what_is_no_image(self):
        self.start()
        self.log_in()
        self.assertEqual(self.post("/api/upgrade", b"x" * 100, BYTES).status, 202)
        job = eventually(lambda: (j := self.get("/api/jobs").json()["upgrade"]) and not j["running"] and j)
        self.assertEqual(job["exit"], FAILED)
        self.assertIn("the uploaded file cannot be an image: its size is 100 bytes", job["message"])
        self.assertNotIn("/dev/stdin", job["message"])

    def test_an_empty_image(self):
        self.start(manager=False)
        self.log_in()
        reply = self.post("/api/upgrade", b"", BYTES)
        self.assertEqual((reply.status, reply.json()), (400, {"error": "the image is empty"}))

    def test_the_trace_ends_with_the_session(self):
        self.start(manager=False)
        self.log_in()
        stream, other = self.listen(self.cookie), self.listen()
        for each in stream, other:
            each.until("manager")
        self.post("/api/logout")
        with open(support.TRACE, "a") as trace:
            trace.write("[unit:function:1]secret\n")
        while event := stream.next():
            self.assertNotEqual(event[0], "trace")
        self.log_in()
        self.assertEqual(self.post("/api/scan").status, 202)
        other.until("job", running=False)

    def test_lines_of_the_trace_are_whole(self):
        self.start(manager=False)
        self.log_in()
        stream = self.listen(self.cookie)
        stream.until("manager")
        with open(support.TRACE, "a") as trace:
            trace.write("".join(f"line {number:05} of a thousand\n" for number in range(1000)))
        lines = []
        while not lines or lines[-1] != "line 00999 of a thousand":
            lines.append(stream.until("trace")["line"])
        left_out = re.fullmatch(r"\.\.\. (\d+) bytes left out", lines.pop(0))
        self.assertEqual(int(left_out[1]), (1000 - len(lines)) * len("line 00000 of a thousand\n"))
        for line in lines:
            self.assertRegex(line, "^line [0-9]{5} of a thousand$")
        os.truncate(support.TRACE, 0)
        eventually(lambda: not os.path.getsize(support.TRACE))
        time.sleep(1.5)
        with open(support.TRACE, "a") as trace:
            trace.write("after it\n")
        self.assertEqual(stream.until("trace"), {"line": "after it"})

    def test_new_lines_of_the_trace_for_who_is_logged_in(self):
        self.start()
        self.log_in()
        stranger, reader = self.listen(), self.listen(self.cookie)
        support.time.sleep(1.2)
        with open(support.TRACE, "a") as trace:
            trace.write("a line of its own\n")
        while "a line of its own" not in (line := reader.until("trace")["line"]):
            pass
        self.assertEqual(line, "a line of its own")
        self.post("/api/connect")
        kinds = []
        while not kinds or kinds[-1] != ("link", "connected"):
            kind, event = stranger.next()
            kinds.append((kind, event.get("status")))
        self.assertNotIn("trace", [kind for kind, _ in kinds])

    def test_the_trace_of_another_generation(self):
        self.start()
        self.log_in()
        reader = self.listen(self.cookie)
        support.time.sleep(1.2)
        os.rename(support.TRACE, support.TRACES[1])
        write_file(support.TRACE, b"x" * 100000 + b"\nthe last line\nunfinished")
        self.assertEqual(reader.until("trace", line="the last line")["line"], "the last line")


class Password(WebTest):
    def make(self, text, *options):
        return support.subprocess.run([web.LTEWEB, *options, "--make-password", PASSWORDS], input=text,
                                      capture_output=True, timeout=support.TIMEOUT, text=True)

    def test_the_hash_is_for_its_owner_alone_and_another_each_time(self):
        hashes = set()
        for _ in range(2):
            self.assertEqual(self.make(PASSWORD).returncode, DONE)
            self.assertEqual(os.stat(PASSWORDS).st_mode & 0o777, 0o600)
            hashes.add(web.read_file(PASSWORDS))
        self.assertEqual(len(hashes), 2)
        for made in hashes:
            self.assertRegex(made, rb"^\$6\$[./0-9A-Za-z]{16}\$[./0-9A-Za-z]{86}\n$")

    def test_what_is_no_password(self):
        write_file(PASSWORDS, b"as before")
        for text in "", "short", "x" * 129:
            self.assertIn(self.make(text).returncode, (FAILED, USAGE), text)
        self.assertEqual(web.read_file(PASSWORDS), b"as before")

    def test_a_file_that_cannot_be_written(self):
        made = support.subprocess.run([web.LTEWEB, "--make-password", "/nowhere/file"], input=PASSWORD,
                                      capture_output=True, text=True)
        self.assertEqual((made.returncode, made.stderr),
                         (FAILED, "lteweb: cannot write /nowhere/file: No such file or directory\n"))


class CommandLine(WebTest):
    def test_what_is_no_address(self):
        for text in ("127.0.0.1", ":8080", "127.0.0.1:", "127.0.0.1:65536", "localhost:80", "[::1:80", "::1:80",
                     "[]:80", "[" + "1" * 60 + "]:80", ""):
            ended = support.run(web.LTEWEB, "--listen", text)
            self.assertEqual(ended.returncode, USAGE, text)
            self.assertIn("--listen takes ADDRESS:PORT", ended.stderr)

    def test_an_address_in_use(self):
        self.start(manager=False)
        ended = support.run(web.LTEWEB, "--listen", f"127.0.0.1:{self.port}")
        self.assertEqual(ended.returncode, FAILED)
        self.assertRegex(ended.stderr, f"^lteweb: cannot listen at 127.0.0.1:{self.port}: Address (already )?in use\n$")

    def test_hosts(self):
        for names in (["a b"], [""], ["x" * 256], ["a/b"], list("abcde")):
            ended = support.run(web.LTEWEB, *(word for name in names for word in ("--host", name)))
            self.assertEqual(ended.returncode, USAGE, names)


if __name__ == "__main__":
    web.main()
