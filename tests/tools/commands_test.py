"""Every command of ltectl that drives the modem, against wansim."""

import json
import os
import pty
import re
import socket
import subprocess
import time

import support
from support import DONE, FAILED, NO_ANSWER, NOBODY, ToolTest, ltectl

OPERATORS = ["Northern Cell", "Harbour Mobile", "Ridge Telecom", "Old Valley"]


def refused(what, result=-1):
    return f"the WAN manager did not {what} (result {result})"


def silent(what):
    return (f"the WAN manager is bound to {support.SOCKET}, but did not {what} within 1 s: is it stopped or busy? It "
            "may still do so")


NO_STORE = f"no SMS store is bound to {support.SMS_SOCKET}; start wansim --sms-store or the SMS store"


class Settings(ToolTest):
    def test_are_shown_and_set_by_their_names_and_numbers(self):
        self.start_wansim()
        for command, shown in (("nettype", "nettype value=3 name=WM_REG_4G"),
                               ("nettype --timeout 30", "nettype value=3 name=WM_REG_4G"),
                               ("nettype 1", "nettype value=1 name=WM_REG_2G"),
                               ("nettype", "nettype value=1 name=WM_REG_2G"),
                               ("nettype --json", '{"event":"nettype","value":1,"name":"WM_REG_2G"}'),
                               ("pref 7", "pref value=7 name=WM_WCDMA_EVDO_PSRAT_LTE"), ("port 2", "port value=2")):
            self.assert_runs(command, shown + "\n")
        self.assert_fails("port 200", refused("select the serial port"))

    def test_values_out_of_range_are_no_values(self):
        for command, text, takes in (("nettype", "4", "a network type from 0 to 3"),
                                     ("pref", "16", "a radio technology from 0 to 15"),
                                     ("port", "-1", "a port from 0 to 255"), ("iface", "sideways", "up or down"),
                                     ("ussd-test", "4", "a number from 1 to 3")):
            self.assert_usage(f"{command} -- {text}", f'{command} takes {takes}, not "{text}"')
        for command, what, text in (("enable 123", "PIN", "123"), ("disable 123456789", "PIN", "123456789"),
                                    ("change 12a4 1234", "OLD", "12a4")):
            self.assert_usage(f"pin {command}", f'{what} takes 4 to 8 digits, not "{text}"')
        self.assert_usage(["pin", "change", "1234", ""], 'NEW takes 4 to 8 digits, not ""')
        for text in ("", "A" * 911):
            self.assert_usage(["at", text], "a command has 1 to 910 characters")
        self.assert_usage("led power 4", 'led takes signal, internet or sim, not "power"')
        for flash in ("5", "7", "13"):
            self.assert_usage(f"led sim {flash}",
                              f'led takes a pattern, which is 4, 8, 9, 10, 11 or 12, not "{flash}"')
        self.assert_usage("led sim 4 --colour 4", '--colour takes a colour from 0 to 3, not "4"')

    def test_refusals_are_told(self):
        self.start_wansim("--fault", "all=refuse")
        for command, what in (("nettype", "tell the network type"), ("nettype 1", "set the network type"),
                              ("port 1", "select the serial port"), ("imsi", "tell the IMSI"),
                              ("channel", "tell the LTE channel"), ("scan", "find operators"),
                              ("diag", "take a snapshot for diagnosis"), ("apn set", "use the access point name"),
                              ("at AT", "pass the command to the modem"),
                              ("pref 7", "set the preferred radio technology"), ("state-change", "change the state")):
            with self.subTest(command):
                self.assert_fails(command, refused(what))


class Pin(ToolTest):
    def test_is_asked_for_or_not_and_changed(self):
        self.start_wansim()
        self.assert_runs("pin enable 1234", "pin enabled sim=pin_enable\n")
        self.assert_runs("pin disable 1234", "pin disabled sim=sim_ready\n")
        self.assert_runs("pin change 1234 87654321", "pin changed sim=sim_ready\n")
        self.assertEqual(ltectl("pin", "enable", "1234").returncode, FAILED)
        self.assert_runs("pin enable 87654321", "pin enabled sim=pin_enable\n")

    def test_wrong_three_times_locks_the_sim_and_the_puk_unlocks_it(self):
        self.start_wansim()
        asked = refused("have the SIM ask for its PIN", -2)
        for hint in ("the PIN may be wrong, and three wrong ones in a row lock the SIM",
                     "the PIN may be wrong, and three wrong ones in a row lock the SIM",
                     "the SIM is locked; ltectl pin change PUK NEW unlocks it, with the operator's PUK"):
            self.assert_fails("pin enable 0000", f"{asked}; {hint}")
        self.assertIn("SIM           sim_puk\n", ltectl("status").stdout)
        self.assertEqual(ltectl("pin", "enable", "1234").returncode, FAILED)
        self.assert_runs("pin change 12345678 4321", "pin changed sim=sim_ready\n")


class Network(ToolTest):
    def test_operators_are_listed_without_the_librarys_own_output(self):
        self.start_wansim("--search-delay", "0")
        result = ltectl("scan")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertEqual(re.findall(r"^operator name=(.*?) first=", result.stdout, re.M), OPERATORS)
        self.assertEqual(len(result.stdout.splitlines()), len(OPERATORS))
        found = self.objects(ltectl("scan", "--json").stdout)
        self.assertEqual([entry["name"] for entry in found], OPERATORS)
        self.assertEqual(found[1], {"event": "operator", "name": "Harbour Mobile", "first": 1, "second": 2,
                                    "number1": 1, "number2": 7, "number3": 1, "number4": 17, "number5": 0})

    def test_a_terminal_sees_the_search_go_on(self):
        self.start_wansim("--search-delay", "4500")
        terminal, other_end = pty.openpty()
        result = subprocess.run([support.ltectl_program, "scan"], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=other_end, timeout=support.TIMEOUT)
        os.close(other_end)
        shown = support.read_terminal(terminal)
        self.assertEqual(result.returncode, DONE)
        line = "\rltectl: waiting for the WAN manager to find operators ... {} s of 180 s"
        self.assertIn(line.format(3) + line.format(4), shown)
        self.assertNotIn(line.format(2), shown)
        self.assertTrue(shown.endswith("\r\033[K"), "the line is wiped at the end")

    def test_the_user_need_not_wait_for_the_end(self):
        self.start_wansim("--search-delay", "20000")
        started = time.monotonic()
        self.assert_fails("scan --timeout 1", silent("find operators"), NO_ANSWER)
        self.assertLess(time.monotonic() - started, 10)

    def test_nor_for_an_answer_that_does_not_come(self):
        self.start_wansim("--fault", "all=silent")
        for command, what in (("nettype", "tell the network type"),
                              ("diag --hidden", "take a snapshot for diagnosis"),
                              ("state-change", "change the state"), ("at AT", "pass the command to the modem")):
            with self.subTest(command):
                self.assert_fails(f"{command} --timeout 1", silent(what), NO_ANSWER)

    def test_identity_and_channel(self):
        self.start_wansim("--imsi", "001019876543210")
        self.assert_runs("imsi", "001019876543210\n")
        self.assert_runs("imsi --json", '{"event":"imsi","imsi":"001019876543210"}\n')
        self.assert_runs("channel", "channel value=1300\n")


class Modem(ToolTest):
    def test_answers_commands(self):
        self.start_wansim()
        self.assert_runs("at AT+CSQ", "+CSQ: 18,99\n\nOK\n")
        self.assert_runs("at at", "OK\n")
        for option, shown in (("", "ERROR"), (" --json", '{"event":"at","command":"AT+NONE","answer":"ERROR"}')):
            self.assert_fails("at AT+NONE" + option, "the modem answers an error", out=shown + "\n")
        self.assertEqual(ltectl("at", "A" * 910).stdout, "ERROR\n")

    def test_a_long_answer_comes_whole(self):
        self.start_wansim()
        lines = ltectl("at", "AT+CLAC").stdout.split("\n")
        self.assertEqual((lines[0], lines[-3:]), ("AT", ["OK", "", ""]))
        answer = json.loads(ltectl("at", "--json", "AT+CLAC").stdout)
        self.assertEqual(answer["command"], "AT+CLAC")
        self.assertEqual(answer["answer"].replace("\r", "").split("\n"), lines[:-1])

    def test_snapshots(self):
        self.start_wansim()
        for command in ("diag", "diag --hidden"):
            ltectl("ram", "set", "wm_wcdma_diag_tmp", "old")
            self.assert_runs(command, "snapshot taken\n")
            self.assertEqual(ltectl("ram", "get", "wm_wcdma_diag_tmp").stdout, "csq=18,earfcn=1300\n")

    def test_interface_radio_and_access_point(self):
        simulator = self.start_wansim()
        for command, report in (("iface up", "interface ready"), ("iface down", "interface not ready"),
                                ("cfun-off", "+CSQ: 99,99")):
            self.assert_runs(command, f"{command} requested\n")
            simulator.lines_to(report)
        self.assert_runs("apn set", "apn set\n")


class AccessPoint(ToolTest):
    LIST = "/tmp/apn.list"

    def test_is_found_by_operator_code_or_not(self):
        support.write_file(self.LIST, b"a>00101F>Some name>internet.example>user>secret>13>\n")
        self.assert_runs(f"apn match {self.LIST} 00101",
                         "internet.example key=00101 text1=Some name text2=user text3=secret number1=3\n")
        self.assertEqual(json.loads(ltectl("apn", "match", self.LIST, "00101", "--json").stdout)["apn"],
                         "internet.example")
        self.assert_fails(f"apn match {self.LIST} 26201",
                          f'{self.LIST} has no "26201", or a line that is malformed; see {support.TRACE}')
        self.assert_fails("apn match /no/list 1", "cannot read /no/list: No such file or directory")


class Standalone(ToolTest):
    def setUp(self):
        super().setUp()
        self.simulator = self.start_wansim()

    def start_store(self, *options):
        return self.start_wansim("--sms-store", *options)

    def test_messages_are_deleted(self):
        store = self.start_store("--messages", "12")
        self.assert_runs("sms clear", "sms-clear done\n")
        store.lines_to("deleted messages=12")

    def test_without_a_store_there_is_nobody(self):
        for command in ("sms clear", "ussd-test"):
            self.assert_fails(command, NO_STORE, NOBODY)

    def test_state_change(self):
        self.assert_runs("state-change", "state-change done\n")
        self.simulator.lines_to("request state-change id=0x10000001")

    def test_without_a_usable_sim_nothing_is_done(self):
        self.simulator.dispose()
        self.start_wansim("--sim", "absent")
        self.start_store()
        for command in ("sms clear", "state-change"):
            self.assert_fails(command, "the SIM cannot be used: there is no SIM; nothing is done")

    def test_answers_to_ussd_codes_reach_the_store(self):
        store = self.start_store()
        for slot, start in (("1", "+CUSD: 1,"), ("2", ":+CUSD: 0,"), ("3", "+CUSD: 0,")):
            self.assert_runs(f"ussd-test {slot}", f"ussd answer={slot}\n")
            self.assertIn(f"modem {start}", store.lines_to("modem")[-1])

    def test_answers_to_ussd_codes_need_a_choice_that_can_be_stored(self):
        self.start_store()
        os.mkdir(support.STORE + "test_ussd_flg")
        self.assert_fails("ussd-test", f"cannot write {support.STORE}test_ussd_flg: Is a directory")


class Statistics(ToolTest):
    def test_are_the_kernels(self):
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            for _ in range(7):
                sender.sendto(b"x" * 100, ("127.0.0.1", 4000))
        shown = json.loads(ltectl("stats", "lo", "--json").stdout)
        kernel = json.loads(subprocess.run(["ip", "-json", "-statistics", "link", "show", "lo"], check=True,
                                           capture_output=True).stdout)[0]["stats64"]
        self.assertGreaterEqual(shown["rx_bytes"], 7 * 128)
        for way in ("rx", "tx"):
            for name in ("bytes", "packets", "errors", "dropped"):
                self.assertEqual(shown[f"{way}_{name}"], kernel[way][name])
        with open("/proc/uptime") as file:
            self.assertAlmostEqual(shown["uptime"], float(file.read().split()[0]), delta=2)

    def test_as_text(self):
        self.assertRegex(ltectl("stats", "lo").stdout, r"\Alo rx_bytes=\d+ tx_bytes=\d+ .* uptime=\d+\n\Z")
        self.assert_fails("stats wwan9", 'there is no interface "wwan9" in /proc/net/dev')

    def test_are_shown_every_second_with_rates(self):
        first, second = self.objects(ltectl("stats", "lo", "--watch", "--count", "2", "--json").stdout)
        self.assertNotIn("rx_bytes_per_second", first)
        self.assertEqual(second["rx_bytes_per_second"], second["rx_bytes"] - first["rx_bytes"])
        self.assertIn(second["uptime"] - first["uptime"], (1, 2))

    def test_end_when_a_field_that_is_asked_for_never_comes(self):
        self.assert_fails("stats lo --watch --get rx_byte,rx_bytes_per_second",
                          'the answer has no field "rx_byte"', out="\n0\n")
        rate = ltectl("stats", "lo", "--watch", "--count", "2", "--get", "rx_bytes_per_second")
        self.assert_result(rate, DONE, "0\n", "")


class Led(ToolTest):
    def test_is_set_through_its_file(self):
        result = support.run_led('"$@"; code=$?; cat /proc/lte_sim_flag; exit $code', "sim", "10")
        self.assert_result(result, DONE, "sim flash=10\n2\n", "")

    def test_without_its_file(self):
        result = ltectl("led", "internet", "4")
        self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
        self.assertTrue(result.stderr.endswith(
            "ltectl: the LED's control file under /proc cannot be written\n"), result.stderr)


class Status(ToolTest):
    def test_shows_everything_at_a_glance(self):
        self.start_wansim("--delay", "0", "--roaming", "on")
        ltectl("connect", "--wait", "10")
        lines = dict(re.findall(r"^(\w+(?: type)?) +(.*)$", ltectl("status", "--interface", "lo").stdout, re.M))
        uptime = lines.pop("uptime")
        interface = lines.pop("interface")
        self.assertEqual(lines, {"SIM": "sim_ready", "IMEI": "490154203237518", "IMSI": "001010123456789",
                                 "operator": "Northern Cell", "signal": "23", "network type": "WM_REG_4G",
                                 "roaming": "on", "link": "CONN_CONNECTED"})
        self.assertRegex(interface, r"\Alo, \d+ bytes in \d+ packets received, \d+ in \d+ sent\Z")
        self.assertRegex(uptime, r"\A\d+ d \d+ h \d+ min\Z")

    def test_leaves_out_what_nobody_knows(self):
        self.start_wansim("--sim", "absent")
        screen = ltectl("status").stdout
        self.assertIn("IMSI          -\n", screen)
        self.assertIn("interface     wwan0, not there\n", screen)
        status = json.loads(ltectl("status", "--json").stdout)
        self.assertEqual(set(status), {"event", "sim", "imei", "operator", "signal", "nettype", "roaming", "link",
                                       "interface", "uptime"})

    def test_needs_a_wan_manager(self):
        ltectl("ram", "set", "wm_wcdma_imei_nv", "490154203237518")
        result = ltectl("status")
        self.assert_failed(result, NOBODY, f"no WAN manager is bound to {support.SOCKET}; start wansim or the WAN "
                                           "manager", out=result.stdout)
        self.assertIn("IMEI          490154203237518\n", result.stdout)


if __name__ == "__main__":
    support.main()
