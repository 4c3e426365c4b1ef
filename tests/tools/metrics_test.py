"""ltectl metrics, and the dashboard that shows them.

usage: metrics_test.py LTECTL WANSIM DASHBOARD UNPACKED"""

import fcntl
import itertools
import json
import os
import re
import signal
import subprocess
import sys
import time
import unittest

import support
from support import (CONNECTED, DONE, FAILED, NO_ANSWER, Background, FakeManager, NvTest, ToolTest, ltectl, read_file,
                     write_file)

DASHBOARD, UNPACKED = sys.argv[3:]
del sys.argv[3:]

PROMTOOL = UNPACKED + "/prometheus/usr/bin/promtool"

FOLDER = "/2ndfile/textfiles/"  # the node exporter reads those that end with .prom
FILE = FOLDER + "lterouter.prom"

LINE = re.compile(r'lterouter_(\w+)(?:\{(.*)\})? (-?\d+)')
LABEL = re.compile(r'(\w+)="((?:[^"\\\n]|\\[\\"n])*)"(?:,|$)')


def parse(text):
    """{(name, ((label, value), ...)): number}, from the text format; each family in one piece, with its type."""
    found, types = {}, {}
    family = None
    for line in text.splitlines():
        if line.startswith("# HELP "):
            family = line.split()[2].removeprefix("lterouter_")
            assert family not in types, line
        elif line.startswith("# TYPE "):
            name, kind = line.split()[2:]
            assert name == "lterouter_" + family, line
            types[family] = kind
        else:
            name, labels, value = LINE.fullmatch(line).groups()
            assert name == family, line
            assert labels is None or LABEL.sub("", labels) == "", line
            key = name, tuple(LABEL.findall(labels or ""))
            assert key not in found, line
            found[key] = int(value)
    assert all((kind == "counter") == name.endswith("_total") for name, kind in types.items()), types
    return found


class MetricsTest(ToolTest):
    def scrape(self, *options):
        result = ltectl("metrics", *options)
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        found = parse(result.stdout)
        self.assert_conventions(result.stdout)
        return found

    def assert_conventions(self, text):
        """What `promtool check metrics` looks for."""
        helps = dict(re.findall(r"^# HELP (\w+) (.+)$", text, re.M))
        types = dict(re.findall(r"^# TYPE (\w+) (gauge|counter)$", text, re.M))
        self.assertEqual(list(helps), list(types))
        for name, kind in types.items():
            words = name.split("_")
            self.assertRegex(name, r"\Alterouter(_[a-z0-9]+)+\Z")
            self.assertEqual(kind == "counter", words[-1] == "total", name)
            self.assertFalse(set(words) & {"ms", "msec", "milliseconds", "sec", "minutes", "hours", "days", "kb", "kilobytes",
                                           "bits", "percent", "gauge", "counter"}, name)
            self.assertFalse({words[-1]} & {"count", "sum", "bucket"}, name)
        for name, value in re.findall(r"^(\w+_info)\{.*\} (.*)$", text, re.M):
            self.assertEqual(value, "1", name)

    def requests(self, found):
        return {dict(labels)["outcome"]: value for (name, labels), value in found.items() if name == "manager_requests"}


@unittest.skipUnless(os.path.exists(PROMTOOL), "promtool is not there; scripts/setup native unpacks it")
class Promtool(NvTest, MetricsTest):
    def assert_nothing_found(self):
        text = ltectl("metrics").stdout
        result = subprocess.run([PROMTOOL, "check", "metrics"], input=text, capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_finds_nothing_without_a_manager(self):
        self.assert_nothing_found()

    def test_finds_nothing_with_a_connected_link_and_a_store(self):
        self.declare(b"a=1=da\n")
        self.start_wansim("--delay=0")
        ltectl("connect", "--wait", "10")
        self.assertEqual(ltectl("nv", "init").returncode, DONE)
        self.assert_nothing_found()


class WithManager(MetricsTest):
    def test_a_link_that_is_connected(self):
        self.start_wansim("--roaming=on", "--delay=0")
        before = int(time.time())
        ltectl("connect", "--wait", "10")
        found = self.scrape()
        for name, value in (("manager_up", 1), ("manager_bound", 1), ("roaming_enabled", 1), ("network_registered", 1),
                            ("signal_quality", 23), ("upgrade_running", 0)):
            self.assertEqual(found[name, ()], value, name)
        self.assertEqual(found["network_info", (("type", "WM_REG_4G"), ("operator", "Northern Cell"))], 1)
        self.assertEqual(found["sim_info", (("state", "sim_ready"),)], 1)
        self.assertEqual({dict(labels)["state"]: value for (name, labels), value in found.items()
                          if name == "link_state"},
                         {"disconnected": 0, "disconnecting": 0, "connected": 1, "connecting": 0})
        self.assertIn(found["link_state_stored_timestamp_seconds", ()], range(before, int(time.time()) + 1))
        self.assertEqual(self.requests(found), {"answered": 3, "refused": 0, "timed_out": 0, "failed": 0})

    def test_one_that_refuses(self):
        self.start_wansim("--fault=get-roaming=refuse", "--fault=at=refuse")
        found = self.scrape()
        self.assertEqual(self.requests(found), {"answered": 1, "refused": 2, "timed_out": 0, "failed": 0})
        self.assertEqual(found["manager_up", ()], 1)
        self.assertEqual(found["network_registered", ()], 0)
        self.assertNotIn(("roaming_enabled", ()), found)

    def test_one_that_is_stopped_is_asked_once(self):
        wansim = self.start_wansim()
        wansim.stop()
        self.assertEqual(ltectl("metrics", "--textfile", "/tmp/stopped.prom").returncode, DONE)
        found = parse(read_file("/tmp/stopped.prom").decode())
        self.assertEqual(self.requests(found), {"answered": 0, "refused": 0, "timed_out": 1, "failed": 0})
        self.assertEqual((found["manager_up", ()], found["manager_bound", ()]), (0, 1))
        self.assertNotIn(("network_registered", ()), found)

    def test_names_from_outside_are_escaped(self):
        FakeManager(self)
        # The last byte is not UTF-8, which would have the whole scrape refused.
        ltectl("ram", "set", "wm_wcdma_modem_status_tmp", b'a"b\\c\n\x1bd\xc3\xa4\xe4')
        self.assertEqual(self.scrape()["sim_info", (("state", 'a\\"b\\\\c\\n?d\u00e4\ufffd'),)], 1)


class WithoutManager(MetricsTest):
    def test_what_it_left_behind_is_not_shown(self):
        ltectl("ram", "set", "wm_wcdma_link_tmp", str(CONNECTED))
        found = self.scrape()
        self.assertEqual((found["manager_up", ()], found["manager_bound", ()]), (0, 0))
        self.assertEqual(self.requests(found), {"answered": 0, "refused": 0, "timed_out": 0, "failed": 0})
        self.assertFalse([name for name, _ in found if name.startswith(("link_", "sim_", "signal_"))])
        self.assertEqual(found["store_parameters", (("store", "volatile"),)], 1)

    def test_counters_of_the_interface(self):
        found = self.scrape("--interface", "lo")
        labels = (("interface", "lo"),)
        with open("/proc/net/dev") as file:
            counters = next(line.split(":")[1].split() for line in file if line.strip().startswith("lo:"))
        for direction, first in ("receive", 0), ("transmit", 8):
            for offset, what in enumerate(("bytes", "packets", "errors", "dropped")):
                self.assertEqual(found[f"interface_{direction}_{what}_total", labels], int(counters[first + offset]))
        self.assertEqual(found["interface_up", labels], 1)

    def test_an_interface_that_is_not_there(self):
        found = self.scrape("--interface", "wwan9")
        self.assertEqual([key for key in found if key[0].startswith("interface_")],
                         [("interface_up", (("interface", "wwan9"),))])

    def test_an_upgrade_that_runs(self):
        with open("/tmp/ltectl-upgrade.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertEqual(self.scrape()["upgrade_running", ()], 1)
        self.assertEqual(self.scrape()["upgrade_running", ()], 0)

    def test_as_json(self):
        objects = self.objects(ltectl("metrics", "--json").stdout)
        self.assertEqual({one["event"] for one in objects}, {"metric"})
        self.assertEqual({one["metric"] for one in objects}, {name for name, _ in self.scrape()})


class Stores(NvTest, MetricsTest):
    def test_a_sound_store(self):
        self.declare(b"a=1=da\nb=2=db\n")
        ltectl("nv", "init")
        found = self.scrape()
        self.assertEqual(found["store_parameters", (("store", "persistent"),)], 2)
        self.assertEqual(found["store_problems", ()], 0)

    def test_problems_are_counted_and_not_told(self):
        self.declare(b"a=1=da\nb=2=db\n")
        ltectl("nv", "init")
        self.put("c", b"1")
        found = self.scrape()
        told = ltectl("nv", "verify").stdout.splitlines()
        self.assertEqual(found["store_problems", ()], len(told))
        self.assertEqual(len(told), 2)


class Textfile(NvTest, MetricsTest):
    def setUp(self):
        super().setUp()
        ToolTest.setUp(self)
        self.declare(b"a=1=da\n")
        os.mkdir(FOLDER)

    def write(self, *options, **others):
        return ltectl("metrics", "--textfile", FILE, *options, **others)

    def assert_untouched(self, result, sentence, code=FAILED):
        """The earlier file is as it was, and nothing is beside it."""
        self.assert_failed(result, code, sentence)
        self.assertEqual({name: read_file(FOLDER + name) for name in os.listdir(FOLDER)}, {"lterouter.prom": b"earlier\n"})

    def start_slow(self, *options):
        """Returns when the new file is there, and not yet complete."""
        write_file(FILE, b"earlier\n")
        command = Background(self, "strace", "-f", "-o", "/dev/null", "-e", "inject=fsync:delay_enter=1000000",
                             support.ltectl_program, "metrics", "--textfile", FILE, *options)
        support.eventually(lambda: len(os.listdir(FOLDER)) == 2)
        return command

    @staticmethod
    def send(number, command):
        """To what strace has started."""
        children = read_file(f"/proc/{command.process.pid}/task/{command.process.pid}/children")
        os.kill(int(children), number)

    def test_holds_what_a_scrape_shows_and_all_may_read_it(self):
        for umask, earlier in ((0o022, None), (0o077, 0o600)):
            if earlier:
                os.chmod(FILE, earlier)
            result = self.write("--interface", "lo", umask=umask)
            found = self.scrape("--interface", "lo")
            self.assert_ran(result, f"{FILE} metrics={len(found)}\n")
            self.assertEqual(parse(read_file(FILE).decode()).keys(), found.keys())
            self.assertEqual((os.stat(FILE).st_mode & 0o7777, os.listdir(FOLDER)), (0o644, ["lterouter.prom"]))
        self.assertEqual(self.objects(self.write("--json").stdout)[0].keys(), {"event", "file", "metrics"})
        self.assertTrue(read_file(FILE).startswith(b"# HELP "))

    def test_replaces_what_a_link_leads_to_and_writes_into_a_pipe(self):
        os.symlink("real.prom", FILE)
        write_file(FOLDER + "real.prom", b"earlier\n")
        self.assertEqual(self.write().returncode, DONE)
        self.assertTrue(os.path.islink(FILE))
        self.assertTrue(read_file(FOLDER + "real.prom").startswith(b"# HELP "))
        self.assertTrue(ltectl("metrics", "--textfile", "/dev/stdout").stdout.startswith("# HELP "))

    def test_a_full_disk_leaves_the_earlier_file(self):
        self.mount_small(FOLDER, 4)
        write_file(FILE, b"earlier\n")
        self.assert_untouched(self.write(), f"cannot write {FILE}: No space left on device; make room: df {FOLDER[:-1]} "
                                            "tells how full it is")

    def test_without_rights_nothing_is_written_in_place(self):
        """What the node exporter reads meanwhile would be half of it."""
        write_file(FILE, b"earlier\n")
        os.chmod(FOLDER, 0o555)
        self.assert_untouched(support.without_rights("metrics", "--textfile", FILE),
                              f"cannot write {FILE}: Permission denied; it takes root's rights")

    def test_where_no_file_can_be(self):
        self.assert_usage(["metrics", "--textfile", ""], '--textfile takes the path of a file, not ""')
        for path, reason in ((FOLDER, "Is a directory"), (FOLDER + "none/a.prom", "No such file or directory"),
                             ("/proc/a.prom", "No such file or directory")):
            self.assert_fails(["metrics", "--textfile", path], f"cannot write {path}: {reason}")
        self.assertEqual(os.listdir(FOLDER), [])

    def test_content_and_folder_are_synchronised(self):
        for number, sentence in ((1, f"cannot write {FILE}: Bad file descriptor"),
                                 (2, f"{FILE} is written, but a power failure may take it back: Bad file descriptor")):
            result = support.run("strace", "-f", "-o", "/dev/null", "-e", f"inject=fsync:error=EBADF:when={number}",
                                 support.ltectl_program, "metrics", "--textfile", FILE,
                                 env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})  # not while traced
            self.assert_failed(result, FAILED, sentence)
            self.assertEqual(os.listdir(FOLDER), ["lterouter.prom"][:number - 1])

    def test_a_lock_that_is_held_leaves_the_earlier_file(self):
        self.put("a", b"v")
        write_file(FILE, b"earlier\n")
        with open(support.CURRENT + "a", "r+b") as file:
            fcntl.lockf(file, fcntl.LOCK_EX)
            result = self.write("--timeout", "1")
        self.assertEqual(result.returncode, NO_ANSWER)
        self.assert_untouched(result, result.stderr.removeprefix("ltectl: ").rstrip("\n"), NO_ANSWER)

    def test_ended_half_way_it_leaves_the_earlier_file(self):
        command = self.start_slow()
        self.send(signal.SIGTERM, command)
        status, out, _ = command.finish()
        self.assertEqual((status, out, os.listdir(FOLDER)), (FAILED, "", ["lterouter.prom"]))
        command = self.start_slow()
        self.send(signal.SIGKILL, command)
        command.finish()
        self.assertEqual(read_file(FILE), b"earlier\n")
        left, = set(os.listdir(FOLDER)) - {"lterouter.prom"}
        self.assertFalse(left.endswith(".prom"))


class Dashboard(NvTest, MetricsTest):
    def setUp(self):
        super().setUp()
        with open(DASHBOARD) as file:
            self.dashboard = json.load(file)

    def test_shows_every_metric_and_no_other(self):
        self.start_wansim("--delay=0")
        ltectl("connect", "--wait", "10")
        told = {"lterouter_" + name for name, _ in self.scrape("--interface", "lo")}
        shown = {name for panel in self.dashboard["panels"] for target in panel["targets"]
                 for name in re.findall(r"[a-z_]+(?=\{)", target["expr"])}
        self.assertEqual(shown, told)
        asked = re.findall(r"lterouter_\w+", json.dumps(self.dashboard["templating"]))
        self.assertTrue(asked)
        self.assertLessEqual(set(asked), told)

    def test_labels_of_its_legends_are_those_of_the_metrics(self):
        self.start_wansim("--delay=0")
        ltectl("connect", "--wait", "10")
        labels = {}
        for name, pairs in self.scrape("--interface", "lo"):
            labels.setdefault("lterouter_" + name, {"instance"}).update(label for label, _ in pairs)
        for panel in self.dashboard["panels"]:
            for target in panel["targets"]:
                with self.subTest(target["expr"]):
                    named = re.findall(r"\{\{(\w+)\}\}", target["legendFormat"])
                    for metric in re.findall(r"[a-z_]+(?=\{)", target["expr"]):
                        self.assertLessEqual(set(named), labels[metric])

    def test_counters_are_shown_as_rates(self):
        for panel in self.dashboard["panels"]:
            for target in panel["targets"]:
                counters = re.findall(r"\w+_total", target["expr"])
                self.assertEqual(len(counters), len(re.findall(r"rate\(\w+_total\{[^}]*\}\[\$__rate_interval\]\)",
                                                               target["expr"])))

    def test_panels_have_an_identity_and_a_place_each(self):
        panels = self.dashboard["panels"]
        for key in "id", "title":
            self.assertEqual(len({panel[key] for panel in panels}), len(panels), key)
        places = [(panel["gridPos"]["x"] + dx, panel["gridPos"]["y"] + dy) for panel in panels
                  for dx, dy in itertools.product(range(panel["gridPos"]["w"]), range(panel["gridPos"]["h"]))]
        self.assertEqual(len(set(places)), len(places))
        self.assertLess(max(x for x, _ in places), 24)
        variables = {variable["name"] for variable in self.dashboard["templating"]["list"]}
        used = set(re.findall(r"\$\{?(\w+)", json.dumps(panels))) - {"__rate_interval"}
        self.assertEqual(used, variables)


if __name__ == "__main__":
    support.main()
