"""A cable: one end is lan0, at the other, in a network namespace of its own, is a kernel that has 10.9.0.2."""

import json
import os
import socket
import subprocess

import support
from support import ToolTest, eventually

NEAR_IP, NEAR_MAC = "10.9.0.1", "02:00:00:00:00:01"
FAR_IP, FAR_MAC = "10.9.0.2", "02:00:00:00:00:02"


def command(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True, timeout=support.TIMEOUT,
                          env={"PATH": os.environ["PATH"] + ":/sbin"}).stdout


def ip(*words):
    return command("ip", *words)


def ip_json(*words):
    return json.loads(ip("-json", *words) or "[]")


class CableTest(ToolTest):
    @classmethod
    def setUpClass(cls):
        cls.far = subprocess.Popen(["unshare", "--net", "sleep", "infinity"])
        cls.addClassCleanup(cls.far.wait)
        cls.addClassCleanup(cls.far.kill)
        cls.far_namespace = f"/proc/{cls.far.pid}/ns/net"
        eventually(lambda: os.readlink(cls.far_namespace) != os.readlink("/proc/self/ns/net"))
        ip("link", "add", "lan0", "address", NEAR_MAC, "type", "veth",
           "peer", "name", "far0", "address", FAR_MAC)
        cls.addClassCleanup(ip, "link", "delete", "lan0")
        ip("link", "set", "lan0", "addrgenmode", "none")
        ip("link", "set", "far0", "addrgenmode", "none")
        ip("link", "set", "far0", "netns", str(cls.far.pid))
        ip("address", "add", f"{NEAR_IP}/24", "dev", "lan0")
        cls.there("ip", "address", "add", f"{FAR_IP}/24", "dev", "far0")
        cls.there("ip", "link", "set", "far0", "up")

    @classmethod
    def there(cls, *words):
        return command("nsenter", f"--net={cls.far_namespace}", *words)

    def setUp(self):
        """Every test begins with the interface's own network alone, and without neighbours."""
        ip("link", "set", "lan0", "up")
        eventually(lambda: ip_json("link", "show", "lan0")[0]["operstate"] == "UP")
        ip("route", "flush", "dev", "lan0", "proto", "boot")
        ip("neigh", "flush", "dev", "lan0", "nud", "all")

    def send_to(self, address):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.sendto(b"x", (address, 9))

    def meet(self):
        """Has the kernel ask for the neighbour, which answers; what ip says of it."""
        self.send_to(FAR_IP)
        eventually(lambda: any("lladdr" in entry for entry in ip_json("neigh", "show", FAR_IP)))
        [entry] = ip_json("neigh", "show", FAR_IP)
        return entry["lladdr"]
