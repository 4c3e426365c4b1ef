"""The controls of the simulators: ltectl sim, the control socket, scripts.

usage: sim_test.py LTECTL WANSIM MODEMSIM WANSIM_WITH_A_CLOCK_AHEAD"""

import contextlib
import os
import random
import signal
import socket
import stat
import sys
import time

import frames
import support
import upgrade
from support import (CONNECTED, CONNECTING, DISCONNECTED, DONE, FAILED, GET_ROAMING, LINK_STATUS, MODEM, NO_ANSWER,
                     NOBODY, NOT_READY, READY, SMS_SOCKET, USAGE, ToolTest, WansimTest, ltectl, parameter,
                     stranger, wansim)

MODEMSIM, AHEAD = sys.argv[3:]
del sys.argv[3:]

CONTROL, STORE_CONTROL, MODEM_CONTROL = "/tmp/wansim.control", "/tmp/wansim-sms.control", "/dev/ttyUSB1.control"


def sim(command, *options):
    return ltectl("sim", *command.split(), *options)


class ControlTest(WansimTest):
    def setUp(self):
        super().setUp()
        for path in CONTROL, STORE_CONTROL, MODEM_CONTROL:  # of who was killed
            with contextlib.suppress(FileNotFoundError):
                os.unlink(path)

    def told(self, command, *options):
        self.assert_ran(sim(command, *options), f"done {command}\n")

    def status(self, *options):
        [state] = self.objects(sim("status", "--json", *options).stdout)
        return state


class State(ControlTest):
    def test_a_link_that_drops_and_comes_back(self):
        self.start("--delay", "0")
        self.subscribe()
        self.told("link restore")
        self.assert_published(READY, CONNECTING, b"+CSQ: 23,99", CONNECTED)
        self.told("link drop")
        self.assert_published(b"+CSQ: 18,99", DISCONNECTED, NOT_READY)
        self.told("link drop")
        self.assert_quiet()

    def test_a_drop_while_connecting_is_the_end_of_it(self):
        self.start("--delay", "1000")
        self.subscribe(LINK_STATUS)
        self.told("link restore")
        self.told("link drop")
        time.sleep(1.2)
        self.assert_published(CONNECTING, DISCONNECTED)

    def test_the_signal_is_what_it_was_set_to_whatever_the_link_does(self):
        self.start("--delay", "0")
        self.subscribe(MODEM)
        self.told("signal 7")
        self.assert_modem(b"+CSQ: 7,99")
        self.assertEqual(parameter("wm_wcdma_rssi_tmp"), b"7\0")
        self.told("link restore")
        self.assert_quiet()
        self.assertIn("+CSQ: 7,99", ltectl("at", "AT+CSQ").stdout)

    def test_the_network_type(self):
        self.start()
        self.told("network 1")
        self.assert_runs("nettype", "nettype value=1 name=WM_REG_2G\n")

    def test_a_card_that_is_taken_out(self):
        self.start("--delay", "0")
        self.told("link restore")
        self.subscribe(LINK_STATUS)
        self.told("card out")
        self.assert_published(DISCONNECTED)
        self.assertEqual(parameter("wm_wcdma_modem_status_tmp"), b"sim_absent\0")
        self.assert_fails("sim link restore", "it cannot connect: the SIM cannot be used, or the radio is off")
        self.told("card in")
        self.assertEqual(self.status()["sim"], "sim_ready")

    def test_a_card_that_asks_for_its_pin_does_when_it_is_back(self):
        self.start()
        ltectl("pin", "enable", "1234")
        self.told("card in")
        self.assertEqual(self.status()["sim"], "pin_enable")
        self.told("card out")
        self.told("card out")
        self.told("card in")
        self.assertEqual(self.status()["sim"], "sim_pin")

    def test_of_a_start_without_a_card(self):
        self.start("--sim", "absent")
        self.told("card in")
        self.assertEqual(self.status()["sim"], "sim_ready")

    def test_faults_come_and_go(self):
        self.start("--fault", "search=die")
        self.told("fault get-roaming=refuse")
        self.told("fault get-roaming=short")
        self.assertEqual(self.status()["faults"], "search=die get-roaming=short")
        self.assertEqual(len(self.peer.ask(GET_ROAMING)), 3)
        self.told("fault get-roaming")
        self.assertEqual(len(self.peer.ask(GET_ROAMING)), 8)
        self.told("fault all=late:1")
        self.assertEqual(self.status()["faults"], "search=die all=late:1")
        self.told("fault none")
        self.assertEqual(self.status()["faults"], "")

    def test_there_are_32_at_most(self):
        self.start(*["--fault=all=silent"] * 31, "--fault=search=die")
        self.assert_fails("sim fault get-roaming=die", "there are 32 faults already")
        self.told("fault search=silent")

    def test_status(self):
        self.start("--interface", "wwan3")
        self.assertEqual(self.status(), {
            "event": "simulator", "simulator": "wansim", "pid": self.wansim.process.pid, "link": "disconnected",
            "interface": "wwan3", "signal": 18, "network": 3, "sim": "sim_ready", "radio": "on", "roaming": "off",
            "hang": 0, "faults": ""})
        ltectl("cfun-off")
        ltectl("roam", "on")
        self.assertEqual({**self.status(), "radio": "off", "roaming": "on", "signal": 99}, self.status())

    def test_of_the_sms_store(self):
        self.start("--sms-store", "--messages=5")
        self.assertEqual(self.status("--control", STORE_CONTROL), {
            "event": "simulator", "simulator": "wansim", "pid": self.wansim.process.pid, "messages": 5, "hang": 0,
            "faults": ""})
        self.told("fault delete-all=refuse", "--control", STORE_CONTROL)
        self.assertEqual(self.peer.ask(support.DELETE_ALL, to=SMS_SOCKET), support.REFUSED)
        self.assert_fails(f"sim link drop --control {STORE_CONTROL}",
                          'unknown control "link": there are hang SECONDS, fault RULE, status, quit', USAGE)

    def test_it_tells_what_it_was_told(self):
        self.start()
        self.told("network 1")
        self.status()
        self.told("quit")
        self.assertEqual(self.wansim.finish(), (DONE, "wansim: control network 1 from=socket\n"
                                                      "wansim: control quit from=socket\nwansim: ended\n", ""))
        self.assertFalse(os.path.exists(CONTROL))

    def test_what_it_does_not_understand(self):
        self.start()
        for command, sentence in (
                ("link up", 'link takes drop or restore, not "up"'),
                ("signal 32", 'signal takes a number from 0 to 31, or 99, not "32"'),
                ("network 4", 'network takes a number from 0 to 3, not "4"'),
                ("card away", 'card takes out or in, not "away"'),
                ("hang 3601", 'hang takes a number of seconds from 0 to 3600, not "3601"'),
                ("fault search=late:5:6", "fault takes REQUEST=FAULT as --fault does, a request or all to end its "
                                          'faults, or none to end every fault, not "search=late:5:6"'),
                ("fault " + "x" * 300, "RULE is longer than a control can be")):
            self.assert_usage("sim " + command, sentence)
        self.assertEqual(self.status()["signal"], 18)


class Hang(ControlTest):
    def test_what_comes_meanwhile_is_answered_afterwards(self):
        self.start()
        self.told("hang 3600")
        self.assertGreater(self.status()["hang"], 3590)
        self.peer.send(stranger.message(stranger.REQUEST, GET_ROAMING, b"", 7))
        subscriber = self.start_peer("lc_socket_wm_common")
        subscriber.send(stranger.message(stranger.REQUEST, stranger.REGISTER, stranger.pack("I", LINK_STATUS), 8))
        self.assertIsNone(self.peer.receive(0.3))
        self.assertIsNone(subscriber.receive(0))
        self.told("hang 0")
        self.assertEqual(stranger.parse(self.peer.receive()[0])[:3], (stranger.RESPONSE, GET_ROAMING, 7))
        self.assertEqual(stranger.parse(subscriber.receive()[0])[0], stranger.RESPONSE)

    def test_it_ends_by_itself(self):
        self.start()
        self.told("hang 1")
        started = time.monotonic()
        self.assertEqual(len(self.peer.ask(GET_ROAMING, timeout=support.TIMEOUT)), 8)
        self.assertGreater(time.monotonic() - started, 0.5)

    def test_it_ends_by_itself_whatever_the_wall_clock_shows(self):
        self.wansim = support.Background(self, AHEAD)
        self.assertIn("ready", self.wansim.out.next())
        self.peer = self.start_peer()
        self.told("hang 1")
        self.assertEqual(len(self.peer.ask(GET_ROAMING, timeout=20)), 8)

    def test_it_does_not_keep_the_end_back(self):
        self.start()
        self.told("hang 3600")
        self.told("quit")
        self.assertEqual(self.wansim.process.wait(20), DONE)

    def test_controls_are_served_while_an_answer_is_kept_back(self):
        self.start("--fault", "get-roaming=late:600000")
        self.peer.send(stranger.message(stranger.REQUEST, GET_ROAMING, b"", 7))
        self.told("signal 3")
        self.assertEqual(self.status()["signal"], 3)


class Scripts(ControlTest):
    def write(self, text):
        support.write_file("/tmp/script", text.encode())
        return "--script=/tmp/script"

    def test_events_happen_in_time(self):
        started = time.monotonic()
        self.start("--delay=0", self.write("# a life\n0 link restore\n\n  0.25 signal 3 # weak\n0.5\tlink drop\n"
                                           "0.5 quit"))
        status, out, errors = self.wansim.finish()
        self.assertGreaterEqual(time.monotonic() - started, 0.5)
        self.assertEqual((status, errors), (DONE, ""))
        self.assertEqual([line.split("control ")[1] for line in out.splitlines() if "control" in line],
                         [f"{control} from=script" for control in ("link restore", "signal 3", "link drop", "quit")])
        self.assertIn("wansim: link connected", out)

    def test_what_fails_is_told(self):
        self.start("--sim=absent", self.write("0 link restore\n0 quit\n"))
        status, _, errors = self.wansim.finish()
        self.assertEqual((status, errors), (DONE, "wansim: script: link restore: failed it cannot connect: the SIM "
                                                  "cannot be used, or the radio is off\n"))

    def test_a_file_that_is_wrong_is_refused_before_the_start(self):
        no_time = "it begins with no time, a number of seconds from 0 to 86400 with up to three decimals"
        for text, sentence in (
                ("0 link drop\n\nlink drop\n", f", line 3: {no_time}"), ("-1 quit\n", f", line 1: {no_time}"),
                ("1. quit\n", f", line 1: {no_time}"), ("1.2345 quit\n", f", line 1: {no_time}"),
                ("86401 quit\n", f", line 1: {no_time}"), ("1.5x quit\n", f", line 1: {no_time}"),
                ("2 card out\n1.999 card in\n", ", line 2: its time is before that of the line before"),
                ("1 link drip\n", ', line 1: link takes drop or restore, not "drip"'),
                ("1\n", ", line 1: a control is missing: link drop|restore, signal RSSI, network TYPE, card out|in, "
                        "hang SECONDS, fault RULE, status, quit"),
                ("1 quit now\n", ", line 1: quit takes no argument"), ("1 link\n", ", line 1: link: drop|restore is missing"),
                ("1 link drop now\n", ', line 1: "now" is one argument too many'),
                ("1 quit\0\n", " is no text"), ("#" * 65537, " is longer than a script may be, 65536 bytes")):
            with self.subTest(text[:40]):
                self.assert_failed(wansim(self.write(text)), USAGE, "/tmp/script" + sentence, tool="wansim")
        self.assert_failed(wansim("--script=/none"), FAILED, "cannot read /none: No such file or directory",
                           tool="wansim")
        self.assert_failed(support.run(MODEMSIM, self.write("1 link drop\n")), USAGE,
                           '/tmp/script, line 1: unknown control "link": there are hang SECONDS, fault RULE, status, quit',
                           tool="modemsim")


class Modem(ControlTest):
    def start_modem(self, *options):
        self.modem = support.Background(self, MODEMSIM, "--echo=off", *options)
        self.assertIn("ready", self.modem.out.next())

    def status(self):
        return super().status("--control", MODEM_CONTROL)

    def told(self, command):
        super().told(command, "--control", MODEM_CONTROL)

    def test_status(self):
        self.start_modem("--fault=0=failed:2", "--fault=end=late")
        self.assertEqual(self.status(), {
            "event": "simulator", "simulator": "modemsim", "pid": self.modem.process.pid, "state": "normal",
            "pieces": 0, "bytes": 0, "ports": "there", "data": frames.DATA_PORT, "at": frames.AT_PORT, "hang": 0,
            "faults": "0=failed:2 end=late:2500"})
        upgrade.Port(self, frames.AT_PORT).command(upgrade.START)
        self.assertEqual(self.status()["state"], "upgrade")
        self.told("quit")
        self.assertEqual(self.modem.finish()[0], DONE)
        self.assertFalse(os.path.lexists(MODEM_CONTROL))

    def test_faults_come_and_go(self):
        self.start_modem()
        port = upgrade.Port(self, frames.AT_PORT)
        self.told("fault start=error:2")
        self.assertIn("ERROR", port.command(upgrade.START))
        self.assertEqual(self.status()["faults"], "start=error:1")
        self.told("fault start")
        self.assertIn("OK", port.command(upgrade.START))
        self.told("fault 3=failed:2")
        self.told("fault end=late:7")
        self.told("fault 3=fatal")
        self.assertEqual(self.status()["faults"], "end=late:7 3=fatal:1")
        self.told("fault none")
        self.assertEqual(self.status()["faults"], "")
        self.assert_fails(f"sim fault start=stall --control {MODEM_CONTROL}",
                          "fault takes PLACE=FAULT[:N] as --fault does, a place to end its faults, or none to end every "
                          'fault, not "start=stall"', USAGE)

    def test_what_comes_during_a_hang_is_answered_afterwards(self):
        self.start_modem()
        port = upgrade.Port(self, frames.AT_PORT)
        self.told("hang 3600")
        port.send(b"at\r")
        self.assertEqual(port.receive(timeout=0.3), b"")
        self.assertGreater(self.status()["hang"], 3590)
        self.told("hang 0")
        self.assertIn(b"OK", port.receive(b"OK\r\n"))

    def test_controls_are_served_while_an_answer_is_kept_back(self):
        self.start_modem("--fault=start=late:600000")
        upgrade.Port(self, frames.AT_PORT).send(upgrade.START.encode() + b"\r")
        self.modem.lines_to("late")
        self.told("quit")
        self.assertEqual(self.modem.process.wait(20), DONE)

    def test_a_script(self):
        support.write_file("/tmp/script", b"0.1 fault start=error\n0.2 quit\n")
        self.start_modem("--script=/tmp/script")
        self.assertEqual(self.modem.finish(), (DONE, "modemsim: control fault start=error from=script\n"
                                                     "modemsim: control quit from=script\nmodemsim: ended\n", ""))


class Trouble(ControlTest):
    def gone(self, path=CONTROL):
        return (f"no simulator is controlled at {path}: start wansim or modemsim, or tell --control where it listens")

    def test_without_one(self):
        self.assert_fails("sim status", self.gone(), NOBODY)
        self.assert_fails("sim status --control /tmp/other", self.gone("/tmp/other"), NOBODY)

    def test_one_that_was_killed_leaves_a_file_that_its_successor_replaces(self):
        self.start()
        self.wansim.dispose()
        self.peer.close()
        self.assertTrue(os.path.exists(CONTROL))
        self.assert_fails("sim status", self.gone(), NOBODY)
        self.start()
        self.status()

    def test_one_that_is_stopped(self):
        self.start()
        self.wansim.stop()
        started = time.monotonic()
        self.assert_fails("sim signal 5 --timeout 1", f"the simulator at {CONTROL} did not answer within 1 s: is it "
                          'stopped? When it goes on it may still do "signal 5"', NO_ANSWER)
        self.assertLess(time.monotonic() - started, 5)
        self.wansim.process.send_signal(signal.SIGCONT)
        self.assertEqual(self.status()["signal"], 5)

    def test_one_that_is_stopped_and_has_no_room(self):
        self.start()
        self.wansim.stop()
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.setblocking(False)
            with self.assertRaises(BlockingIOError):
                for _ in range(10000):
                    sender.sendto(b"status", CONTROL)
        self.assertEqual(sim("status", "--timeout", "1").returncode, NO_ANSWER)

    def test_one_that_ends_while_it_is_asked(self):
        self.start()
        self.wansim.stop()
        asking = self.start_ltectl("sim", "card", "out")
        time.sleep(0.5)
        self.wansim.dispose()
        self.assertEqual(asking.finish(), (NOBODY, "", f"ltectl: the simulator at {CONTROL} ended before it answered; "
                                                       'whether it did "card out" is not known\n'))

    def test_the_file_is_its_users_alone(self):
        self.start()
        self.assertEqual(stat.S_IMODE(os.stat(CONTROL).st_mode), 0o600)
        os.chmod(CONTROL, 0)
        self.assert_failed(support.without_rights("sim", "status"), FAILED,
                           f"cannot control the simulator at {CONTROL}: Permission denied")

    def test_each_has_a_path_of_its_own(self):
        self.start("--control", "/tmp/mine")
        self.assertEqual(self.status("--control=/tmp/mine")["simulator"], "wansim")
        self.assertFalse(os.path.exists(CONTROL))
        self.assert_failed(wansim("--sms-store", "--control=/tmp/mine"), FAILED, (
            "another simulator is controlled at /tmp/mine; --control gives this one a path of its own"), tool="wansim")
        self.status("--control=/tmp/mine")

    def test_what_is_no_socket_is_not_touched(self):
        support.write_file("/tmp/file", b"mine")
        os.symlink("/tmp/file", "/tmp/link")
        self.addCleanup(os.unlink, "/tmp/link")
        for path in "/tmp/file", "/tmp/link":
            self.assert_failed(wansim("--control", path), FAILED,
                               f"cannot make the control socket {path}: a file is there already", tool="wansim")
        self.assertEqual(support.read_file("/tmp/file"), b"mine")
        self.assert_failed(wansim("--control=/none/control"), FAILED,
                           "cannot make the control socket /none/control: No such file or directory", tool="wansim")

    def test_the_file_of_another_is_left_alone_at_the_end(self):
        self.start()
        os.unlink(CONTROL)
        support.write_file(CONTROL, b"")
        self.addCleanup(os.unlink, CONTROL)
        self.end()
        self.assertTrue(os.path.exists(CONTROL))

    def test_paths_that_are_too_long(self):
        longest = "/tmp/" + "c" * 102
        self.start("--control", longest)
        self.assertEqual(self.status("--control", longest)["simulator"], "wansim")
        for tool, result in (("wansim", wansim("--control", longest + "c")),
                             ("ltectl", sim("status", "--control", longest + "c"))):
            self.assert_failed(result, USAGE, f'--control takes a path of at most 107 characters, not "{longest}c"',
                               tool=tool)
        port = "/tmp/" + "p" * 100
        self.assert_failed(support.run(MODEMSIM, "--data-port", port), FAILED,
                           f"the path of the control socket, {port}.control, is too long; --control gives another",
                           tool="modemsim")

    def test_hostile_datagrams(self):
        self.start()
        modem = support.Background(self, MODEMSIM)
        modem.out.next()
        noise = random.Random(1)
        for path in CONTROL, MODEM_CONTROL:
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
                sender.bind("")
                sender.settimeout(support.TIMEOUT)
                sender.connect(path)
                for datagram in (b"", b"\0", b"quit\0", b"status\x1b[2J", b" \n", b"x" * 256, b"status" + b" " * 250,
                                 *(noise.randbytes(noise.randrange(1, 257)) for _ in range(100))):
                    sender.send(datagram)
                    answer = sender.recv(4096)
                    self.assertEqual(answer.startswith(b"usage "), datagram != b"status" + b" " * 250, datagram)
                    self.assertNotIn(b"\n", answer[:answer.startswith(b"usage") * 4096])
                for size in 257, 60000:
                    sender.send(b"s" * size)
                    self.assertEqual(sender.recv(4096), b"usage a control has at most 256 characters")
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as nameless:
                nameless.sendto(b"hang 0", path)
            self.assertEqual(self.status("--control", path)["hang"], 0)

    def test_a_client_that_does_not_read_holds_nothing_up(self):
        self.start()
        with contextlib.closing(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)) as deaf:
            deaf.bind("")
            for _ in range(100):
                deaf.sendto(b"status", CONTROL)
            self.status()

    def test_what_is_no_simulator(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as other:
            other.bind("/tmp/other-socket")
            self.addCleanup(os.unlink, "/tmp/other-socket")
            asking = self.start_ltectl("sim", "status", "--control=/tmp/other-socket")
            _, client = other.recvfrom(100)
            other.sendto(b"what\x1b[2J?", client)
            self.assertEqual(asking.finish(), (FAILED, "", "ltectl: what is at /tmp/other-socket is no simulator: it "
                                                           'answers "what?[2J?"\n'))


class Interrupted(ToolTest):
    def test_a_signal_ends_it(self):
        self.start_wansim().stop()
        asking = self.start_ltectl("sim", "status")
        time.sleep(0.4)
        self.assertEqual(asking.end(signal.SIGINT), (FAILED, "", "ltectl: interrupted\n"))


if __name__ == "__main__":
    support.main()
