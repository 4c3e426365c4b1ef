"""ltectl net: routes, neighbours and interfaces. No WAN manager is running in these tests."""

import os
import socket
import sys
import time

import support
from cable import FAR_IP, FAR_MAC, NEAR_IP, NEAR_MAC, CableTest, ip, ip_json
from support import DONE, FAILED, USAGE, Background, ltectl

SILENT_IP = "10.9.0.3"
OTHER_MAC = "02:00:00:00:00:03"
ARP_PEER = os.path.join(os.path.dirname(__file__), "..", "lc_network", "arp_peer.py")
LONGEST = "a-name-of-15-ch"

INTERFACE = "an interface name of at most 15 characters"
ADDRESS = "a dotted IPv4 address"
BAD_ADDRESSES = ("", "x", "10.9.0", "10.9.0.2x", "10.9.0.2 ", " 10.9.0.2", "10.9.0.2/24", "10.9.0.256", "::1",
                 "1" * 5000)
BAD_NAMES = ("", "a" * 16, "a" * 5000, "lan0 ", "a/b")


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

    def assert_usage(self, words, sentence):
        with self.subTest(words):
            self.assert_failed(ltectl("net", *words), USAGE, sentence)

    def assert_refused(self, result, sentence):
        """sentence: a regular expression, for the libraries of the systems word errors in their own ways."""
        self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
        self.assertRegex(result.stderr, rf"\Altectl: {sentence}\n\Z")


class Route(NetTest):
    def test_to_a_network(self):
        self.assert_ran(ltectl("net", "route", "add", "lan0", "192.168.2.0/24"),
                        "route added destination=192.168.2.0/24 interface=lan0\n")
        self.assertEqual(self.routes(), ["192.168.2.0/24 dev lan0 scope link"])
        self.assert_ran(ltectl("net", "route", "del", "lan0", "192.168.2.0/24"),
                        "route deleted destination=192.168.2.0/24 interface=lan0\n")
        self.assertEqual(self.routes(), [])

    def test_over_a_gateway(self):
        route = "192.168.2.0/24", "via", FAR_IP
        self.assert_ran(ltectl("net", "route", "add", "lan0", *route),
                        f"route added destination=192.168.2.0/24 gateway={FAR_IP} interface=lan0\n")
        self.assertEqual(self.routes(), [f"192.168.2.0/24 via {FAR_IP} dev lan0"])
        self.assert_ran(ltectl("net", "route", "del", "lan0", *route),
                        f"route deleted destination=192.168.2.0/24 gateway={FAR_IP} interface=lan0\n")
        self.assertEqual(self.routes(), [])

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
            self.assert_ran(ltectl("net", "route", "add", "lan0", "192.168.2.0/24", "--metric", metric),
                            f"route added destination=192.168.2.0/24 interface=lan0{told}\n")
        self.assertEqual([route.get("metric", 0) for route in ip_json("route", "show", "192.168.2.0/24")],
                         [0, 1, 7, 32766])

    def test_is_deleted_by_its_metric(self):
        for metric in ("5", "6", "7"):
            ip("route", "add", "192.168.2.0/24", "dev", "lan0", "metric", metric)
        self.assertEqual(ltectl("net", "route", "del", "lan0", "192.168.2.0/24", "--metric", "6").returncode, DONE)
        self.assertEqual([route["metric"] for route in ip_json("route", "show", "192.168.2.0/24")], [5, 7])

    def test_is_deleted_whatever_its_metric(self):
        ip("route", "add", "192.168.2.0/24", "dev", "lan0", "metric", "5")
        self.assertEqual(ltectl("net", "route", "del", "lan0", "192.168.2.0/24").returncode, DONE)
        self.assertEqual(self.routes(), [])

    def test_as_json(self):
        route = {"event": "route", "destination": "192.168.2.0/24", "gateway": FAR_IP, "interface": "lan0",
                 "metric": 7}
        words = "lan0", "192.168.2.0/24", "via", FAR_IP, "--metric", "7", "--json"
        for verb, status in ("add", "added"), ("del", "deleted"):
            result = ltectl("net", "route", verb, *words)
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertEqual(self.objects(result.stdout), [{**route, "status": status}])
        self.assert_ran(ltectl("net", "route", "add", "lan0", "192.168.2.0/24", "--json"),
                        '{"event":"route","status":"added","destination":"192.168.2.0/24","interface":"lan0"}\n')

    def test_over_a_device_with_the_longest_name(self):
        self.add_link(LONGEST, "10.8.0.1/24")
        self.assertEqual(ltectl("net", "route", "add", LONGEST, "192.168.2.0/24").returncode, DONE)
        self.assertEqual(ip_json("route", "show", "192.168.2.0/24")[0]["dev"], LONGEST)

    def test_that_the_kernel_refuses(self):
        refused = [
            ("add", ("none0", "192.168.2.0/24"), "192.168.2.0/24 on none0: No such device"),
            ("add", ("lan0", "192.168.2.0/24", "via", "10.77.0.1"),
             "192.168.2.0/24 over 10.77.0.1 on lan0: Network (is )?unreachable"),
            ("del", ("lan0", "192.168.2.0/24"), "192.168.2.0/24 on lan0: there is none"),
            ("del", ("lan0", "192.168.2.0/24", "via", FAR_IP),
             f"192.168.2.0/24 over {FAR_IP} on lan0: there is none"),
            ("del", ("none0", "192.168.2.0/24"), "192.168.2.0/24 on none0: No such device"),
        ]
        for verb, words, reason in refused:
            with self.subTest(verb=verb, words=words):
                name = {"add": "add", "del": "delete"}[verb]
                self.assert_refused(ltectl("net", "route", verb, *words), f"cannot {name} the route to {reason}")
        self.assertEqual(self.routes(), [])

    def test_that_is_there_already(self):
        ip("route", "add", "192.168.2.0/24", "dev", "lan0")
        self.assert_refused(ltectl("net", "route", "add", "lan0", "192.168.2.0/24"),
                            "cannot add the route to 192.168.2.0/24 on lan0: File exists")

    def test_over_a_device_that_is_down(self):
        ip("link", "set", "lan0", "down")
        self.assert_refused(ltectl("net", "route", "add", "lan0", "192.168.2.0/24"),
                            "cannot add the route to 192.168.2.0/24 on lan0: Network is down")

    def test_without_the_right_to(self):
        for words in ("add",), ("default", "add"):
            target = "192.168.2.0/24" if words == ("add",) else FAR_IP
            self.assert_refused(without("net_admin", "net", "route", *words, "lan0", target),
                                "cannot add the route to .* on lan0: Operation not permitted")
        self.assertEqual(self.routes(), [])

    def test_takes_no_bad_words(self):
        network = "a network as ADDRESS/LENGTH: LENGTH from 0 to 32, ADDRESS without bits beyond it"
        metric = "a number from 0 to 32766"
        good = "192.168.2.0/24"
        networks = ("", "/", "/24", "192.168.2.0", "192.168.2.0/", "192.168.2.0/33", "192.168.2.0/-1",
                    "192.168.2.0/+8", "192.168.2.0/ 8", "192.168.2.0/24x", "192.168.2.0/24/24", "192.168.2.0x/24",
                    "192.168.2.0/255.255.255.0", "192.168.2/24", "192.168.2.256/24", "192.168.2.0 /24",
                    "192.168.2.1/24", "0.0.0.1/0", "default", "::/0", "1" * 5000 + "/24")
        for verb in "add", "del":
            for name in BAD_NAMES:
                self.assert_usage(["route", verb, name, good], f'DEV takes {INTERFACE}, not "{name}"')
            for text in networks:
                self.assert_usage(["route", verb, "lan0", text], f'DST/LEN takes {network}, not "{text}"')
            for address in BAD_ADDRESSES:
                self.assert_usage(["route", verb, "lan0", good, "via", address],
                                  f'GATEWAY takes {ADDRESS}, not "{address}"')
            for value in ("", "x", "-1", "+1", " 1", "1x", "32767", "65536", "9" * 30):
                self.assert_usage(["route", verb, "lan0", good, f"--metric={value}"],
                                  f'--metric takes {metric}, not "{value}"')
            path = f"ltectl net route {verb}"
            self.assert_usage(["route", verb, "lan0", good, "over", FAR_IP],
                              '"over" stands where only "via" may')
            self.assert_usage(["route", verb], f"DEV is missing; see {path} --help")
            self.assert_usage(["route", verb, "lan0"], f"DST/LEN is missing; see {path} --help")
            self.assert_usage(["route", verb, "lan0", good, "via"], f"GATEWAY is missing; see {path} --help")
            self.assert_usage(["route", verb, "lan0", good, "via", FAR_IP, "now"],
                              f'"now" is one argument too many; see {path} --help')
        self.assertEqual(self.routes(), [])


class DefaultRoute(NetTest):
    def told(self, status, *gateways):
        return "".join(f"route {status} destination=0.0.0.0/0 gateway={gateway} interface=lan0\n"
                       for gateway in gateways)

    def test_over_one_gateway(self):
        self.assert_ran(ltectl("net", "route", "default", "add", "lan0", FAR_IP), self.told("added", FAR_IP))
        self.assertEqual(self.routes(), [f"default via {FAR_IP} dev lan0"])
        self.assert_ran(ltectl("net", "route", "default", "del", "lan0", FAR_IP), self.told("deleted", FAR_IP))
        self.assertEqual(self.routes(), [])

    def test_over_as_many_as_it_takes(self):
        gateways = [f"10.9.0.{number}" for number in range(2, 34)]
        self.assert_ran(ltectl("net", "route", "default", "add", "lan0", *gateways), self.told("added", *gateways))
        self.assertEqual(self.routes(), sorted(f"default via {gateway} dev lan0" for gateway in gateways))
        self.assert_ran(ltectl("net", "route", "default", "del", "lan0", *gateways),
                        self.told("deleted", *gateways))
        self.assertEqual(self.routes(), [])

    def test_over_one_more_is_refused_as_a_whole(self):
        gateways = [f"10.9.0.{number}" for number in range(2, 35)]
        for verb in "add", "del":
            self.assert_usage(["route", "default", verb, "lan0", *gateways], "at most 32 gateways can be given")
        self.assertEqual(self.routes(), [])

    def test_over_addresses_of_the_greatest_length(self):
        ip("address", "add", "223.255.255.101/24", "dev", "lan0")
        self.addCleanup(ip, "address", "delete", "223.255.255.101/24", "dev", "lan0")
        gateways = [f"223.255.255.{number}" for number in range(200, 232)]
        self.assert_ran(ltectl("net", "route", "default", "add", "lan0", *gateways), self.told("added", *gateways))
        self.assertEqual(len(self.routes()), 32)

    def test_tells_each_that_could_not_be_added(self):
        result = ltectl("net", "route", "default", "add", "lan0", "10.77.0.1", FAR_IP, "10.77.0.2")
        self.assertEqual((result.returncode, result.stdout), (FAILED, self.told("added", FAR_IP)))
        self.assertRegex(result.stderr, "\\A" + "".join(
            rf"ltectl: cannot add the route to 0.0.0.0/0 over {gateway} on lan0: Network (is )?unreachable\n"
            for gateway in ("10.77.0.1", "10.77.0.2")) + "\\Z")
        self.assertEqual(self.routes(), [f"default via {FAR_IP} dev lan0"])

    def test_tells_each_that_could_not_be_deleted(self):
        ip("route", "add", "default", "via", FAR_IP, "dev", "lan0")
        result = ltectl("net", "route", "default", "del", "lan0", SILENT_IP, FAR_IP)
        self.assertEqual((result.returncode, result.stdout), (FAILED, self.told("deleted", FAR_IP)))
        self.assertEqual(result.stderr, f"ltectl: cannot delete the route to 0.0.0.0/0 over {SILENT_IP} on lan0: "
                                        "there is none\n")
        self.assertEqual(self.routes(), [])

    def test_that_is_there_already(self):
        ip("route", "add", "default", "via", FAR_IP, "dev", "lan0")
        self.assert_refused(ltectl("net", "route", "default", "add", "lan0", FAR_IP),
                            f"cannot add the route to 0.0.0.0/0 over {FAR_IP} on lan0: File exists")
        self.assertEqual(self.routes(), [f"default via {FAR_IP} dev lan0"])

    def test_leaves_those_with_another_metric_or_of_another_device(self):
        self.add_link("other0", "10.8.0.1/24")
        ip("route", "add", "default", "via", "10.8.0.2", "dev", "other0", "metric", "9")
        ip("route", "add", "default", "via", FAR_IP, "dev", "lan0", "metric", "5")
        kept = self.routes()
        ltectl("net", "route", "default", "add", "lan0", FAR_IP)
        self.assertEqual(self.routes(), sorted([*kept, f"default via {FAR_IP} dev lan0"]))
        self.assert_ran(ltectl("net", "route", "default", "del", "lan0", FAR_IP), self.told("deleted", FAR_IP))
        self.assertEqual(self.routes(), kept)

    def test_as_json(self):
        for verb, status in ("add", "added"), ("del", "deleted"):
            result = ltectl("net", "route", "default", verb, "lan0", FAR_IP, SILENT_IP, "--json")
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertEqual(self.objects(result.stdout),
                             [{"event": "route", "status": status, "destination": "0.0.0.0/0",
                               "gateway": gateway, "interface": "lan0"} for gateway in (FAR_IP, SILENT_IP)])

    def test_takes_no_bad_words(self):
        for verb in "add", "del":
            words = ["route", "default", verb]
            for name in BAD_NAMES:
                self.assert_usage([*words, name, FAR_IP], f'DEV takes {INTERFACE}, not "{name}"')
            for address in (*BAD_ADDRESSES, f"{FAR_IP} {SILENT_IP}"):
                self.assert_usage([*words, "lan0", FAR_IP, address], f'GATEWAY takes {ADDRESS}, not "{address}"')
            path = f"ltectl net route default {verb}"
            self.assert_usage(words, f"DEV is missing; see {path} --help")
            self.assert_usage([*words, "lan0"], f"GATEWAY is missing; see {path} --help")
        self.assertEqual(self.routes(), [])


class Arp(NetTest):
    def test_shows_what_the_kernel_has(self):
        self.assertEqual(self.meet(), FAR_MAC)
        self.assert_ran(ltectl("net", "arp", FAR_IP), f"{FAR_IP} {FAR_MAC}\n")
        self.assert_ran(ltectl("net", "arp", FAR_IP, "--json"), f'{{"event":"neighbour","ip":"{FAR_IP}","mac":"{FAR_MAC}"}}\n')
        ip("neigh", "replace", FAR_IP, "dev", "lan0", "lladdr", OTHER_MAC)
        self.assert_ran(ltectl("net", "arp", FAR_IP), f"{FAR_IP} {OTHER_MAC}\n")

    def test_of_one_that_nobody_asked_for(self):
        ip("neigh", "replace", "10.9.0.20", "dev", "lan0", "lladdr", OTHER_MAC)
        self.assert_failed(ltectl("net", "arp", FAR_IP), FAILED,
                           f"{FAR_IP} is not in the ARP table, /proc/net/arp")

    def test_of_one_that_does_not_answer(self):
        self.send_to(SILENT_IP)
        self.assert_failed(ltectl("net", "arp", SILENT_IP), FAILED,
                           f"{SILENT_IP} is in the ARP table, but has not answered")

    def test_takes_no_bad_words(self):
        for address in BAD_ADDRESSES:
            self.assert_usage(["arp", address], f'IP takes {ADDRESS}, not "{address}"')
        self.assert_usage(["arp"], "IP is missing; see ltectl net arp --help")
        self.assert_usage(["arp", FAR_IP, "now"], '"now" is one argument too many; see ltectl net arp --help')


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

    def test_of_a_neighbour_in_the_table(self):
        self.meet()
        self.assert_ran(ltectl("net", "probe", FAR_IP, "lan0"),
                        f"{FAR_IP} answered mac={FAR_MAC} interface=lan0 timeout=1000\n")

    def test_of_a_neighbour_that_is_told(self):
        self.assert_ran(ltectl("net", "probe", FAR_IP, "lan0", "--mac", FAR_MAC, "--timeout", "20000"),
                        f"{FAR_IP} answered mac={FAR_MAC} interface=lan0 timeout=20000\n")

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
        self.assert_ran(ltectl(*words), f"{SILENT_IP} answered mac={OTHER_MAC} interface=lan0 timeout=20000\n")
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
            result = ltectl("net", "probe", address, "lan0", "--mac", FAR_MAC, f"--timeout={timeout}", "--json")
            self.assertEqual((result.returncode, result.stderr), (code, ""))
            self.assertEqual(self.objects(result.stdout),
                             [{"event": "probe", "ip": address, "status": status, "mac": FAR_MAC, "interface": "lan0",
                               "timeout": timeout}])

    def test_of_one_whose_hardware_address_nobody_knows(self):
        self.assert_failed(ltectl("net", "probe", FAR_IP, "lan0"), FAILED,
                           f"{FAR_IP} is not in the ARP table, /proc/net/arp")
        self.send_to(SILENT_IP)
        self.assert_failed(ltectl("net", "probe", SILENT_IP, "lan0"), FAILED,
                           f"{SILENT_IP} is in the ARP table, but has not answered")

    def test_over_an_interface_that_cannot_ask(self):
        self.add_link("bare0")
        for name, sentence in [("none0", 'there is no interface "none0"'),
                               ("lo", "lo has no Ethernet address to ask from"),
                               ("bare0", "bare0 is down")]:
            self.assert_failed(ltectl("net", "probe", FAR_IP, name), FAILED, sentence)
        ip("link", "set", "bare0", "up")
        self.assert_failed(ltectl("net", "probe", FAR_IP, "bare0"), FAILED,
                           "bare0 has no IPv4 address to ask from")

    def test_without_the_right_to(self):
        self.assert_refused(without("net_raw", "net", "probe", FAR_IP, "lan0", "--mac", FAR_MAC),
                            "cannot open a packet socket: Operation not permitted")

    def test_takes_names_of_13_characters(self):
        self.add_link("name-of-13-ch", "10.8.0.1/24")
        self.assertEqual(ltectl("net", "probe", "10.8.0.2", "name-of-13-ch", "--mac", FAR_MAC, "--timeout",
                                "1").stdout,
                         f"10.8.0.2 unanswered mac={FAR_MAC} interface=name-of-13-ch timeout=1\n")

    def test_takes_no_bad_words(self):
        for address in BAD_ADDRESSES:
            self.assert_usage(["probe", address, "lan0"], f'IP takes {ADDRESS}, not "{address}"')
        for name in (*BAD_NAMES, "name-of-14-cha", LONGEST):
            self.assert_usage(["probe", FAR_IP, name],
                              f'DEV takes an interface name of at most 13 characters, not "{name}"')
        for value in ("", "x", "0", "-1", "+1", " 1", "1s", "60001", "9" * 30):
            self.assert_usage(["probe", FAR_IP, "lan0", f"--timeout={value}"],
                              f'--timeout takes a number of milliseconds from 1 to 60000, not "{value}"')
        for value in ("", "x", FAR_MAC + "x", FAR_MAC + ":03", FAR_MAC[:-1], " " + FAR_MAC, "020000000002",
                      "02-00-00-00-00-02", "2:0:0:0:0:2", "02:00:00:00:00:0g", "+2:00:00:00:00:02",
                      "02:00:00:00:00: 2", ":" * 17, "0" * 17, "0:11:22:33:44:555", "1" * 5000):
            self.assert_usage(["probe", FAR_IP, "lan0", f"--mac={value}"],
                              f'--mac takes a hardware address such as 00:11:22:33:44:55, not "{value}"')
        self.assert_usage(["probe"], "IP is missing; see ltectl net probe --help")
        self.assert_usage(["probe", FAR_IP], "DEV is missing; see ltectl net probe --help")
        self.assert_usage(["probe", FAR_IP, "lan0", "--mac"], "--mac needs a value; see ltectl net probe --help")


class Iface(NetTest):
    def test_that_is_up(self):
        self.assert_ran(ltectl("net", "iface", "lan0"), f"lan0 up ip={NEAR_IP} mac={NEAR_MAC}\n")
        self.assert_ran(ltectl("net", "iface", "lan0", "--json"),
                        f'{{"event":"iface","interface":"lan0","status":"up","ip":"{NEAR_IP}","mac":"{NEAR_MAC}"}}\n')

    def test_that_is_down(self):
        ip("link", "set", "lan0", "down")
        self.assert_ran(ltectl("net", "iface", "lan0"), f"lan0 down ip={NEAR_IP} mac={NEAR_MAC}\n")

    def test_without_an_address(self):
        self.add_link(LONGEST)
        mac = ip_json("link", "show", LONGEST)[0]["address"]
        self.assert_ran(ltectl("net", "iface", LONGEST), f"{LONGEST} down mac={mac}\n")

    def test_without_a_hardware_address(self):
        ip("link", "set", "lo", "up")
        self.assert_ran(ltectl("net", "iface", "lo"), "lo up ip=127.0.0.1\n")
        self.assert_ran(ltectl("net", "iface", "lo", "--json"),
                        '{"event":"iface","interface":"lo","status":"up","ip":"127.0.0.1"}\n')

    def test_that_is_not_there(self):
        for name in "none0", "near", "lan00", "NEAR0":
            self.assert_failed(ltectl("net", "iface", name), FAILED, f'there is no interface "{name}"')

    def test_takes_no_bad_words(self):
        for name in BAD_NAMES:
            self.assert_usage(["iface", name], f'NAME takes {INTERFACE}, not "{name}"')
        self.assert_usage(["iface"], "NAME is missing; see ltectl net iface --help")
        self.assert_usage(["iface", "lan0", "now"],
                          '"now" is one argument too many; see ltectl net iface --help')


if __name__ == "__main__":
    support.main()
