"""What the product's programs cost on the emulated router: what "scripts/router measure" prints.

For instructions the emulator's clock goes on with each of them, so they are the same on every host. The kernel
believes that clock to be faster or slower than it is; count.c measures by how much."""

import os
import re
import tempfile
import time

import checks
import parts
from machine import Machine

COUNTING = ("-icount", "shift=0,sleep=on")
TIMES = 1000
CLIENTS = 10
KINDS = ("Rss", "Pss", "Private_Dirty", "Anonymous")


def make_share(folder):
    checks.compile_for_router(parts.HERE / "count.c", os.path.join(folder, "count"), os.path.join(folder, "..", "log"))


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
        yield "from power to the first command, s on this host", round(time.monotonic() - begun, 1)
        router.require("wansim --quiet & until ltectl roam 2>/dev/null; do :; done")
        yield "from power to the WAN manager's first answer, s on this host", round(time.monotonic() - begun, 1)


def measure_instructions(share):
    with Machine(share=share, devices=COUNTING) as router:
        router.require("wansim --quiet & until ltectl roam 2>/dev/null; do :; done")
        for what, words in (("a request and its answer: client, WAN manager and kernel", f"{TIMES}"),
                            ("`ltectl roam` from start to end, with all of these", f"{TIMES // 10} ltectl roam"),
                            ("a program of busybox that does nothing, for comparison", f"{TIMES // 10} true")):
            each = int(router.require(f"/mnt/count {words} | tail -n 1", seconds=300).output)
            yield f"{what}, instructions", each


def measure():
    """[(what, figure)]"""
    with tempfile.TemporaryDirectory() as work:
        share = os.path.join(work, "share")
        os.mkdir(share)
        make_share(share)
        return [*measure_times(share), *measure_instructions(share), *measure_memory(share)]


def record(rows):
    document = parts.ROOT / "docs" / "performance.md"
    text = document.read_text(encoding="utf-8")
    head, begin, rest = text.partition("<!-- emulated -->\n")
    _, end, tail = rest.partition("<!-- end -->")
    document.write_text(head + begin + markdown(rows) + "\n" + end + tail, encoding="utf-8")


def markdown(rows):
    return "\n".join(["| on the emulated router |  |", "|---|--:|", *(f"| {what} | {figure} |" for what, figure in rows)])
