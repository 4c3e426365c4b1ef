"""ltectl metrics."""

import fcntl
import re
import time

import support
from support import CONNECTED, DONE, FakeManager, NvTest, ToolTest, ltectl

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
        return parse(result.stdout)

    def requests(self, found):
        return {dict(labels)["outcome"]: value for (name, labels), value in found.items() if name == "manager_requests"}


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
        found = self.scrape()
        self.assertEqual(self.requests(found), {"answered": 0, "refused": 0, "timed_out": 1, "failed": 0})
        self.assertEqual((found["manager_up", ()], found["manager_bound", ()]), (0, 1))
        self.assertNotIn(("network_registered", ()), found)

    def test_names_from_outside_are_escaped(self):
        FakeManager(self)
        ltectl("ram", "set", "wm_wcdma_modem_status_tmp", 'a"b\\c\n\x1bd\u00e4')
        self.assertEqual(self.scrape()["sim_info", (("state", 'a\\"b\\\\c\\n?d\u00e4'),)], 1)


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


if __name__ == "__main__":
    support.main()
