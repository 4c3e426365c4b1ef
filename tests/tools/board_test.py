"""wansim --board: an interface whose counters move, and the LEDs' files. usage: board_test.py LTECTL WANSIM"""

import os
import socket
import struct
import subprocess

import cable
import support
from support import DONE, FAILED, USAGE, ToolTest, eventually, ltectl, read_file

NO_BOARD = 3
LEDS = {"signal": "/proc/lte_signal_flag", "internet": "/proc/internet_flag", "sim": "/proc/lte_sim_flag"}
ADVICE = 'a shell of "unshare --map-root-user --mount --net" allows what it takes'

# An IPv4 packet around a datagram of UDP, in a frame.
HEADERS = 14 + 20 + 8


def interface(name="wwan0"):
    """Whether it is up, and its addresses; None when it is not there."""
    found = [entry for entry in cable.ip_json("address", "show") if entry["ifname"] == name]
    return found and ("UP" in found[0]["flags"],
                      [f"{entry['local']}/{entry['prefixlen']}" for entry in found[0]["addr_info"]]) or None


def checksum(message):
    total = sum(struct.unpack(f"!{len(message) // 2}H", message))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return total ^ 0xFFFF


def echo_request(number, payload):
    message = struct.pack("!BBHHH", 8, 0, 0, 1, number) + payload
    return message[:2] + struct.pack("!H", checksum(message)) + message[4:]


class BoardTest(ToolTest):
    def start(self, *options):
        self.wansim = self.start_wansim("--board", "--delay=0", "--quiet", *options)
        self.addCleanup(self.kill)
        eventually(lambda: ltectl("sim", "status").returncode == DONE)

    def kill(self):
        """Without a chance to take anything away."""
        self.wansim.process.kill()
        self.wansim.process.wait()
        eventually(lambda: not os.path.exists("/proc/kernel") and interface() is None)

    def link(self, change):
        self.assert_runs(f"sim link {change}", f"done link {change}\n")

    def connection(self, kind=socket.SOCK_DGRAM, protocol=0):
        connection = socket.socket(socket.AF_INET, kind, protocol)
        self.addCleanup(connection.close)
        connection.settimeout(support.TIMEOUT)
        return connection

    def counters(self):
        [stats] = self.objects(ltectl("stats", "wwan0", "--json").stdout)
        return [stats[name] for name in ("rx_packets", "rx_bytes", "tx_packets", "tx_bytes")]


class Interface(BoardTest):
    def test_is_up_with_the_address_of_the_link_while_it_is_connected(self):
        self.start()
        self.assertEqual(interface(), (False, []))
        for _ in range(2):
            self.link("restore")
            self.assertEqual(interface(), (True, ["10.64.0.2/30"]))
            self.assert_runs("net iface wwan0", "wwan0 up ip=10.64.0.2 mac=02:00:00:00:00:01\n")
            self.link("restore")  # announces the link again
            self.assertEqual(interface(), (True, ["10.64.0.2/30"]))
            self.link("drop")
            self.assertEqual(interface(), (False, []))

    def test_is_up_before_the_link_is_told_to_be_and_down_before_it_is_told_not_to(self):
        self.start()
        self.assertEqual(ltectl("connect", "--wait", "5").returncode, DONE)
        self.assertEqual(interface(), (True, ["10.64.0.2/30"]))
        self.assertEqual(ltectl("disconnect", "--wait", "5").returncode, DONE)
        self.assertEqual(interface(), (False, []))

    def test_is_the_one_that_the_link_has(self):
        self.start("--interface=lte7", "--ip=10.1.2.3", "--mask=255.255.0.0")
        self.link("restore")
        self.assertEqual(interface("lte7"), (True, ["10.1.2.3/16"]))
        self.assertIsNone(interface())

    def test_counts_what_goes_through_it_and_nothing_else(self):
        self.start()
        self.link("restore")
        self.assertEqual(self.counters(), [0, 0, 0, 0])
        connection = self.connection()
        for size in (0, 7, 1400):
            connection.sendto(b"x" * size, ("10.64.0.1", 7))
            self.assertEqual(connection.recv(2048), b"x" * size)
        size = 3 * HEADERS + 1407
        self.assertEqual(self.counters(), [3, size, 3, size])
        connection.sendto(b"to nobody", ("10.64.0.1", 9))
        self.assertEqual(self.counters(), [3, size, 4, size + HEADERS + 9])

    def test_the_network_behind_it_answers_pings_to_any_address(self):
        self.start()
        self.link("restore")
        self.assert_runs("net route default add wwan0 10.64.0.1",
                         "route added destination=0.0.0.0/0 gateway=10.64.0.1 interface=wwan0\n")
        connection = self.connection(socket.SOCK_RAW, socket.IPPROTO_ICMP)
        for number, (address, payload) in enumerate((("10.64.0.1", b"abcd"), ("192.0.2.9", b""),
                                                     ("192.0.2.9", b"\xff" * 6 + b"\xf7\xfd"))):
            connection.sendto(echo_request(number, payload), (address, 0))
            answer, (sender, _) = connection.recvfrom(2048)
            self.assertEqual((sender, answer[20:22], answer[24:]),
                             (address, b"\0\0", struct.pack("!2H", 1, number) + payload))
            self.assertEqual(checksum(answer[20:]), 0)

    def test_that_is_there_already_is_left_alone(self):
        cable.ip("link", "add", "wwan0", "type", "veth", "peer", "name", "other")
        self.addCleanup(cable.ip, "link", "del", "wwan0")
        self.assert_failed(support.wansim("--board"), FAILED,
                           "there is an interface wwan0 already; --interface gives another name", tool="wansim")


class Leds(BoardTest):
    def test_files_hold_what_was_set(self):
        self.start()
        for led, file in LEDS.items():
            self.assertEqual(read_file(file), b"")
            self.assert_runs(f"led {led} 10", f"{led} flash=10\n")
            self.assert_runs(f"led {led} 12", f"{led} flash=12\n")
            self.assertEqual(read_file(file), b"4\n")

    def test_what_else_there_is_under_proc_stays(self):
        before = {name for name in os.listdir("/proc") if not name.isdigit()}
        self.start()
        after = {name for name in os.listdir("/proc") if not name.isdigit()}
        self.assertEqual(after - before, {"kernel", *map(os.path.basename, LEDS.values())})
        self.assertEqual(before - after, set())
        self.assertEqual(os.readlink("/proc/self/exe"), os.readlink("/proc/kernel/self/exe"))
        self.assertIn(b"wwan0", read_file("/proc/net/dev"))

    def test_processes_come_and_go(self):
        self.start()
        processes = [subprocess.Popen(["sleep", "60"]) for _ in range(20)]
        for process in processes:
            self.assertTrue(os.path.exists(f"/proc/{process.pid}/stat"))
            process.kill()
            process.wait()
        eventually(lambda: not any(os.path.lexists(f"/proc/{process.pid}") for process in processes))
        # And no thread, whose number procfs knows without listing it.
        eventually(lambda: self.listed("/proc") == self.listed("/proc/kernel"))

    def listed(self, folder):
        return {name for name in os.listdir(folder) if name.isdigit() and os.path.exists(f"/proc/kernel/{name}")}

    def test_that_are_there_already_are_left_alone(self):
        script = ('mkdir /tmp/proc && mount --rbind /proc /tmp/proc && mount -t tmpfs none /proc && '
                  'ln -s /tmp/proc/* /proc && touch "$@"; "$0" --board & '
                  'sleep 2; ls -d "$@" /proc/kernel; kill $!; wait; ls "$@"')
        result = support.run_mounted(script, *LEDS.values(), name=support.wansim_program)
        self.assertEqual(sorted(result.stdout.splitlines()),
                         sorted(["wansim: ready at lc_socket_mm_common", *LEDS.values(), "wansim: ended",
                                 *LEDS.values()]), result.stderr)


class End(BoardTest):
    def test_in_order_takes_everything_away(self):
        self.start()
        self.assertEqual(self.wansim.end(), (DONE, "", ""))
        self.assertEqual((interface(), [os.path.exists(file) for file in LEDS.values()], os.path.exists("/proc/kernel")),
                         (None, [False] * 3, False))

    def test_killed_or_dying_it_takes_everything_away_too(self):
        self.start("--fault=search=die")
        self.kill()
        self.start("--fault=search=die")
        ltectl("scan")
        eventually(lambda: interface() is None and not os.path.exists("/proc/kernel"))

    def test_the_next_does_not_meet_what_a_killed_one_leaves(self):
        for _ in range(3):
            self.start()
            self.link("restore")
            self.wansim.process.kill()
            self.wansim.process.wait()

    def test_without_the_interface_is_in_order_too(self):
        self.start()
        cable.ip("link", "del", "wwan0")
        self.assertEqual(ltectl("sim", "link", "restore").returncode, DONE)
        self.assertEqual(self.wansim.end(), (DONE, "", "".join(
            f"wansim: cannot set wwan0 {way}: No such device\n" for way in ("down", "up"))))

    def test_of_a_start_that_fails_leaves_nothing(self):
        self.assert_failed(support.wansim("--board", "--control=/tmp"), FAILED,
                           "cannot make the control socket /tmp: a file is there already", tool="wansim")
        self.assertIsNone(interface())
        self.assertFalse(os.path.exists("/proc/kernel"))


class Refusal(ToolTest):
    def refused(self, *starter):
        result = support.run(*starter, support.wansim_program, "--board")
        self.assertEqual((result.returncode, result.stdout), (NO_BOARD, ""))
        return result.stderr

    def test_without_the_rights(self):
        self.assertEqual(self.refused("setpriv", "--inh-caps=-all", "--bounding-set=-all"),
                         "wansim: --board cannot make a network for the other end of its interface: "
                         f"Operation not permitted; {ADVICE}\n")

    def test_where_the_kernel_or_ip_refuses_the_interface(self):
        lost = "-net_admin"
        said = self.refused("setpriv", f"--inh-caps={lost}", f"--bounding-set={lost}")
        self.assertTrue(said.endswith(f"wansim: --board cannot make the interface; ip tells why; {ADVICE}\n"), said)

    def test_without_ip(self):
        result = support.run_mounted('for ip in $(realpath -e /usr/bin/ip /usr/sbin/ip 2>/dev/null | sort -u); do '
                                     'mount --bind /dev/null "$ip"; done; exec "$@"',
                                     support.wansim_program, "--board")
        self.assertEqual((result.returncode, result.stdout), (NO_BOARD, ""))
        self.assertTrue(result.stderr.endswith(
            "wansim: --board needs the program ip, which Debian has in the package iproute2\n"), result.stderr)

    def test_for_the_sms_store(self):
        self.assert_failed(support.wansim("--board", "--sms-store"), USAGE,
                           "--board goes with the WAN manager, not with --sms-store", tool="wansim")


if __name__ == "__main__":
    support.main()
