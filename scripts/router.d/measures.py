"""What the product's programs cost on the emulated router: what "scripts/router measure" prints.

For instructions the emulator's clock goes on with each of them, so they are nearly the same on every host: the
least of some rounds has the fewest interrupts in it. The kernel believes that clock to be faster or slower than it is;
count.c measures by how much."""

import os
import re
import tempfile
import time

import checks
import parts
from machine import Machine

COUNTING = ("-icount", "shift=0,sleep=on")
TIMES = 500
ROUNDS = 5
# What depends on the host is not recorded.
HERE = "s on this host"
CLIENTS = 10
KINDS = ("Rss", "Pss", "Private_Dirty", "Anonymous")


def make_share(folder):
    checks.compile_for_router(parts.HERE / "count.c", os.path.join(folder, "count"), os.path.join(folder, "..", "log"))


def smaps(router, program):
    """{kind: KiB} of the process that a file in /tmp names."""
    text = router.require(f"cat /proc/$(cat /tmp/{program}.pid)/smaps").output.decode()
    return {kind: sum(map(int, re.findall(rf"^{kind}: +(\d+) kB", text, re.M))) for kind in KINDS}


def memory(router):
    """{name: KiB} of /proc/meminfo, where nothing is cached that need not be."""
    router.require("sync; echo 3 >/proc/sys/vm/drop_caches")
    listed = router.get("/proc/meminfo").decode()
    return {name: int(kib) for name, kib in re.findall(r"^(\w+): +(\d+) kB", listed, re.M)}


def taken(router):
    """What processes take besides the pages of files: their own pages, and the kernel's records of them."""
    now = memory(router)
    return sum(now[name] for name in ("AnonPages", "Slab", "KernelStack", "PageTables"))


def start_clients(router):
    for number in range(CLIENTS):
        router.require(f"ltectl monitor >/dev/null 2>/tmp/monitor.{number} & "
                       f"until grep -q waiting /tmp/monitor.{number}; do usleep 50000; done")


def measure_memory(share):
    with Machine(share=share) as router:
        start = memory(router)
        yield "memory of the machine without the kernel, KiB", start["MemTotal"]
        yield "of which is available after the start, KiB", start["MemAvailable"]
        router.require("wansim --quiet & echo $! >/tmp/wansim.pid; until ltectl roam; do usleep 50000; done")
        router.require("ltectl monitor >/dev/null 2>/tmp/monitor & echo $! >/tmp/client.pid; "
                       "until grep -q waiting /tmp/monitor; do usleep 50000; done")
        for name, file in (("idle client", "client"), ("idle WAN manager (wansim)", "wansim")):
            for kind, kib in smaps(router, file).items():
                yield f"{name}: {kind}, KiB", kib
        before = taken(router)
        start_clients(router)
        each = round((taken(router) - before) / CLIENTS)
        yield "each further idle client, with the kernel's records of it, KiB", each


def measure_times(share):
    begun = time.monotonic()
    with Machine(share=share) as router:
        yield f"from power to the first command, {HERE}", round(time.monotonic() - begun, 1)
        router.require("wansim --quiet & until ltectl roam 2>/dev/null; do :; done")
        yield f"from power to the WAN manager's first answer, {HERE}", round(time.monotonic() - begun, 1)


def instructions_of_a_start(share):
    """The machine waits for nothing but its drives, for when it does its clock goes on by itself."""
    with Machine(share=share, devices=COUNTING) as router:
        started = router.require("wansim --quiet & until ltectl roam >/dev/null 2>&1; do :; done; /mnt/count boot")
        return int(started.output)


def measure_instructions(share):
    starts = [instructions_of_a_start(share) for _ in range(ROUNDS)]
    yield "from the kernel's start to the WAN manager's first answer, millions of instructions", round(min(starts) / 1e6)
    with Machine(share=share, devices=COUNTING) as router:
        router.require("wansim --quiet & until ltectl roam 2>/dev/null; do :; done")
        for what, words in (("a request and its answer: client, WAN manager and kernel", f"{TIMES}"),
                            ("`ltectl roam` from start to end, with all of these", f"{TIMES // 10} ltectl roam"),
                            ("a program of busybox that does nothing, for comparison", f"{TIMES // 10} true")):
            rounds = [router.require(f"/mnt/count {words} | tail -n 1", seconds=300) for _ in range(ROUNDS)]
            yield f"{what}, instructions", min(int(result.output) for result in rounds)


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
    return "\n".join(["| on the emulated router |  |", "|---|--:|",
                      *(f"| {what} | {figure} |" for what, figure in rows if not what.endswith(HERE))])
