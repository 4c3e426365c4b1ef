"""ltectl when the other side is stopped, dies, restarts or refuses, and when its own terminal goes.

Each case is given its deadline and prints the time it took."""

import contextlib
import fcntl
import itertools
import os
import re
import signal
import subprocess
import time

import support
from support import (BACKUP, CONNECT, CURRENT, DEFAULTS, DONE, FAILED, NO_ANSWER, NOBODY, SMS_SOCKET, SOCKET, STORE, Background,
                     FakeManager, NvTest, ToolTest, ltectl, read_file, stranger, write_file)

GRACE = 0.5
START = 0.0  # what a program takes to start and to end here, which is no part of its deadline

LASTING = ("monitor", "bus watch")
ASKING = ("roam", "roam on", "nettype", "pref 7", "port 1", "scan", "imsi", "channel", "pin enable 1234",
          "pin disable 1234", "pin change 1234 4321", "apn set", "at AT", "diag", "iface up", "cfun-off",
          "state-change", "connect", "disconnect", "request 99", *LASTING, "bus capture /dev/null", "status")
ASKING_THE_STORE = ("sms clear", "ussd-test")
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


def setUpModule():
    global START
    taken = []
    for _ in range(3):
        started = time.monotonic()
        ltectl("--version")
        taken.append(time.monotonic() - started)
    START = 4 * max(taken)  # once more for wansim, and for threads
    print(f"    {'to start and end a program':44} {max(taken):6.2f} s", flush=True)


class TroubleTest(ToolTest):
    @contextlib.contextmanager
    def within(self, seconds, case, least=0.0):
        """What is done inside ends by then; tells how long it took."""
        started = time.monotonic()
        yield
        took = time.monotonic() - started
        print(f"    {case:44} {took:6.2f} s, to end by {seconds + GRACE:g} s", flush=True)
        self.assertLess(took, seconds + GRACE + START, case)
        self.assertGreaterEqual(took, least, case)

    def start_stopped(self, *options):
        """A wansim that is there and does nothing."""
        simulator = self.start_wansim(*options)
        simulator.stop()
        return simulator

    def fill(self, name=SOCKET):
        """Leaves no room in a socket."""
        with contextlib.closing(stranger.Stranger("lc_socket_wm_common")) as peer:
            peer.socket.setblocking(False)
            with self.assertRaises(BlockingIOError):
                for _ in range(1000):
                    peer.send(stranger.message(stranger.ASYNC, 0x12345678), name)

    def run_timed(self, seconds, *arguments, least=0.0):
        with self.within(seconds, " ".join(arguments), least):
            return ltectl(*arguments)

    def assert_signal_ends(self, command, number, errors, out=None):
        """A command that waits for somebody."""
        started = self.start_ltectl(*command.split())
        time.sleep(0.2 + START)
        with self.within(0, f"{command}, {number.name}"):
            ended = started.end(number)
        self.assertEqual(ended, (FAILED, ended[1] if out is None else out, errors))

    def assert_no_answer(self, result):
        self.assertEqual(result.returncode, NO_ANSWER, result)
        self.assertRegex(result.stderr, rf"\Altectl: the (WAN manager|SMS store) is bound to ({SOCKET}|{SMS_SOCKET}), "
                                        r"but did not .* within \d+ s: is it stopped or busy\? It may still do so\n\Z")

    def timed_without_answer(self, command, seconds=1, least=1):
        result = self.run_timed(seconds, *command.split(), "--timeout", str(seconds), least=least)
        self.assert_no_answer(result)
        return result

    @contextlib.contextmanager
    def stopped(self, full=False):
        simulator = self.start_stopped()
        if full:
            self.fill()
        yield simulator
        simulator.dispose()


class Stopped(TroubleTest):
    """The WAN manager is bound to its name, and stopped."""

    def test_every_command_ends_by_its_deadline(self):
        """Also when there is room for what it sends."""
        with self.stopped(full=True):
            for command in ASKING:
                with self.subTest(command):
                    self.timed_without_answer(command)
        for command in ("roam", "connect", "iface up", "monitor", "bus watch", "status"):
            with self.subTest(command), self.stopped():
                self.timed_without_answer(command)

    def test_every_command_is_among_them(self):
        """Parameters and metrics wait for locks, an upgrade asks the modem, and sim a simulator: deadlines of other kinds."""
        others = "ram", "nv", "metrics", "upgrade", "wait", "sim"
        with_deadline = {command for command in support.leaves() if command.split()[0] not in others
                         and "--timeout SECONDS" in ltectl(*command.split(), "--help").stdout}
        tried = {" ".join(command.split()[:end]) for command in (*ASKING, *ASKING_THE_STORE) for end in (1, 2)}
        self.assertEqual(with_deadline - tried, set())

    def test_so_do_those_of_the_sms_store(self):
        self.start_wansim()
        self.start_stopped("--sms-store")
        self.timed_without_answer("sms clear", least=0)
        self.fill(SMS_SOCKET)
        for command in ASKING_THE_STORE:
            self.timed_without_answer(command, least=0)

    def test_waiting_for_an_answer_has_its_deadline_too(self):
        for full in (False, True):
            with self.subTest(full=full), self.stopped(full):
                self.assertEqual(self.run_timed(2, "wait", "manager", "--timeout", "2", least=2).returncode, NO_ANSWER)

    def test_a_scrape_does_without_the_answers(self):
        for full in (False, True):
            with self.subTest(full=full), self.stopped(full):
                self.assertEqual(self.run_timed(2, "metrics").returncode, DONE)

    def test_waiting_for_the_link_has_its_deadline_too(self):
        with self.stopped(full=True):
            for command in "connect", "disconnect":
                self.assert_no_answer(self.run_timed(1, command, "--wait", "1", least=1))

    def test_without_a_deadline_of_its_own_a_command_has_ten_seconds(self):
        self.start_stopped()
        commands = [self.start_ltectl(word) for word in ("roam", "connect", "monitor", "status")]
        with self.within(10, "default", least=9):
            for command in commands:
                status, _, err = command.finish()
                self.assertEqual(status, NO_ANSWER)
                self.assertIn("within 10 s", err)

    def test_what_needs_no_message_is_shown_all_the_same(self):
        for full in (False, True):
            with self.stopped(full):
                result = self.timed_without_answer("status", 2, least=2)
                shown = dict(re.findall(r"^(\w+(?: type)?) +(.*)$", result.stdout, re.M))
                self.assertEqual({name: shown[name] for name in ("SIM", "IMEI", "signal", "link", "IMSI", "roaming")},
                                 {"SIM": "sim_ready", "IMEI": "490154203237518", "signal": "18",
                                  "link": "WM_DISCONNECTED", "IMSI": "-", "roaming": "-"})
                [status] = self.objects(self.run_timed(1, "status", "--timeout", "1", "--json").stdout)
                self.assertEqual((status["sim"], "imsi" in status), ("sim_ready", False))

    def test_what_is_answered_is_shown_although_the_rest_is_not(self):
        self.start_wansim("--fault", "at=silent")
        result = self.run_timed(1, "status", "--timeout", "1")
        self.assertEqual(result.returncode, NO_ANSWER)
        self.assertIn("IMSI          001010123456789\noperator      -\n", result.stdout)

    def test_after_three_seconds_it_says_what_it_waits_for(self):
        self.start_stopped()
        with self.within(3, "roam, its first word", least=2.9):
            command = self.start_ltectl("roam", "--timeout", "4")
            self.assertEqual(command.err.next(),
                             "ltectl: waiting for the WAN manager to tell the roaming switch, for 4 s at most")
        self.assertEqual(command.finish()[2].count("\n"), 1)

    def test_signals_end_every_command(self):
        for full in (False, True):
            with self.stopped(full) as simulator:
                for command, number in itertools.product(
                        ("roam", "connect", "connect --wait 60", "monitor", "bus watch", "status", "pin enable 1234",
                         "iface up"), SIGNALS):
                    with self.subTest(command, number=number, full=full):
                        self.assert_signal_ends(command, number, "ltectl: interrupted; the WAN manager may go "
                                                                 "on with the request\n")
                        if not full:
                            simulator.process.send_signal(signal.SIGCONT)
                            ltectl("roam")
                            simulator.stop()

    def test_lasting_commands_end_although_the_manager_has_stopped(self):
        for number, command in itertools.product(SIGNALS, LASTING):
            simulator = self.start_wansim()
            started = self.start_ltectl(*command.split())
            started.err.next()
            simulator.stop()
            self.fill()
            with self.within(0, f"{command}, {number.name}"):
                self.assertEqual(started.end(number), (DONE, "", ""))
            simulator.dispose()

    def test_subscriptions_are_given_back_when_there_is_room(self):
        """Also the one that nobody has answered: it will be, once the WAN manager goes on."""
        manager = FakeManager(self)
        for command in ("monitor", "bus watch", "connect", "connect --wait 60"):
            started = self.start_ltectl(*command.split())
            self.assertEqual(manager.take()[1], stranger.REGISTER)
            with self.within(0, command):
                started.end(signal.SIGINT)
            self.assertEqual(manager.take()[1], stranger.DEREGISTER)
            while manager.receive(0.1) is not None:
                pass


def flags_of_files(pid):
    """{path: the flags with which a process has it open}"""
    flags = {}
    for fd in os.listdir(f"/proc/{pid}/fd"):
        with contextlib.suppress(FileNotFoundError):  # closed since
            told = read_file(f"/proc/{pid}/fdinfo/{fd}").decode()
            flags[os.readlink(f"/proc/{pid}/fd/{fd}")] = int(re.search(r"flags:\s*(\d+)", told).group(1), 8)
    return flags


class Locked(TroubleTest, NvTest):
    """Another process has the lock of a parameter, and does not give it back."""

    WHETHER = 'whether "a" has its new value is not known; ltectl %s get shows it'
    WHAT = "what has been stored is not known; the same command with --dry-run shows it"
    FILE = "/2ndfile/given.cfg"
    SAVED = "/2ndfile/saved.cfg"

    def setUp(self):
        super().setUp()
        ToolTest.setUp(self)
        os.makedirs(STORE)
        self.declare(b"a=23=da\nb=1=db\n")
        for name in ("a", "b"):
            self.put(name, b"v")
        write_file(STORE + "a", b"v\0")
        write_file(self.FILE, b"a=1=new\n")

    def lock(self, path):
        file = open(path, "r+b")
        self.addCleanup(file.close)
        fcntl.lockf(file, fcntl.LOCK_EX)
        return file

    def assert_locked(self, path, command, unknown=""):
        pid = os.getpid()
        name = read_file(f"/proc/{pid}/comm").decode().strip()
        self.assert_failed(self.run_timed(1, *command.split(), "--timeout", "1", least=1), NO_ANSWER,
                           f"process {pid} ({name}) holds the lock of {path}, and has not given it back within 1 s; "
                           f"if it hangs, end it: kill {pid}{unknown and '; '}{unknown}")

    def test_of_a_persistent_parameter(self):
        for directory in (CURRENT, BACKUP):
            self.lock(directory + "a")
            for command, unknown in (("get a", ""), ("list", ""), ("diff", ""), ("verify", ""),
                                     (f"export {self.SAVED}", ""), ("set a x", self.WHETHER % "nv"),
                                     (f"import {self.FILE} --no-checksum", self.WHAT), ("reset", self.WHAT),
                                     ("init", "")):
                if directory == BACKUP and command.split()[0] in ("get", "list", "diff", "export"):
                    continue  # the current copy is enough
                with self.subTest(command, directory=directory):
                    self.assert_locked(directory + "a", f"nv {command}", unknown)
            self.assertEqual(read_file(BACKUP + "a"), b"v\0")
            self.assertFalse(os.path.exists(self.SAVED))
            self.doCleanups()

    def test_files_that_are_open_meanwhile_are_closed_for_other_programs(self):
        """What the library has run by a shell would get them."""
        for words, files in ((["list"], {DEFAULTS}), (["verify"], {DEFAULTS}),
                             (["import", self.FILE, "--no-checksum", "--dry-run"], {DEFAULTS, self.FILE})):
            with self.subTest(words), self.lock(CURRENT + "a"):
                command = self.start_ltectl("nv", *words)
                flags = {}
                while not files <= set(flags):
                    self.assertIsNone(command.process.poll())
                    flags.update(flags_of_files(command.process.pid))
                self.assertEqual({path for path in files if not flags[path] & os.O_CLOEXEC}, set())

    def test_of_a_volatile_parameter(self):
        write_file(STORE + "test_ussd_flg", b"3\0")
        for name, command, unknown in (
                ("a", "ram get a", ""), ("a", "ram list", ""), ("a", "ram set a x", self.WHETHER % "ram"),
                ("test_ussd_flg", "ussd-test", self.WHETHER.replace('"a"', '"test_ussd_flg"') % "ram")):
            with self.lock(STORE + name):
                self.assert_locked(STORE + name, command, unknown)
        self.assertEqual(read_file(STORE + "a"), b"v\0")

    def test_of_what_is_waited_for(self):
        for name, condition in (("wm_wcdma_link_tmp", "link=connected"), ("wm_wcdma_modem_status_tmp", "sim=sim_ready")):
            write_file(STORE + name, b"2\0")
            with self.lock(STORE + name):
                self.assert_locked(STORE + name, f"wait {condition}")

    def test_of_what_the_manager_keeps(self):
        """What is known without it is shown all the same."""
        self.start_wansim()
        for name in ("wm_wcdma_modem_status_tmp", "wm_wcdma_link_tmp"):
            self.lock(STORE + name)
            result = self.run_timed(1, "status", "--timeout", "1", least=1)
            self.assertEqual(result.returncode, NO_ANSWER)
            self.assertIn(f"holds the lock of {STORE}{name}, and", result.stderr)
            self.assertRegex(result.stdout, r"(?m)^uptime +\d+ d \d+ h \d+ min$")
            self.doCleanups()
            self.start_wansim()

    def test_of_the_state_of_the_sim_that_decides(self):
        self.start_wansim()
        path = STORE + "wm_wcdma_modem_status_tmp"
        self.lock(path)
        for command in ("state-change", "sms clear"):
            self.assert_locked(path, command)

    def test_without_a_deadline_of_its_own_a_command_has_ten_seconds(self):
        self.lock(CURRENT + "a")
        with self.within(10, "nv get, default", least=9):
            command = self.start_ltectl("nv", "get", "a")
            with self.within(3, "nv get, its first word", least=2.9):
                self.assertRegex(command.err.next(),
                                 rf"\Altectl: waiting for the lock of {CURRENT}a, which process {os.getpid()} "
                                 r"\(.+\) holds, for 10 s at most\Z")
            status, out, err = command.finish()
        self.assertEqual((status, out, err.count("\n")), (NO_ANSWER, "", 1))

    def test_signals_end_every_command(self):
        self.lock(CURRENT + "a")
        self.lock(STORE + "a")
        for (command, unknown), number in itertools.product(
                (("nv get a", ""), ("nv set a x", "; " + self.WHETHER % "nv"), ("nv reset", "; " + self.WHAT),
                 (f"nv export {self.SAVED}", ""), ("ram get a", ""), ("ram set a x", "; " + self.WHETHER % "ram")),
                SIGNALS):
            self.assert_signal_ends(command, number, f"ltectl: interrupted{unknown}\n", "")

    def test_one_that_is_given_back_in_time_is_no_trouble(self):
        file = self.lock(CURRENT + "a")
        command = self.start_ltectl("nv", "set", "a", "x")
        time.sleep(0.3 + START)
        self.assertIsNone(command.process.poll())
        file.close()
        self.assertEqual(command.finish(), (DONE, "a=x\n", ""))

    def test_a_reader_may_take_longer_than_the_deadline(self):
        for number in range(2000):
            self.put(f"n{number}", b"v" * 100)
        self.declare(b"".join(b"n%d=1=d\n" % number for number in range(2000)))
        command = self.start_ltectl("nv", "list", "--timeout", "1")
        time.sleep(2)
        status, out, err = command.finish()
        self.assertEqual((status, out.count("\n"), err), (DONE, 2000, ""))


class Terminal(TroubleTest):
    def test_a_hangup_leaves_no_subscription(self):
        manager = FakeManager(self)
        for words in LASTING:
            command = self.start_ltectl(*words.split())
            manager.accept_registrations(4 if words == "monitor" else 3)
            command.err.next()
            with self.within(0, f"{words}, SIGHUP"):
                self.assertEqual(command.end(signal.SIGHUP), (DONE, "", ""))
            manager.assert_left()

    def test_one_that_ignores_a_hangup_outlives_it_and_the_manager(self):
        simulator = self.start_wansim()
        command = Background(self, "nohup", support.ltectl_program, "monitor")
        while "waiting for events" not in command.err.next():
            pass
        command.process.send_signal(signal.SIGHUP)
        ltectl("iface", "up")
        self.assertEqual(command.out.next(), "interface ready name=WM_READY")
        simulator.dispose()
        self.assertEqual(command.out.next(), "manager gone")
        command.end()

    def closing(self, descriptor, *command):
        """A program without one of its standard streams."""
        return "sh", "-c", f'exec "$@" {descriptor}{"<" if descriptor == 0 else ">"}&-', "sh", *command

    def closed(self, descriptor, *arguments):
        return subprocess.run(self.closing(descriptor, support.ltectl_program, *arguments), capture_output=True,
                              text=True, timeout=support.TIMEOUT)

    def test_no_socket_becomes_a_standard_stream(self):
        for descriptor, (program, option) in itertools.product(
                range(3), ((support.ltectl_program, "monitor"), (support.wansim_program, "--sms-store"))):
            with self.case((program, descriptor)):
                self.start_wansim() if program == support.ltectl_program else None
                started = Background(self, *self.closing(descriptor, program, option))
                time.sleep(0.3 + START)
                # What the emulator has opened itself tells nothing.
                links = [os.readlink(f"/proc/{started.process.pid}/fd/{number}") for number in range(3)]
                self.assertEqual(links[descriptor], "/dev/null")

    def test_without_standard_input_or_output_what_takes_none_is_as_ever(self):
        self.start_wansim()
        self.assert_ran(self.closed(0, "roam"), "roaming off\n")
        self.assert_failed(self.closed(0, "pin", "enable", "-"), FAILED,
                           "cannot read PIN from standard input: Bad file descriptor")
        for command in ("roam", "status", "ram list", "--version", "roam --json"):
            with self.subTest(command):
                self.assert_failed(self.closed(1, *command.split()), FAILED,
                                   "cannot write the answer: standard output is closed")

    def test_without_standard_error_the_code_tells(self):
        result = self.closed(2, "roam")
        self.assertEqual((result.returncode, result.stdout), (NOBODY, ""))
        self.start_stopped()
        with self.within(1, "roam, no standard error", least=1):
            result = self.closed(2, "roam", "--timeout", "1")
        self.assertEqual((result.returncode, result.stdout), (NO_ANSWER, ""))


class Dying(TroubleTest):
    def test_a_death_during_a_request_is_noticed_within_a_second(self):
        for words in sorted(set(ASKING) - set(LASTING)):
            with self.subTest(words):
                simulator = self.start_stopped()
                command = self.start_ltectl(*words.split())
                time.sleep(0.3 + START)
                with self.within(1, words):
                    simulator.process.kill()
                    status, _, err = command.finish()
                self.assertEqual(status, NOBODY)
                self.assertRegex(err, rf"\Altectl: the WAN manager on {SOCKET} ended before it did .*; whether it had "
                                      r"begun is not known\n\Z")

    def test_one_that_is_asked_for_the_link(self):
        self.start_wansim("--fault", "connect=die")
        with self.within(1, "connect --wait 60"):
            result = ltectl("connect", "--wait", "60")
        self.assertEqual(result.returncode, NOBODY)

    def test_also_one_that_is_gone_before_the_wait_begins(self):
        """Whatever is sent takes a while to return."""
        for back in (False, True):
            manager = FakeManager(self)
            command = Background(self, "strace", "-f", "-o", "/dev/null", "-e", "inject=sendto:delay_exit=300000",
                                 support.ltectl_program, "connect", "--wait", "60")
            manager.accept_registrations()
            self.assertEqual(manager.take()[1], CONNECT)
            with self.within(1.5, "connect --wait 60, gone at once"):
                manager.close()
                other = FakeManager(self) if back else None
                self.assertEqual(command.finish()[0], NOBODY)
            if other:
                other.close()

    def test_one_that_comes_back_at_once_has_not_heard_the_request(self):
        simulator = self.start_stopped()
        command = self.start_ltectl("roam")
        time.sleep(0.3 + START)
        simulator.dispose()
        with self.within(1, "roam"):
            self.start_wansim()
            self.assertEqual(command.finish()[0], NOBODY)


class Returning(TroubleTest):
    """monitor and bus watch outlive the WAN manager."""

    def test_they_tell_of_it_and_go_on(self):
        for words, event in (("monitor", "interface ready name=WM_READY"),
                             ("bus watch", "async WM_MSG_IFACE_STATUS_NOTIFY")):
            simulator = self.start_wansim("--delay", "0")
            command = self.start_ltectl(*words.split())
            command.err.next()
            ltectl("connect", "--wait", "10")
            command.lines_to("link connected")
            with self.within(1, f"{words}: gone"):
                simulator.dispose()
                self.assertEqual(command.lines_to("manager")[-1], "manager gone")
            with self.within(1.5, f"{words}: back"):
                simulator = self.start_wansim("--delay", "0")
                self.assertEqual([command.out.next(), command.out.next()],
                                 ["manager back", "link disconnected name=WM_DISCONNECTED"])
            ltectl("iface", "up")
            self.assertIn(event, command.out.next())
            self.assertEqual(command.end(signal.SIGINT)[0], DONE)
            simulator.dispose()

    def test_one_that_is_replaced_between_two_looks(self):
        simulator = self.start_wansim()
        command = self.start_ltectl("monitor", "--json", "--count", "1")
        command.err.next()
        simulator.dispose()
        self.start_wansim()
        self.assertEqual([self.objects(command.out.next())[0] for _ in range(3)], [
            {"event": "manager", "status": "gone"}, {"event": "manager", "status": "back"},
            {"event": "link", "status": "disconnected", "name": "WM_DISCONNECTED"}])
        ltectl("iface", "up")
        self.assertEqual(command.finish()[0::2], (DONE, ""))

    def test_one_that_returns_and_is_silent_is_asked_again(self):
        manager = FakeManager(self)
        command = self.start_ltectl("monitor")
        manager.accept_registrations()
        command.err.next()
        manager.close()
        self.assertEqual(command.out.next(), "manager gone")
        manager = FakeManager(self)
        manager.take()
        manager.accept_registrations(3)
        self.assertEqual(command.out.next(), "manager back")
        with self.within(0, "monitor"):
            self.assertEqual(command.end(signal.SIGINT)[0], DONE)

    def test_a_reader_that_goes_away_while_the_manager_is_gone(self):
        simulator = self.start_wansim()
        command = self.start_ltectl("monitor")
        command.err.next()
        simulator.dispose()
        command.out.next()
        command.out.close()
        self.assertEqual(command.finish(), (DONE, "", ""))

    def test_a_line_begins_with_its_time(self):
        for words in LASTING:
            simulator = self.start_wansim()
            command = self.start_ltectl(*words.split(), "--timestamps")
            command.err.next()
            before = time.time()
            ltectl("iface", "up")
            line = command.out.next()
            stamp = re.match(r"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)\.(\d{3})Z ", line)
            self.assertIsNotNone(stamp, line)
            moment = subprocess.run(["date", "--date", stamp[1] + "Z", "+%s"], check=True, capture_output=True)
            self.assertAlmostEqual(int(moment.stdout) + int(stamp[2]) / 1000, before, delta=1 + START)
            simulator.dispose()
            self.assertRegex(command.out.next(), r"\A\S+Z manager gone\Z")
            command.end()
        self.start_wansim()
        command = self.start_ltectl("monitor", "--timestamps", "--json", "--count", "1")
        command.err.next()
        ltectl("iface", "up")
        self.assertRegex(self.objects(command.out.next())[0]["time"], r"\A\d{4}-.*Z\Z")


class Refusing(TroubleTest):
    def test_a_refusal_of_the_preference(self):
        self.start_wansim("--fault", "set-pref=refuse")
        with self.within(0, "pref 7"):
            self.assert_fails("pref 7", "the WAN manager did not set the preferred radio technology (result -1)")

    def test_an_error_of_the_modem(self):
        self.start_wansim()
        for command in ("AT+NONE", "AT+X"):
            with self.within(0, f"at {command}"):
                result = ltectl("at", command)
            self.assert_result(result, FAILED, "ERROR\n", "ltectl: the modem answers an error\n")

    def test_errors_that_have_a_number(self):
        manager = FakeManager(self)
        for text, code in ((b"+CME ERROR: 10", FAILED), (b"\r\n+CMS ERROR: 500\r\n", FAILED), (b"ERROR\r\n", FAILED),
                           (b"ERROR\r\n\r\nOK", DONE), (b"+CSQ: 1,99\r\n\r\nOK\r\n", DONE)):
            client = self.start_ltectl("at", "AT")
            answer = stranger.pack("iII", 0, 0, len(text)) + text + b"\0"
            manager.respond(manager.take(), answer)
            self.assertEqual(client.finish()[0], code, text)

    def test_the_next_step_of_who_has_a_sim_that_is_locked(self):
        for state, hint in (("pin", "the SIM asks for its PIN, which ltectl pin enable PIN gives"),
                            ("puk", "the SIM is locked; ltectl pin change PUK NEW unlocks it, with the operator's PUK"),
                            ("absent", "there is no SIM")):
            simulator = self.start_wansim("--sim", state)
            self.assert_fails("imsi", f"the WAN manager did not tell the IMSI (result -1); {hint}")
            self.assert_fails("scan", f"the WAN manager did not find operators (result -1); {hint}")
            simulator.dispose()
        self.start_wansim("--sim", "pin")
        self.assert_runs("pin enable 1234", "pin enabled sim=pin_enable\n")
        self.assertEqual(ltectl("imsi").returncode, DONE)


if __name__ == "__main__":
    support.main()
