"""ltectl net: routes, neighbours and interfaces. No WAN manager is running in these tests."""

import os
import socket
import sys
import time

import support
from cable import FAR_IP, FAR_MAC, NEAR_IP, NEAR_MAC, CableTest, ip, ip_json
from support import DONE, FAILED, Background, ltectl

SILENT_IP = "10.9.0.3"
OTHER_MAC = "02:00:00:00:00:03"
ARP_PEER = os.path.join(os.path.dirname(__file__), "..", "lc_network", "arp_peer.py")
LONGEST = "a-name-of-15-ch"
NETWORK = "192.168.2.0/24"

INTERFACE = "an interface name of at most 15 characters"
ADDRESS = "a dotted IPv4 address"
BAD_ADDRESSES = ("", "x", "10.9.0", "10.9.0.2x", "10.9.0.2 ", " 10.9.0.2", "10.9.0.2/24", "10.9.0.256", "::1",
                 "1" * 5000)
BAD_NAMES = ("", "a" * 16, "a" * 5000, "lan0 ", "a/b")
DEV = "DEV", "lan0", INTERFACE, BAD_NAMES


def without(capability, *arguments):
    """Runs ltectl without a right, which the sandbox hands on in three ways."""
    sets = [f"--{name}=-{capability}" for name in ("ambient-caps", "inh-caps", "bounding-set")]
    return support.run("setpriv", *sets, support.ltectl_program, *arguments)


class NetTest(CableTest):
    def routes(self):
        """What ip shows beside the interface's own network."""
        return sorted(line.strip() for line in ip("route").splitlines() if "proto kernel" not in line)

    def add_link(self, name, address=None):
        ip("link", "add", name, "type", "veth", "peer", "name", "peer0")
        self.addCleanup(ip, "link", "delete", name)
        if address is not None:
            ip("address", "add", address, "dev", name)
            ip("link", "set", name, "up")

    def assert_operands(self, command, *operands):
        """Each is its name, a good one, what it takes, and bad ones. These are refused, and so is the lack of it."""
        goods = [good for _, good, _, _ in operands]
        for place, (name, _, takes, bad) in enumerate(operands):
            before, behind = [*command.split(), *goods[:place]], goods[place + 1:]
            self.assert_usage(before, f"{name} is missing; see ltectl {command} --help")
            for text in bad:
                self.assert_usage([*before, text, *behind], f'{name} takes {takes}, not "{text}"')

    def assert_option(self, command, option, takes, bad):
        for value in bad:
            self.assert_usage([*command.split(), f"{option}={value}"], f'{option} takes {takes}, not "{value}"')

    def assert_added_and_deleted(self, command, operands, told, shown):
        """A route: what is told of it, and what ip shows of it."""
        for verb, status, there in (("add", "added", shown), ("del", "deleted", [])):
            self.assert_runs([*f"net {command} {verb} lan0".split(), *operands], told.replace("STATUS", status))
            self.assertEqual(self.routes(), there)

    def assert_refused(self, command, sentence, lacking=None):
        """sentence: a regular expression, for the libraries of the systems word errors in their own ways."""
        result = without(lacking, *command.split()) if lacking else ltectl(*command.split())
        self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
        self.assertRegex(result.stderr, rf"\Altectl: {sentence}\n\Z")


class Route(NetTest):
    def test_to_a_network_and_over_a_gateway(self):
        for operands, fields in ((["192.168.2.0/24"], ""), (["192.168.2.0/24", "via", FAR_IP], f" gateway={FAR_IP}")):
            self.assert_added_and_deleted(
                "route", operands, f"route STATUS destination=192.168.2.0/24{fields} interface=lan0\n",
                [" ".join([*operands, "dev lan0"]) + ("" if fields else " scope link")])

    def test_of_every_length(self):
        for length in range(33):
            address = socket.inet_ntoa((0xFFFFFFFF << (32 - length) & 0x0BFFFFFF).to_bytes(4, "big"))
            with self.subTest(length):
                self.assertEqual(ltectl("net", "route", "add", "lan0", f"{address}/{length}").returncode, DONE)
                shown = {0: "default", 32: address}.get(length, f"{address}/{length}")
                self.assertEqual(self.routes(), [f"{shown} dev lan0 scope link"])
                self.assertEqual(ltectl("net", "route", "del", "lan0", f"{address}/{length}").returncode, DONE)
                self.assertEqual(self.routes(), [])

    def test_has_the_metric_that_is_shown(self):
        for metric in ("0", "1", "7", "32766"):
            told = "" if metric == "0" else f" metric={metric}"
            self.assert_runs(["net", "route", "add", "lan0", "192.168.2.0/24", "--metric", metric],
                             f"route added destination=192.168.2.0/24 interface=lan0{told}\n")
        self.assertEqual([route.get("metric", 0) for route in ip_json("route", "show", "192.168.2.0/24")],
                         [0, 1, 7, 32766])

    def test_is_deleted_by_its_metric_and_whatever_it_is(self):
        for metric in ("5", "6", "7"):
            ip("route", "add", NETWORK, "dev", "lan0", "metric", metric)
        for options, left in ((["--metric", "6"], [5, 7]), ([], [7]), ([], [])):
            self.assertEqual(ltectl("net", "route", "del", "lan0", NETWORK, *options).returncode, DONE)
            self.assertEqual([route["metric"] for route in ip_json("route", "show", NETWORK)], left)

    def test_as_json(self):
        route = {"event": "route", "destination": NETWORK, "gateway": FAR_IP, "interface": "lan0", "metric": 7}
        for verb, status in ("add", "added"), ("del", "deleted"):
            self.assert_json(f"net route {verb} lan0 {NETWORK} via {FAR_IP} --metric 7", {**route, "status": status})
        self.assert_runs(f"net route add lan0 {NETWORK} --json",
                         '{"event":"route","status":"added","destination":"192.168.2.0/24","interface":"lan0"}\n')

    def test_over_a_device_with_the_longest_name(self):
        self.add_link(LONGEST, "10.8.0.1/24")
        self.assertEqual(ltectl("net", "route", "add", LONGEST, "192.168.2.0/24").returncode, DONE)
        self.assertEqual(ip_json("route", "show", "192.168.2.0/24")[0]["dev"], LONGEST)

    def test_that_the_kernel_refuses(self):
        for verb, words, reason in (
                ("add", f"none0 {NETWORK}", f"{NETWORK} on none0: No such device"),
                ("add", f"lan0 {NETWORK} via 10.77.0.1",
                 f"{NETWORK} over 10.77.0.1 on lan0: Network (is )?unreachable"),
                ("delete", f"lan0 {NETWORK}", f"{NETWORK} on lan0: there is none"),
                ("delete", f"lan0 {NETWORK} via {FAR_IP}", f"{NETWORK} over {FAR_IP} on lan0: there is none"),
                ("delete", f"none0 {NETWORK}", f"{NETWORK} on none0: No such device")):
            self.assert_refused(f"net route {verb[:3]} {words}", f"cannot {verb} the route to {reason}")
        self.assertEqual(self.routes(), [])
        ip("route", "add", NETWORK, "dev", "lan0")
        self.assert_refused(f"net route add lan0 {NETWORK}", f"cannot add the route to {NETWORK} on lan0: File exists")
        ip("link", "set", "lan0", "down")
        self.assert_refused(f"net route add lan0 {NETWORK}",
                            f"cannot add the route to {NETWORK} on lan0: Network is down")

    def test_without_the_right_to(self):
        for words in f"add lan0 {NETWORK}", f"default add lan0 {FAR_IP}":
            self.assert_refused(f"net route {words}",
                                "cannot add the route to .* on lan0: Operation not permitted", "net_admin")
        self.assertEqual(self.routes(), [])

    def test_takes_no_bad_words(self):
        bad = ("", "/", "/24", "192.168.2.0", "192.168.2.0/", "192.168.2.0/33", "192.168.2.0/-1", "192.168.2.0/+8",
               "192.168.2.0/ 8", "192.168.2.0/24x", "192.168.2.0/24/24", "192.168.2.0x/24",
               "192.168.2.0/255.255.255.0", "192.168.2/24", "192.168.2.256/24", "192.168.2.0 /24", "192.168.2.1/24",
               "0.0.0.1/0", "default", "::/0", "1" * 5000 + "/24")
        takes = "a network as ADDRESS/LENGTH: LENGTH from 0 to 32, ADDRESS without bits beyond it"
        for verb in "add", "del":
            command = f"net route {verb}"
            self.assert_operands(command, DEV, ("DST/LEN", NETWORK, takes, bad))
            command += f" lan0 {NETWORK}"
            for address in BAD_ADDRESSES:
                self.assert_usage([*command.split(), "via", address], f'GATEWAY takes {ADDRESS}, not "{address}"')
            self.assert_option(command, "--metric", "a number from 0 to 32766",
                               ("", "x", "-1", "+1", " 1", "1x", "32767", "65536", "9" * 30))
            for rest, sentence in ((f" over {FAR_IP}", '"over" stands where only "via" may'),
                                   (" via", f"GATEWAY is missing; see ltectl net route {verb} --help"),
                                   (f" via {FAR_IP} now",
                                    f'"now" is one argument too many; see ltectl net route {verb} --help')):
                self.assert_usage(command + rest, sentence)
        self.assertEqual(self.routes(), [])


class DefaultRoute(NetTest):
    def told(self, status, *gateways):
        return "".join(f"route {status} destination=0.0.0.0/0 gateway={gateway} interface=lan0\n"
                       for gateway in gateways)

    def test_over_one_gateway_and_over_as_many_as_it_takes(self):
        for gateways in ([FAR_IP], [f"10.9.0.{number}" for number in range(2, 34)]):
            self.assert_added_and_deleted("route default", gateways, self.told("STATUS", *gateways),
                                          sorted(f"default via {gateway} dev lan0" for gateway in gateways))

    def test_over_one_more_is_refused_as_a_whole(self):
        gateways = [f"10.9.0.{number}" for number in range(2, 35)]
        for verb in "add", "del":
            self.assert_usage(["net", "route", "default", verb, "lan0", *gateways],
                              "at most 32 gateways can be given")
        self.assertEqual(self.routes(), [])

    def test_over_addresses_of_the_greatest_length(self):
        ip("address", "add", "223.255.255.101/24", "dev", "lan0")
        self.addCleanup(ip, "address", "delete", "223.255.255.101/24", "dev", "lan0")
        gateways = [f"223.255.255.{number}" for number in range(200, 232)]
        self.assert_runs(["net", "route", "default", "add", "lan0", *gateways], self.told("added", *gateways))
        self.assertEqual(len(self.routes()), 32)

    def test_tells_each_that_could_not_be_added_or_deleted(self):
        for verb, gateways, status, reason, left in (
                ("add", ["10.77.0.1", FAR_IP, "10.77.0.2"], "added", "Network (is )?unreachable",
                 [f"default via {FAR_IP} dev lan0"]),
                ("add", [FAR_IP], None, "File exists", [f"default via {FAR_IP} dev lan0"]),
                ("delete", [SILENT_IP, FAR_IP], "deleted", "there is none", [])):
            result = ltectl("net", "route", "default", verb[:3], "lan0", *gateways)
            self.assertEqual((result.returncode, result.stdout), (FAILED, self.told(status, FAR_IP) if status else ""))
            self.assertRegex(result.stderr, "\\A" + "".join(
                rf"ltectl: cannot {verb} the route to 0.0.0.0/0 over {gateway} on lan0: {reason}\n"
                for gateway in gateways if gateway != FAR_IP or status is None) + "\\Z")
            self.assertEqual(self.routes(), left)

    def test_leaves_those_with_another_metric_or_of_another_device(self):
        self.add_link("other0", "10.8.0.1/24")
        ip("route", "add", "default", "via", "10.8.0.2", "dev", "other0", "metric", "9")
        ip("route", "add", "default", "via", FAR_IP, "dev", "lan0", "metric", "5")
        kept = self.routes()
        ltectl("net", "route", "default", "add", "lan0", FAR_IP)
        self.assertEqual(self.routes(), sorted([*kept, f"default via {FAR_IP} dev lan0"]))
        self.assert_runs(f"net route default del lan0 {FAR_IP}", self.told("deleted", FAR_IP))
        self.assertEqual(self.routes(), kept)

    def test_as_json(self):
        for verb, status in ("add", "added"), ("del", "deleted"):
            self.assert_json(f"net route default {verb} lan0 {FAR_IP} {SILENT_IP}", *[
                {"event": "route", "status": status, "destination": "0.0.0.0/0", "gateway": gateway,
                 "interface": "lan0"} for gateway in (FAR_IP, SILENT_IP)])

    def test_takes_no_bad_words(self):
        for verb in "add", "del":
            command = f"net route default {verb}"
            self.assert_operands(command, DEV, ("GATEWAY", FAR_IP, ADDRESS, ()))
            for address in (*BAD_ADDRESSES, f"{FAR_IP} {SILENT_IP}"):
                self.assert_usage([*command.split(), "lan0", FAR_IP, address],
                                  f'GATEWAY takes {ADDRESS}, not "{address}"')
        self.assertEqual(self.routes(), [])


class Arp(NetTest):
    def test_shows_what_the_kernel_has(self):
        self.assertEqual(self.meet(), FAR_MAC)
        self.assert_runs(f"net arp {FAR_IP}", f"{FAR_IP} {FAR_MAC}\n")
        self.assert_runs(f"net arp {FAR_IP} --json", f'{{"event":"neighbour","ip":"{FAR_IP}","mac":"{FAR_MAC}"}}\n')
        ip("neigh", "replace", FAR_IP, "dev", "lan0", "lladdr", OTHER_MAC)
        self.assert_runs(f"net arp {FAR_IP}", f"{FAR_IP} {OTHER_MAC}\n")

    def test_of_one_whose_hardware_address_nobody_knows(self):
        ip("neigh", "replace", "10.9.0.20", "dev", "lan0", "lladdr", OTHER_MAC)
        self.send_to(SILENT_IP)
        for command in "net arp {}", "net probe {} lan0":
            for address, state in ((FAR_IP, "not in the ARP table, /proc/net/arp"),
                                   (SILENT_IP, "in the ARP table, but has not answered")):
                self.assert_fails(command.format(address), f"{address} is {state}")

    def test_takes_no_bad_words(self):
        self.assert_operands("net arp", ("IP", FAR_IP, ADDRESS, BAD_ADDRESSES))
        self.assert_usage(f"net arp {FAR_IP} now", '"now" is one argument too many; see ltectl net arp --help')


class Probe(NetTest):
    def answer_of(self, sender_mac):
        """An ARP answer, for SILENT_IP, to this end."""
        to, by = NEAR_MAC.replace(":", ""), sender_mac.replace(":", "")
        addresses = [socket.inet_aton(address).hex() for address in (SILENT_IP, NEAR_IP)]
        return f"{to}{by}0806" "0001080006040002" f"{by}{addresses[0]}{to}{addresses[1]}"

    def start_peer(self, *answers):
        """A neighbour that answers the next request as it was told to."""
        peer = Background(self, "nsenter", f"--net={self.far_namespace}", sys.executable, ARP_PEER, "far0", *answers)
        self.assertEqual(peer.out.next(), "ready")
        return peer

    def assert_unanswered(self, result, ip_address, mac, timeout):
        self.assert_result(result, FAILED, f"{ip_address} unanswered mac={mac} interface=lan0 timeout={timeout}\n", "")

    def test_of_a_neighbour_in_the_table_and_of_one_that_is_told(self):
        self.meet()
        for options, timeout in (("", 1000), (f" --mac {FAR_MAC} --timeout 20000", 20000)):
            self.assert_runs(f"net probe {FAR_IP} lan0{options}",
                             f"{FAR_IP} answered mac={FAR_MAC} interface=lan0 timeout={timeout}\n")

    def test_takes_hexadecimal_digits_of_both_cases(self):
        for mac in "0a:bc:de:f0:12:34", "0A:BC:DE:F0:12:34":
            self.assert_unanswered(ltectl("net", "probe", SILENT_IP, "lan0", "--mac", mac, "--timeout", "1"),
                                   SILENT_IP, mac.lower(), 1)

    def test_asks_with_the_address_of_its_end(self):
        peer = self.start_peer()
        ltectl("net", "probe", SILENT_IP, "lan0", "--mac", OTHER_MAC, "--timeout", "1")
        frame = bytes.fromhex(peer.out.next())
        self.assertEqual(frame[6:12].hex(":"), NEAR_MAC)
        self.assertEqual(frame[20:28].hex(":"), f"00:01:{NEAR_MAC}")
        self.assertEqual([socket.inet_ntoa(frame[at:at + 4]) for at in (28, 38)], [NEAR_IP, SILENT_IP])

    def test_of_a_kernel_at_another_address(self):
        self.assert_unanswered(ltectl("net", "probe", FAR_IP, "lan0", "--mac", OTHER_MAC), FAR_IP, OTHER_MAC, 1000)
        ip("neigh", "replace", FAR_IP, "dev", "lan0", "lladdr", OTHER_MAC)
        self.assert_unanswered(ltectl("net", "probe", FAR_IP, "lan0"), FAR_IP, OTHER_MAC, 1000)

    def test_of_a_peer_that_answers_rightly_and_wrongly(self):
        words = "net", "probe", SILENT_IP, "lan0", "--mac", OTHER_MAC, "--timeout", "20000"
        self.start_peer(self.answer_of(OTHER_MAC))
        self.assert_runs(words, f"{SILENT_IP} answered mac={OTHER_MAC} interface=lan0 timeout=20000\n")
        self.start_peer(self.answer_of(FAR_MAC))
        self.assert_unanswered(ltectl(*words), SILENT_IP, OTHER_MAC, 20000)

    def test_of_one_that_is_silent_takes_as_long_as_it_may(self):
        start = time.monotonic()
        result = ltectl("net", "probe", SILENT_IP, "lan0", "--mac", OTHER_MAC, "--timeout", "1300")
        self.assertGreaterEqual(time.monotonic() - start, 1.3)
        self.assert_unanswered(result, SILENT_IP, OTHER_MAC, 1300)

    def test_as_json(self):
        for address, status, code, timeout in [(FAR_IP, "answered", DONE, 20000),
                                               (SILENT_IP, "unanswered", FAILED, 20)]:
            self.assert_json(f"net probe {address} lan0 --mac {FAR_MAC} --timeout={timeout}",
                             {"event": "probe", "ip": address, "status": status, "mac": FAR_MAC,
                              "interface": "lan0", "timeout": timeout}, code=code)

    def test_over_an_interface_that_cannot_ask(self):
        self.add_link("bare0")
        for name, sentence in [("none0", 'there is no interface "none0"'),
                               ("lo", "lo has no Ethernet address to ask from"),
                               ("bare0", "bare0 is down")]:
            self.assert_fails(["net", "probe", FAR_IP, name], sentence)
        ip("link", "set", "bare0", "up")
        self.assert_fails(f"net probe {FAR_IP} bare0", "bare0 has no IPv4 address to ask from")

    def test_without_the_right_to(self):
        self.assert_refused(f"net probe {FAR_IP} lan0 --mac {FAR_MAC}",
                            "cannot open a packet socket: Operation not permitted", "net_raw")

    def test_takes_names_of_13_characters(self):
        self.add_link("name-of-13-ch", "10.8.0.1/24")
        self.assertEqual(ltectl(*f"net probe 10.8.0.2 name-of-13-ch --mac {FAR_MAC} --timeout 1".split()).stdout,
                         f"10.8.0.2 unanswered mac={FAR_MAC} interface=name-of-13-ch timeout=1\n")

    def test_takes_no_bad_words(self):
        self.assert_operands("net probe", ("IP", FAR_IP, ADDRESS, BAD_ADDRESSES),
                             ("DEV", "lan0", "an interface name of at most 13 characters",
                              (*BAD_NAMES, "name-of-14-cha", LONGEST)))
        command = f"net probe {FAR_IP} lan0"
        self.assert_option(command, "--timeout", "a number of milliseconds from 1 to 60000",
                           ("", "x", "0", "-1", "+1", " 1", "1s", "60001", "9" * 30))
        self.assert_option(command, "--mac", "a hardware address such as 00:11:22:33:44:55",
                           ("", "x", FAR_MAC + "x", FAR_MAC + ":03", FAR_MAC[:-1], " " + FAR_MAC, "020000000002",
                            "02-00-00-00-00-02", "2:0:0:0:0:2", "02:00:00:00:00:0g", "+2:00:00:00:00:02",
                            "02:00:00:00:00: 2", ":" * 17, "0" * 17, "0:11:22:33:44:555", "1" * 5000))
        self.assert_usage(f"{command} --mac", "--mac needs a value; see ltectl net probe --help")


class Iface(NetTest):
    def test_that_is_up(self):
        self.assert_runs("net iface lan0", f"lan0 up ip={NEAR_IP} mac={NEAR_MAC}\n")
        self.assert_runs("net iface lan0 --json",
                         f'{{"event":"iface","interface":"lan0","status":"up","ip":"{NEAR_IP}","mac":"{NEAR_MAC}"}}\n')

    def test_that_is_down(self):
        ip("link", "set", "lan0", "down")
        self.assert_runs("net iface lan0", f"lan0 down ip={NEAR_IP} mac={NEAR_MAC}\n")

    def test_without_an_address(self):
        self.add_link(LONGEST)
        mac = ip_json("link", "show", LONGEST)[0]["address"]
        self.assert_runs(f"net iface {LONGEST}", f"{LONGEST} down mac={mac}\n")

    def test_without_a_hardware_address(self):
        ip("link", "set", "lo", "up")
        self.assert_runs("net iface lo", "lo up ip=127.0.0.1\n")
        self.assert_runs("net iface lo --json", '{"event":"iface","interface":"lo","status":"up","ip":"127.0.0.1"}\n')

    def test_that_is_not_there(self):
        for name in "none0", "near", "lan00", "NEAR0":
            self.assert_fails(["net", "iface", name], f'there is no interface "{name}"')

    def test_takes_no_bad_words(self):
        self.assert_operands("net iface", ("NAME", "lan0", INTERFACE, BAD_NAMES))
        self.assert_usage("net iface lan0 now", '"now" is one argument too many; see ltectl net iface --help')


if __name__ == "__main__":
    support.main()
