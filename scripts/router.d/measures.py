"""What the product's programs cost on the emulated router: what "scripts/router measure" prints.

The emulator counts instructions: its clock goes on by a nanosecond with each of them, and jumps over what is only
waited for. Times inside the machine are therefore instructions, the same on every host."""

import os
import re
import tempfile
import time

import checks
import parts
from machine import Machine

COUNTING = ("-icount", "shift=0,sleep=off")
ROUND_TRIPS = 2000
CLIENTS = 10
KINDS = ("Rss", "Pss", "Private_Dirty", "Anonymous")


def make_share(folder):
    checks.compile_for_router(parts.HERE / "round_trip.c", os.path.join(folder, "round_trip"),
                              os.path.join(folder, "..", "log"))


def uptime(router):
    return float(router.require("cut -d ' ' -f 1 /proc/uptime").output)


def smaps(router, program):
    """{kind: KiB} of the process that a file in /tmp names."""
    text = router.require(f"cat /proc/$(cat /tmp/{program}.pid)/smaps").output.decode()
    return {kind: sum(map(int, re.findall(rf"^{kind}: +(\d+) kB", text, re.M))) for kind in KINDS}


def free_memory(router):
    router.require("sync; echo 3 >/proc/sys/vm/drop_caches")
    return int(re.search(r"^MemAvailable: +(\d+)", router.get("/proc/meminfo").decode(), re.M)[1])


def start_clients(router):
    router.require(f"n=0; while [ $n -lt {CLIENTS} ]; do n=$((n + 1)); "
                   "ltectl monitor >/dev/null 2>/tmp/monitor.$n & done; wait_for() { until grep -q waiting /tmp/monitor.$1; "
                   f"do usleep 50000; done; }}; n=0; while [ $n -lt {CLIENTS} ]; do n=$((n + 1)); wait_for $n; done")


def measure_memory(share):
    with Machine(share=share) as router:
        total = int(re.search(r"^MemTotal: +(\d+)", router.get("/proc/meminfo").decode(), re.M)[1])
        yield "memory of the machine, KiB", total
        yield "of which is available after the start, KiB", free_memory(router)
        router.require("wansim --quiet & echo $! >/tmp/wansim.pid; until ltectl roam; do usleep 50000; done")
        router.require("ltectl monitor >/dev/null 2>/tmp/monitor & echo $! >/tmp/client.pid; "
                       "until grep -q waiting /tmp/monitor; do usleep 50000; done")
        for name, file in (("idle client", "client"), ("idle WAN manager (wansim)", "wansim")):
            for kind, kib in smaps(router, file).items():
                yield f"{name}: {kind}, KiB", kib
        before = free_memory(router)
        start_clients(router)
        yield "each further idle client: less memory available, KiB", round((before - free_memory(router)) / CLIENTS)


def measure_times(share):
    begun = time.monotonic()
    with Machine(share=share) as router:
        yield "from power to a command, on this host, s", round(time.monotonic() - begun, 2)
    with Machine(share=share, devices=COUNTING) as router:
        ready = uptime(router)
        router.require("wansim --quiet & echo $! >/tmp/wansim.pid; until ltectl roam 2>/dev/null; do usleep 1000; done")
        yield "from the kernel's start to a command, million instructions", round(1000 * ready)
        yield "from there to the WAN manager's first answer, million instructions", round(1000 * (uptime(router) - ready))
        each = int(router.require(f"/mnt/round_trip {ROUND_TRIPS}", seconds=300).output)
        yield "one request and its answer, both processes and the kernel, instructions", each


def measure():
    """[(what, figure)]"""
    with tempfile.TemporaryDirectory() as work:
        share = os.path.join(work, "share")
        os.mkdir(share)
        make_share(share)
        return [*measure_times(share), *measure_memory(share)]


def record(rows):
    document = parts.ROOT / "docs" / "performance.md"
    text = document.read_text(encoding="utf-8")
    head, begin, rest = text.partition("<!-- emulated -->\n")
    _, end, tail = rest.partition("<!-- end -->")
    document.write_text(head + begin + markdown(rows) + "\n" + end + tail, encoding="utf-8")


def markdown(rows):
    return "\n".join(["| on the emulated router |  |", "|---|--:|", *(f"| {what} | {figure} |" for what, figure in rows)])
