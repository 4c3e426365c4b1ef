"""Every object that a tool prints with --json is as docs/json.md says, and every one that it describes is printed.

usage: json_test.py LTECTL WANSIM MODEMSIM HURRIED_LTECTL DOCUMENT [LTEWEB]"""

import collections
import json
import os
import re
import signal
import subprocess
import sys
import time

import cable
import frames
import stranger
import support
import upgrade
from support import BACKUP, CURRENT, DONE, FAILED, NvTest, write_file

MODEMSIM, HURRIED, DOCUMENT, *LTEWEB = sys.argv[3:]
del sys.argv[3:]

Key = collections.namedtuple("Key", "type there")
# Of what no program of the router sends by itself; tests of their own have it come.
SELDOM = {("link", "status_value"), ("roaming", "status_value")}


def read_document():
    """{(program, command, event): {key: Key}}"""
    with open(DOCUMENT) as file:
        text = file.read()
    found = {}
    for program, part in re.findall(r"^## (\w+)\n(.*?)(?=^## |\Z)", text, re.M | re.S):
        if program == "lteweb" and not LTEWEB:
            continue  # it is not built
        for event, commands, section in re.findall(r"^### ([\w-]+) \(([^)\n]*)\)\n(.*?)(?=^### |\Z)", part, re.M | re.S):
            # Shared by the commands that print it.
            keys = {key: Key(*rest) for key, *rest in re.findall(r"^\| `(\w+)` \| (\w+) \| (\w+) \|", section, re.M)}
            keys["event"] = Key("string", "always")
            for command in commands.split(", "):
                assert (program, command, event) not in found, (program, command, event)
                found[program, command, event] = keys
    return found


def type_of(value):
    if isinstance(value, str):
        return "string"
    if isinstance(value, bool) or value is None:
        return "neither"
    if isinstance(value, int):
        return "number"
    kinds = {type_of(one) for one in value} if isinstance(value, list) else set()
    return {"number": "numbers", "string": "strings"}.get(kinds.pop(), "?") if len(kinds) == 1 else "?"


def without_doubles(pairs):
    keys = [key for key, _ in pairs]
    assert len(keys) == len(set(keys)), keys
    return dict(pairs)


class Schema(upgrade.UpgradeTest, cable.CableTest, NvTest):
    def setUp(self):
        for test in (NvTest, upgrade.UpgradeTest, cable.CableTest, support.ToolTest):
            test.setUp(self)
        self.schema = read_document()
        self.seen = {}
        self.ran = set()

    def hold(self, program, command, text):
        """Holds what was printed against the document."""
        for line in text.splitlines():
            answer = json.loads(line, object_pairs_hook=without_doubles)
            place = program, command, answer.get("event")
            with self.subTest(place=place):
                self.assertIn(place, self.schema, line)
                keys = self.schema[place]
                self.assertEqual({key: type_of(value) for key, value in answer.items()},
                                 {key: keys[key].type if key in keys else "unknown" for key in answer}, line)
                self.assertLessEqual({key for key in keys if keys[key].there == "always"}, set(answer), line)
            self.seen.setdefault(place, set()).update(answer)

    def ltectl(self, command, *arguments, code=DONE, program=None):
        result = support.run(program or support.ltectl_program, *command.split(), *arguments, "--json")
        self.assertEqual(result.returncode, code, (command, arguments, result))
        self.ran.add(command)
        self.hold("ltectl", command, result.stdout)

    def modem_and_link(self):
        self.ltectl("connect", "--wait", "10")
        self.ltectl("status", "--interface", "lo")
        self.ltectl("disconnect", "--wait", "10")
        for command in ("connect", "disconnect", "roam", "nettype", "scan", "imsi", "channel", "apn set", "diag",
                        "cfun-off", "state-change"):
            self.ltectl(command)
        for command, *words in (("roam", "on"), ("nettype", "2"), ("pref", "1"), ("port", "3"), ("iface", "up"),
                                ("at", "AT+CSQ"), ("pin enable", "1234"), ("pin change", "1234", "4321"),
                                ("pin disable", "4321"), ("request", "WM_MSG_IMSI_GET_REQ"),
                                ("request", "WM_MSG_ROAM_SWITCH_GET_REQ"), ("request", "99", "--async"),
                                ("request", "WM_MSG_MODEM_AT_REQ", "--body", support.at_request(b"AT\r").hex())):
            self.ltectl(command, *words)

    def machine(self):
        write_file("/tmp/apn.list", b"a>00101F>Some name>internet.example>user>secret>13>\n")
        self.ltectl("apn match", "/tmp/apn.list", "00101")
        self.ltectl("stats", "lo", "--watch", "--count", "2")
        # With what covers parts of it, as in a container: without, the kernel shows it to nobody.
        led = support.run_led('exec "$@"', "sim", "10", "--json")
        self.ran.add("led")
        self.hold("ltectl", "led", led.stdout)
        write_file(support.TRACE, b"[lib/a:f:2]one\nanother\n\n")
        self.ltectl("trace")
        self.ltectl("log")
        self.ltectl("log", "time", "on")
        self.ltectl("log", "time", "off")
        self.ltectl("bus list")
        self.ltectl("bus list", "--verbose")
        self.ltectl("metrics", "--interface", "lo")
        self.ltectl("metrics", "--textfile", "/tmp/lterouter.prom")
        self.ltectl("wait", "interface=lo")

    def network(self):
        self.meet()
        for words in (["192.168.2.0/24", "via", cable.FAR_IP, "--metric", "5"], ["192.168.3.0/24"]):
            self.ltectl("net route add", "lan0", *words)
            self.ltectl("net route del", "lan0", *words)
        self.ltectl("net route default add", "lan0", cable.FAR_IP)
        self.ltectl("net route default del", "lan0", cable.FAR_IP)
        self.ltectl("net arp", cable.FAR_IP)
        self.ltectl("net probe", cable.FAR_IP, "lan0", "--mac", cable.FAR_MAC, "--timeout", "20000")
        self.ltectl("net iface", "lan0")

    def parameters(self):
        self.ltectl("ram set", "a", "12")
        for command, *words in (("ram get", "a"), ("ram list",), ("ram clear",)):
            self.ltectl(command, *words)
        self.declare(b"a=1=da\nb=2=db\nc=8=secret\n")
        for command, *words in (("nv init",), ("nv set", "a", "va"), ("nv get", "a"), ("nv list",), ("nv diff",),
                                ("nv export", "/2ndfile/saved"), ("nv import", "/2ndfile/saved", "--dry-run"),
                                ("nv reset", "--dry-run"), ("nv import", "/2ndfile/saved"), ("nv reset",),
                                ("nv verify",), ("nv fin",), ("nv init",)):
            self.ltectl(command, *words)
        watching = self.start_ltectl("nv", "watch", "--count", "1", "--timestamps", "--json")
        watching.err.next()
        support.ltectl("nv", "set", "a", "seen")
        self.hold("ltectl", "nv watch", watching.finish()[1])
        self.ran.add("nv watch")
        os.unlink(BACKUP + "a")
        os.unlink(CURRENT + "b")
        os.mkdir(CURRENT + "b")
        self.declare(b"a=1=da\nb=2=db\nb=2=db\nc=8=secret\n")
        self.ltectl("nv verify", code=FAILED)
        write_file("/2ndfile/commands", b"set a 1\nset b 2\n")
        self.ltectl("nv batch", "/2ndfile/commands", code=FAILED)
        os.rmdir(CURRENT + "b")
        self.ltectl("nv clear", "--yes")

    def upgrade(self):
        modem = support.Background(self, MODEMSIM, "--json", f"--size={self.SIZE}", "--restart=0",
                                   "--fault=status=silent", "--fault=1=failed", "--fault=begin=failed")
        ready = modem.out.next()
        self.ltectl("upgrade", upgrade.IMAGE, "--dry-run", program=HURRIED)
        upgrade.Port(self, frames.AT_PORT).command("at")
        self.ltectl("upgrade", upgrade.IMAGE, program=HURRIED)
        upgrade.Port(self).send(b"half a frame")
        for command, *words in (("sim fault", "none"), ("sim status",)):
            self.ltectl(command, *words, "--control", "/dev/ttyUSB1.control")
        dropped = modem.lines_to("dropped")
        status, printed, errors = modem.end()
        self.assertEqual((status, errors), (DONE, ""))
        self.hold("modemsim", "serving", "\n".join([ready, *dropped, printed]))
        modem = self.start_modem("--fault=1=fatal")
        self.ltectl("upgrade", upgrade.IMAGE, program=HURRIED, code=FAILED)
        self.end_modem(modem)

    def watching(self):
        """What comes to a client: from the WAN manager, and from a peer that sends what only others get."""
        monitor = self.start_ltectl("monitor", "--count", "3", "--json")
        monitor.err.next()
        watch = self.start_ltectl("bus", "watch", "--json")
        watch.err.next()
        support.ltectl("connect", "--wait", "10")
        endpoint = next(name for name in support.ltectl("bus", "list", "-g", "endpoint").stdout.split()
                        if name.endswith(f"_{watch.process.pid}_common") or f"_{watch.process.pid}_" in name)
        peer = self.start_peer()
        for msg_id, body, kind in ((support.LINK_STATUS, support.link_body(9), stranger.ASYNC),
                                   (support.SET_ROAMING, stranger.pack("I", 9), stranger.REQUEST),
                                   (0x5000C, stranger.pack("i", -1) + b"xy", stranger.RESPONSE),
                                   (support.ID["set-pref"], stranger.pack("I", 1), stranger.REQUEST),
                                   (support.ENABLE_PIN, b"1234".ljust(16, b"\0"), stranger.REQUEST),
                                   (support.MODIFY_PIN, b"1234".ljust(32, b"\0"), stranger.REQUEST),
                                   (support.ID["at"], support.at_request(b"AT\r"), stranger.REQUEST),
                                   (stranger.REGISTER, stranger.pack("I", 7), stranger.REQUEST),
                                   (support.CONNECT, b"", 77)):
            peer.send(stranger.message(kind, msg_id, body, 1), endpoint)
        self.hold("ltectl", "bus watch", "\n".join(watch.lines_to('"type_value":77')))
        watch.end(signal.SIGINT)
        capture = self.start_ltectl("bus", "capture", "/tmp/captured", "--json")
        capture.err.next()
        self.hold("ltectl", "bus capture", capture.end(signal.SIGINT)[1])
        status, out, _ = monitor.finish()
        self.assertEqual(status, DONE)
        self.hold("ltectl", "monitor", out)
        self.ran |= {"monitor", "bus watch", "bus capture"}
        peer.close()

    def returning(self):
        """What those that watch tell of a WAN manager that goes and comes back; the new one."""
        wansim = support.Background(self, support.wansim_program, "--json", "--delay=0")
        wansim.out.next()
        watchers = [("monitor", self.start_ltectl("monitor", "--timestamps", "--json")),
                    ("bus watch", self.start_ltectl("bus", "watch", "--timestamps",
                                                     "--json"))]
        for _, watcher in watchers:
            watcher.err.next()
        support.ltectl("connect", "--wait", "10")
        wansim.dispose()
        wansim = support.Background(self, support.wansim_program, "--json", "--delay=0", "--search-delay=0")
        for command, watcher in watchers:
            self.hold("ltectl", command, "\n".join([*watcher.lines_to('"back"'), watcher.out.next()]))
            watcher.end(signal.SIGINT)
        return wansim

    def controls(self, store):
        support.ltectl("at", "AT+CFUN=1")
        for command, *words in (("sim link", "restore"), ("sim link", "drop"), ("sim card", "out"), ("sim card", "in"),
                                ("sim signal", "7"), ("sim network", "3"), ("sim hang", "0"), ("sim fault", "none"),
                                ("sim status",), ("sim status", "--control", "/tmp/wansim-sms.control"),
                                ("sim quit", "--control", "/tmp/wansim-sms.control")):
            self.ltectl(command, *words)
        store.process.wait(support.TIMEOUT)

    def simulators(self, wansim, store):
        peer = self.start_peer()
        for msg_id in (0x10FFFFFF, support.GET_ROAMING):
            peer.send(stranger.message(stranger.REQUEST, msg_id, b"", 1))
            peer.receive()
        for program, running in (("wansim", wansim), ("wansim", store)):
            running.process.send_signal(signal.SIGTERM)
            self.hold(program, "serving", running.out.rest())
        for program, path in (("ltectl", support.ltectl_program), ("wansim", support.wansim_program),
                              ("modemsim", MODEMSIM)):
            self.hold(program, "--version", support.run(path, "--version", "--json").stdout)
        for program in LTEWEB:
            self.page(program)
        self.hold("wansim", "--requests", support.wansim("--requests", "--json").stdout)

    def page(self, program):
        self.hold("lteweb", "--version", support.run(program, "--version", "--json").stdout)
        made = subprocess.run([program, "--make-password", "/tmp/password", "--json"], input="long enough\n", text=True,
                              capture_output=True, timeout=support.TIMEOUT)
        self.hold("lteweb", "--make-password", made.stdout)
        server = support.Background(self, program, "--json", "--listen", "127.0.0.1:0")
        listening = server.out.next()
        self.hold("lteweb", "serving", "\n".join([listening, server.end()[1]]))

    def test_every_object_of_every_command(self):
        wansim = self.returning()
        store = support.Background(self, support.wansim_program, "--json", "--sms-store")
        for simulator in (wansim, store):
            self.hold("wansim", "serving", simulator.out.next())
        self.ltectl("sms clear")
        self.ltectl("ussd-test")
        bound = stranger.Stranger("lc_socket_")
        short = subprocess.Popen([sys.executable, "-c", "import socket, time; s = socket.socket(socket.AF_UNIX, "
                                  "socket.SOCK_DGRAM); s.bind(b'\\0lc_socket_x_common'); time.sleep(600)"])
        self.addCleanup(short.wait)
        self.addCleanup(short.kill)
        time.sleep(0.5)
        self.watching()
        support.write_file(support.TRACE, b"")
        self.modem_and_link()
        self.ltectl("sms clear")
        client = stranger.Stranger("lc_socket_cli1_1_common")
        self.machine()
        client.close()
        bound.close()
        self.network()
        self.parameters()
        self.upgrade()
        self.controls(store)
        self.simulators(wansim, store)
        self.assertEqual(support.leaves() - self.ran, set(), "commands that were not tried")
        self.assertEqual(set(self.schema) - set(self.seen), set(), "described, but never printed")
        for place, keys in self.schema.items():
            seen = set().union(*(self.seen[other] for other in self.seen if self.schema[other] is keys))
            self.assertEqual({key for key in set(keys) - seen if (place[2], key) not in SELDOM}, set(), place)


if __name__ == "__main__":
    upgrade.modemsim_program = MODEMSIM
    support.main()
