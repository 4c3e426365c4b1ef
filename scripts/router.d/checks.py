"""The product's programs on the emulated router: what "scripts/router test" runs."""

import contextlib
import os
import pathlib
import random
import subprocess
import tempfile
import time

import parts
from cable import Cable
from machine import Machine, TooLate

C_TESTS = tuple(sorted(path.stem for path in (parts.ROOT / "tests" / "c").glob("*.c") if path.stem != "loaded"))
TESTS = parts.BUILD / "tests"
PROGRAMS = {**{f"c_{name}": TESTS / "c" / f"c_{name}" for name in (*C_TESTS, "loaded")},
            "mixed_operations": TESTS / "endurance" / "mixed_operations", "flood": TESTS / "hostile" / "flood",
            "layouts": TESTS / "layouts" / "layouts"}
HOST_MODEM = parts.ROOT / "build" / "release" / "tools" / "modemsim"
IMAGE_SIZE = 20000
# Each test has the machine to itself, as on the product's first start.
ALONE = ("unshare -m -n -i -p -f --mount-proc sh -c 'mount -t tmpfs tmpfs /tmp; mount -t tmpfs tmpfs /2ndfile; "
         "ifconfig lo up; cd /tmp; {}'")


def expect(text, where):
    if text not in where:
        raise parts.Failure(f"\"{text}\" is missing in\n{where}")


def equal(found, wanted, what):
    if found != wanted:
        raise parts.Failure(f"{what}: {found!r} instead of {wanted!r}")


def ask(router, command, *texts, status=0, seconds=60):
    """Runs a command that must end so and print these texts, and returns what it printed."""
    try:
        result = router.run(command, seconds=seconds)
    except TooLate:
        raise parts.Failure(f"\"{command}\" has not ended in {seconds} s") from None
    said = (result.output + result.errors).decode(errors="replace")
    if result.status != status:
        raise parts.Failure(f"{said}\"{command}\" ended with {result.status}, not {status}")
    for text in texts:
        expect(text, said)
    return said


def ask_each(router, *steps):
    """steps: commands that must succeed, each with the texts that it must print"""
    for command, *texts in steps:
        ask(router, command, *texts)


def await_text(router, file, text, seconds=20):
    ask(router, f"n=0; until grep -qsF '{text}' {file}; do n=$((n + 1)); [ $n -lt {seconds * 10} ] || "
                f"{{ cat {file}; exit 1; }}; usleep 100000; done", seconds=3 * seconds)


# ---- The tests' programs ----

def c_tests(router):
    ask(router, "killall syslogd; rm /dev/log")  # which a test has to itself
    try:
        for name in C_TESTS:
            ask(router, ALONE.format(f"/mnt/c_{name}"), seconds=120)
        ask(router, ALONE.format("/mnt/c_loaded /usr/lib/liblterouter.so.1"), seconds=120)
    finally:
        ask(router, "syslogd -O /tmp/messages")


def layouts(router):
    """Of the records: the compiler's, so the same as in the user-mode emulator."""
    emulated = subprocess.run(["qemu-mips", "-L", parts.MUSL, PROGRAMS["layouts"]], capture_output=True, check=True)
    equal(router.require("/mnt/layouts").output, emulated.stdout, "the layouts")


def hostile(router):
    print(ask(router, ALONE.format("/mnt/flood 20000"), seconds=600), end="")


def endurance(router):
    print(ask(router, ALONE.format("/mnt/mixed_operations 100000"), seconds=900), end="")


# ---- The tools ----

def manage_the_link(router):
    link = ("link connected interface=wwan7 ip=10.20.30.41 gateway=10.20.30.42 dns1=10.9.8.7 dns2=10.9.8.6 "
            "mask=255.255.255.252")
    ask(router, "wansim --interface wwan7 --ip 10.20.30.41 --gateway 10.20.30.42 --dns1 10.9.8.7 --dns2 10.9.8.6 "
                "--delay 300 >/tmp/wansim.out 2>&1 & echo $! >/tmp/wansim.pid")
    await_text(router, "/tmp/wansim.out", "wansim: ready at lc_socket_mm_common")
    ask_each(router,
             ("grep -F @lc_socket_mm_common /proc/net/unix", "@lc_socket_mm_common"),
             ("ltectl roam", "roaming off"),
             ("ltectl roam on && ltectl roam", "roaming on"),
             ("ltectl monitor >/tmp/events 2>/tmp/monitor.err & echo $! >/tmp/monitor.pid",))
    await_text(router, "/tmp/monitor.err", "waiting for events")
    ask(router, "ltectl connect --wait 5", link)
    await_text(router, "/tmp/events", link)
    ask_each(router,
             ("cat /tmp/ltelog.1", "link status:WM_CONNECTED WM_IP_UP WM_WCDMA", "ip:10.20.30.41"),
             ("ltectl ram list", "wm_wcdma_modem_status_tmp=sim_ready"),
             ("ltectl disconnect --wait 5", "link disconnected"))
    await_text(router, "/tmp/events", "interface not ready")
    ask(router, "kill $(cat /tmp/monitor.pid) $(cat /tmp/wansim.pid)")
    await_text(router, "/tmp/wansim.out", "wansim: ended")
    ask(router, "ltectl roam", "no WAN manager is bound to lc_socket_mm_common", status=3)


def network(router):
    """A veth pair, whose far end is another machine to the kernel: a network namespace of its own."""
    ask(router, "ip link add lan0 type veth peer name far0 && ip link set lan0 address 02:00:00:00:00:01 && "
                "ip addr add 10.9.0.1/24 dev lan0 && ip link set lan0 up && "
                "(unshare -n sleep 1000 & echo $! >/tmp/far.pid; sleep 1; "
                "ip link set far0 netns $(cat /tmp/far.pid)) && "
                "nsenter -t $(cat /tmp/far.pid) -n sh -c 'ip link set far0 address 02:00:00:00:00:02; "
                "ip addr add 10.9.0.2/24 dev far0; ip link set far0 up'")
    ask_each(router,
             ("ltectl net iface lan0", "lan0 up ip=10.9.0.1 mac=02:00:00:00:00:01"),
             ("ltectl net route add lan0 192.168.2.0/24 via 10.9.0.2 --metric 5", "route added"),
             ("ip route", "192.168.2.0/24 via 10.9.0.2 dev lan0"),
             ("ltectl net route default add lan0 10.9.0.2", "route added destination=0.0.0.0/0 gateway=10.9.0.2"),
             ("ip route", "default via 10.9.0.2 dev lan0"),
             ("ltectl net route default del lan0 10.9.0.2", "route deleted"),
             ("ltectl net route del lan0 192.168.2.0/24 --metric 5", "route deleted"),
             ("! ip route | grep -E 'default via 10.9|192.168.2'",),
             ("ping -c 1 -W 5 10.9.0.2", "1 packets received"),
             ("ltectl net arp 10.9.0.2", "10.9.0.2 02:00:00:00:00:02"),
             ("ltectl net probe 10.9.0.2 lan0 --timeout 2000", "10.9.0.2 answered mac=02:00:00:00:00:02"),
             ("! ltectl net probe 10.9.0.9 lan0 --timeout 500",),
             ("ltectl net iface eth0", "eth0 "),
             ("kill $(cat /tmp/far.pid); ip link del lan0 2>/dev/null; true",))


def logs(router):
    """By busybox's syslogd, in its file; the flag files decide."""
    ask(router, "/mnt/say 4 never-seen; ltectl log NM error on; ls /tmp/.LC_DEBUG_FLAG_NM_ERROR; /mnt/say 4 seen-once; "
                "ltectl log NM error off; /mnt/say 4 never-seen")
    said = ask(router, "sed -n 's/.*user.[a-z]* //p' /tmp/messages", "04NM: ", "seen-once")
    if "never-seen" in said:
        raise parts.Failure(f"logged, though it is switched off:\n{said}")


def lamps(router):
    """By the library, through the shell, into the files of the kernel's driver."""
    for led, file in enumerate(("lte_signal_flag", "internet_flag", "lte_sim_flag"), 1):
        for flash, digit in ((9, "1"), (10, "2"), (11, "3"), (12, "4"), (4, "0")):
            ask(router, f"/mnt/lamp {led} 0 {flash}")
            equal(router.get(f"/proc/{file}"), f"{digit}\n".encode(), f"/proc/{file} after {flash}")
    ask(router, "/mnt/lamp 1 4 8", status=1)


# ---- A modem's firmware ----

def image_of(size):
    return random.Random(size).randbytes(size)


def upgrade_inside(router):
    image = image_of(IMAGE_SIZE)
    router.put("/tmp/firmware.img", image)
    ask(router, f"modemsim --image /tmp/received.img --size {IMAGE_SIZE} --fault 3=failed:2 >/tmp/modemsim.out 2>&1 & "
                "echo $! >/tmp/modemsim.pid")
    await_text(router, "/tmp/modemsim.out", "modemsim: ready")
    ask(router, "ltectl upgrade /tmp/firmware.img", f"progress percent=100 bytes={IMAGE_SIZE} total={IMAGE_SIZE}",
        "upgraded", seconds=120)
    equal(router.get("/tmp/received.img"), image, "the image that the modem has")
    ask_each(router,
             ("cat /tmp/modemsim.out", "command name=UPGRADE_TLV_TYPE_CMD_BEGIN status=RSP_OK",
              "piece index=3 length=2048 status=RSP_OK fault=failed", "piece index=9 length=3136 status=RSP_OK",
              "ports back"),
             ("grep -c 'piece index=3 ' /tmp/modemsim.out", "3"),
             ("cat /tmp/ltelog.1", f"img file len:{IMAGE_SIZE}, split into 10 pic",
              "Up Response error:RSP_FAILED, index is 3, retry it...", "send transfer end cmd"),
             ("kill $(cat /tmp/modemsim.pid)",))
    await_text(router, "/tmp/modemsim.out", "modemsim: ended")
    ask(router, "ltectl upgrade /tmp/firmware.img",
        "cannot use the modem's port /dev/ttyUSB1: No such file or directory", status=1)
    ask(router, "rm /tmp/firmware.img /tmp/received.img")


@contextlib.contextmanager
def modem_outside():
    """A modem on this machine: gives the two cables to its ports, and the file where its image goes."""
    with tempfile.TemporaryDirectory() as folder:
        data, commands, received = (os.path.join(folder, name) for name in ("data", "commands", "received"))
        modem = subprocess.Popen([HOST_MODEM, "--data-port", data, "--at-port", commands, "--image", received,
                                  "--size", str(IMAGE_SIZE)], stdout=subprocess.PIPE, text=True)
        try:
            with Cable(data) as first, Cable(commands) as second:
                yield (first, second), pathlib.Path(received)
        finally:
            modem.terminate()
            modem.communicate()


def upgrade_by_usb(memory):
    """Two machines: the modem is at the board's USB, whose ports have their names by the kernel's driver."""
    image = image_of(IMAGE_SIZE)
    with modem_outside() as (cables, received), Machine(modem=cables, memory=memory) as router:
        ask(router, "until [ -e /dev/ttyUSB3 ]; do usleep 100000; done")
        router.put("/tmp/firmware.img", image)
        ask(router, "ltectl upgrade /tmp/firmware.img", f"progress percent=100 bytes={IMAGE_SIZE} total={IMAGE_SIZE}",
            "upgraded", seconds=180)
        ask(router, "stty -F /dev/ttyUSB1", "speed 115200 baud")
        equal(received.read_bytes(), image, "the image that the modem has")


UARTS = ("ttyS1", "ttyS2")


def told_to_have_five_bits(router, port, *texts):
    """It has, unless its settings are locked."""
    ask(router, f"stty -F /dev/{port} cs5 2>/dev/null; stty -a -F /dev/{port}", *texts)


def upgrade_by_uart(memory):
    """The same at the board's own serial lines. The library's setting for its ports is all zero but the speed, as a
    modem on USB wants it; to a UART that means five bits and no receiver, so the modem gets the command and its answer
    is never read, unless ltectl has the kernel lock other settings."""
    image = image_of(IMAGE_SIZE)
    with modem_outside() as (cables, received), Machine(cables=cables, memory=memory) as router:
        ask(router, "ln -s ttyS1 /dev/ttyUSB1 && ln -s ttyS2 /dev/ttyUSB3")
        router.put("/tmp/firmware.img", image)
        ask(router, "ltectl upgrade /tmp/firmware.img",
            "the modem did not accept upgrade mode on /dev/ttyUSB3. Nothing is changed", "try again with it, as root",
            status=1)
        ask(router, "stty -F /dev/ttyS2", "speed 115200 baud", "-cread")
        ask(router, "grep ^2: /proc/tty/driver/serial", "16550A", "tx:29 rx:35")
        refuse_other_users(router)
        ask(router, "ltectl upgrade --uart /tmp/firmware.img", "upgraded", seconds=180)
        equal(received.read_bytes(), image, "the image that the modem has")
        for port in UARTS:
            ask(router, f"stty -F /dev/{port}", "speed 115200 baud")
            told_to_have_five_bits(router, port, "cs5")
        kill_while_locked(router)


def refuse_other_users(router):
    ask(router, "rm /tmp/ltectl-upgrade.lock; chmod 666 /dev/ttyS1 /dev/ttyS2; "
                "setuidgid 1000:1000 ltectl upgrade --uart /tmp/firmware.img",
        "only root may lock the settings of /dev/ttyUSB1", status=1)


def kill_while_locked(router):
    ask(router, "ltectl upgrade --uart /tmp/firmware.img >/tmp/upgrade.out 2>&1 & echo $! >/tmp/upgrade.pid")
    await_text(router, "/tmp/upgrade.out", "start image=")
    for port in UARTS:
        told_to_have_five_bits(router, port, "cs8")
    ask(router, "kill -KILL $(cat /tmp/upgrade.pid); while [ -e /proc/$(cat /tmp/upgrade.pid) ]; do usleep 10000; done")
    for port in UARTS:
        told_to_have_five_bits(router, port, "cs5")


# ---- The scripts that cut its power and wear its flash ----

CUTS = {"jffs2": "", "ubifs": "sync", "ext4": "data=journal,sync"}


def cuts(_):
    """They run to their end; what they count is in docs/durability.md."""
    for file_system, options in CUTS.items():
        parts.script("powercut", "--router", file_system, "--store", "nvm", "--cycles", "2", "--jobs", "1",
                     "--mount-options", options)


def wear(_):
    parts.script("wear", "--writes", "500", "--only", "worn-nor-jffs2", "worn-nand-ubifs", "full-jffs2")


# ---- Which there are ----

# {name: what is checked in a machine that others have used}
INSIDE = {"c": c_tests, "link": manage_the_link, "net": network, "log": logs, "led": lamps, "layouts": layouts,
          "hostile": hostile, "endurance": endurance, "upgrade": upgrade_inside}
# {name: what starts a machine itself}
APART = {"usb": upgrade_by_usb, "uart": upgrade_by_uart, "cut": cuts, "wear": wear}
WITH_MODEM = ("usb", "uart")
NAMES = (*INSIDE, *APART)


def compile_for_router(source, program, log):
    parts.run([f"{parts.CROSS}gcc", f"-specs={parts.MUSL}/lib/musl-gcc.specs", "-std=gnu11", "-Os", "-s",
               "-I", parts.ROOT / "include", "-o", program, source, parts.library()], log)


def make_share(folder):
    """What the machine sees below /mnt: the tests' programs, stripped."""
    log = os.path.join(folder, "..", "share.log")
    for name, file in PROGRAMS.items():
        parts.run([f"{parts.CROSS}strip", "-o", os.path.join(folder, name), file], log)
    for name in ("lamp", "say"):
        compile_for_router(parts.HERE / f"{name}.c", os.path.join(folder, name), log)


def report(name, check, *arguments):
    """Whether the check passes; says so."""
    begun = time.monotonic()
    try:
        check(*arguments)
    except (parts.Failure, OSError, subprocess.CalledProcessError) as failure:
        print(f"router: {name}: FAILED: {failure}", flush=True)
        return False
    print(f"router: {name}: passed in {time.monotonic() - begun:.1f} s", flush=True)
    return True


def run(names, memory):
    """Runs these checks; tells whether all pass."""
    passed = True
    with tempfile.TemporaryDirectory() as work:
        share = os.path.join(work, "share")
        os.mkdir(share)
        make_share(share)
        inside = [name for name in names if name in INSIDE]
        if inside:
            with Machine(share=share, memory=memory) as router:
                for name in inside:
                    if router.process is None:  # the one before has taken it down
                        router.start()
                    passed &= report(name, INSIDE[name], router)
        for name in names:
            if name in APART:
                passed &= report(name, APART[name], memory)
    return passed
