"""ltectl upgrade as its user sees it. usage: upgrade_test.py HURRIED_LTECTL MODEMSIM"""

import fcntl
import os
import pty
import re
import signal
import subprocess
import termios
import time

import frames
import support
import upgrade
from frames import AT_PORT, DATA_PORT
from support import DONE, FAILED, ltectl
from upgrade import IMAGE, UpgradeTest

EVENTS = f"""start image={IMAGE} bytes=5000 pieces=3
progress percent=40 bytes=2048 total=5000
progress percent=100 bytes=5000 total=5000
sent
upgraded
"""


class Success(UpgradeTest):
    def test_tells_every_step_and_a_program_the_same(self):
        """An upgrade can follow another."""
        self.start_modem()
        self.assert_runs(f"upgrade {IMAGE}", EVENTS)
        self.assertEqual(upgrade.received(), self.image)
        self.assert_json(f"upgrade {IMAGE}", {"event": "start", "image": IMAGE, "bytes": 5000, "pieces": 3},
                         {"event": "progress", "percent": 40, "bytes": 2048, "total": 5000},
                         {"event": "progress", "percent": 100, "bytes": 5000, "total": 5000},
                         {"event": "sent"}, {"event": "upgraded"})

    def test_progress_is_told_once_for_each_tenth(self):
        self.image = upgrade.make_image(1000003)
        self.start_modem("--quiet")
        result = ltectl("upgrade", IMAGE)
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        tenths = re.findall(r"^progress percent=(\d+)\d bytes=", result.stdout, flags=re.M)
        self.assertEqual(tenths, [str(tenth) for tenth in range(1, 11)])
        self.assertEqual(upgrade.received(), self.image)

    def test_images_of_every_kind_of_last_piece_arrive(self):
        for size in (2049, 3072, 4095, 4096, 4097):
            with self.subTest(size):
                self.image = upgrade.make_image(size)
                modem = self.start_modem("--quiet")
                self.assertEqual(ltectl("upgrade", IMAGE).returncode, DONE)
                self.end_modem(modem)
                self.assertEqual(upgrade.received(), self.image)

    def test_waits_for_a_modem_that_is_busy(self):
        modem = self.start_modem("--busy=2")
        self.assert_runs(f"upgrade {IMAGE}", EVENTS)
        self.assertEqual(self.end_modem(modem).count(upgrade.STATUS), 3)

    def test_the_modem_need_not_be_done_in_time(self):
        self.start_modem("--busy=1000")
        started = time.monotonic()
        result = ltectl("upgrade", IMAGE, "--timeout=2")
        self.assertGreaterEqual(time.monotonic() - started, 2)
        self.assert_result(result, FAILED, EVENTS.removesuffix("upgraded\n"),
                           "ltectl: the image is sent, but the modem does not say within 2 s that it is upgraded; leave "
                           "it powered and look again later\n")

    def test_without_standard_streams_it_is_done_all_the_same(self):
        modem = self.start_modem()
        for streams in (">&-", "2>&-", "<&- >&- 2>&-", ">/dev/full"):
            result = support.run("sh", "-c", f'exec "$@" {streams}', "sh", support.ltectl_program, "upgrade", IMAGE)
            self.assertEqual((result.returncode, upgrade.received()), (DONE, self.image), streams)
            os.unlink(upgrade.RECEIVED)
        self.assertNotIn("dropped", self.end_modem(modem))


class Settings(UpgradeTest):
    SWITCHES = {"icanon", "echo", "echoe", "echok", "isig", "iexten", "opost", "onlcr", "icrnl", "ixon", "ixoff",
                "brkint", "imaxbel", "crtscts"}

    def stty(self, port, *arguments):
        return subprocess.run(["stty", "-F", port, *arguments], check=True, capture_output=True, text=True).stdout

    def assert_raw(self, port):
        words = re.split(r"[;\s]+", self.stty(port, "-a"))
        self.assertEqual({word for word in words if word.lstrip("-") in self.SWITCHES},
                         {f"-{switch}" for switch in self.SWITCHES.intersection(word.lstrip("-") for word in words)})
        for setting in ("speed 115200 baud", "intr = <undef>", "min = 0", "time = 0"):
            self.assertIn(setting, " ".join(words))

    def test_both_ports_are_raw_at_115200_baud(self):
        modem = self.start_modem("--fault=start=late:200", "--fault=1=late:1000")
        for port in (DATA_PORT, AT_PORT):
            self.stty(port, "sane", "9600", "ixoff", "-icanon", "min", "1", "time", "7")
            self.assertIn("speed 9600 baud", self.stty(port, "-a"))
        self.start_upgrade()
        for told, port in ((upgrade.START, AT_PORT), ("piece index=1 ", DATA_PORT)):
            modem.lines_to(told)
            self.assert_raw(port)


class Refusals(UpgradeTest):
    def refuse(self, sentence, path=IMAGE):
        for dry_run in ([], ["--dry-run"]):
            result = ltectl("upgrade", path, *dry_run)
            self.assertEqual((result.returncode, result.stderr), (FAILED, f"ltectl: {sentence}\n"))
            if not dry_run:
                self.assertEqual(result.stdout, "")
        self.assertFalse(os.path.exists(support.TRACE), "the library was not asked")

    def test_an_image_of_a_size_that_cannot_be(self):
        for size in (0, 1, 2048, 2**31):
            os.truncate(IMAGE, size)
            self.refuse(f"{IMAGE} cannot be an image: its size is {size} bytes, not 2049 to 2147483647")

    def test_what_is_no_file(self):
        os.mkfifo("/tmp/fifo")
        self.addCleanup(os.unlink, "/tmp/fifo")
        for path in ("/tmp", "/dev/null", "/tmp/fifo"):
            self.refuse(f"{path} is no file", path)
        self.refuse("cannot read /tmp/none: No such file or directory", "/tmp/none")

    def refuse_port(self, port, reason):
        self.refuse(f"cannot use the modem's port {port}: {reason}; is the modem plugged in, and its serial driver "
                    "loaded?")

    def test_a_port_that_is_missing_or_none(self):
        self.refuse_port(DATA_PORT, "No such file or directory")
        self.start_modem()
        os.unlink(AT_PORT)
        self.refuse_port(AT_PORT, "No such file or directory")
        with open(AT_PORT, "w"):
            self.addCleanup(os.unlink, AT_PORT)
        self.refuse_port(AT_PORT, "it is no serial port")
        os.unlink(DATA_PORT)
        self.refuse_port(DATA_PORT, "No such file or directory")

    def test_a_port_that_another_program_holds(self):
        self.start_modem()
        for port in (DATA_PORT, AT_PORT):
            fd = os.open(port, os.O_RDWR | os.O_NOCTTY)
            fcntl.ioctl(fd, termios.TIOCEXCL)
            self.refuse_port(port, "another program holds it")
            fcntl.ioctl(fd, termios.TIOCNXCL)
            os.close(fd)

    def test_bad_words(self):
        for value in ("0", "86401", "x", ""):
            self.assert_usage(["upgrade", IMAGE, f"--timeout={value}"],
                              f'--timeout takes a number of seconds from 1 to 86400, not "{value}"')
        self.assert_usage("upgrade", "IMAGE is missing; see ltectl upgrade --help")


class DryRun(UpgradeTest):
    PLAN = {"image": IMAGE, "bytes": 5000, "checksum": None, "pieces": 3, "last_piece": 904, "frames": 5,
            "wire_bytes": 10320}

    def assert_planned(self, status):
        """Its output: the plan and the status of both ports. The result."""
        checksum = frames.checksum(self.image)
        result = ltectl("upgrade", IMAGE, "--dry-run")
        fields = " ".join(f"{name}={value}" for name, value in {**self.PLAN, "checksum": f"{checksum:08X}"}.items())
        self.assertEqual(result.stdout, f"plan {fields}\n" + "".join(
            f"port port={port} status={status}\n" for port in (DATA_PORT, AT_PORT)))
        self.assertEqual(self.objects(ltectl("upgrade", IMAGE, "--dry-run", "--json").stdout), [
            {"event": "plan", **self.PLAN, "checksum": checksum},
            *({"event": "port", "port": port, "status": status} for port in (DATA_PORT, AT_PORT))])
        return result

    def test_says_what_would_be_sent_and_sends_nothing(self):
        modem = self.start_modem()
        result = self.assert_planned("ready")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertEqual(self.end_modem(modem), "modemsim: ended\n")
        for path in (support.TRACE, upgrade.RECEIVED):
            self.assertFalse(os.path.exists(path))

    def test_without_a_modem_it_is_a_failure_with_a_plan(self):
        result = self.assert_planned("No such file or directory")
        self.assertEqual(result.returncode, FAILED)
        self.assertTrue(result.stderr.startswith(f"ltectl: cannot use the modem's port {DATA_PORT}: "))


class Meanwhile(UpgradeTest):
    """Something happens while the modem takes long over the second of ten pieces."""

    SIZE = 20000
    WARNING = ("ltectl: stopping now can leave the modem without firmware; press Ctrl-C again to stop all "
               "the same")

    def setUp(self):
        super().setUp()
        self.modem = self.start_modem("--fault=1=late:1200")
        self.upgrade = self.start_upgrade()
        self.modem.lines_to("piece index=1 ")

    def assert_goes_on(self, out_end="upgraded\n"):
        status, out, errors = self.upgrade.finish()
        self.assertEqual((status, errors), (DONE, ""))
        self.assertTrue(out.endswith(out_end), out)
        self.assertEqual(upgrade.received(), self.image)

    def assert_ends(self, sentence):
        """What it has printed."""
        status, out, errors = self.upgrade.finish()
        self.assertEqual((status, errors), (FAILED, f"ltectl: {sentence}\n"))
        return out

    def send_signal(self, number=signal.SIGINT):
        self.upgrade.process.send_signal(number)

    def test_it_can_be_asked_to_stop(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.send_signal(number)
            if number == signal.SIGINT:
                self.assertEqual(self.upgrade.err.next(), self.WARNING)
        self.assertNotIn("sent", self.assert_ends("stopped before the image was complete; start the upgrade again"))

    def test_asked_once_it_goes_on(self):
        self.send_signal()
        self.assertEqual(self.upgrade.err.next(), self.WARNING)
        self.assert_goes_on()

    def test_a_terminal_that_closes_does_not_stop_it(self):
        self.send_signal(signal.SIGHUP)
        self.assert_goes_on()

    def test_a_reader_that_goes_does_not_stop_it(self):
        self.upgrade.process.stdout.close()
        self.assert_goes_on("")

    def test_no_other_upgrade_can_be_started(self):
        self.assert_fails(f"upgrade {IMAGE}", "another upgrade is running")
        self.assert_goes_on()

    def test_an_image_that_is_cut_short_ends_it(self):
        os.truncate(IMAGE, 6200)  # in the fourth piece
        self.assert_ends(f"cannot read {IMAGE}: it has become shorter meanwhile. The modem has no complete firmware "
                         "now: start the upgrade again")


class StoppedOutsideTheTransfer(UpgradeTest):
    def test_the_modem_has_changed_nothing_or_goes_on_by_itself(self):
        for option, sentence in (
                ("--fault=begin=late:2000", "stopped before anything was changed"),
                ("--busy=1000", "stopped waiting; the image is sent, and the modem goes on by itself")):
            with self.case(option):
                modem = self.start_modem(option)
                started = self.start_upgrade()
                started.lines_to("sent") if "busy" in option else modem.lines_to("CMD_BEGIN")
                status, _, errors = started.end(signal.SIGINT)
                self.assertEqual((status, errors), (FAILED, f"ltectl: {sentence}\n"))


class Terminal(UpgradeTest):
    def run_on_terminal(self, *faults):
        """Exit status, what goes to standard output, and what the terminal shows."""
        self.start_modem("--quiet", *faults)
        far, near = pty.openpty()
        process = subprocess.Popen([support.ltectl_program, "upgrade", IMAGE], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=near, text=True)
        os.close(near)
        out = process.communicate(timeout=support.TIMEOUT)[0]
        return process.returncode, out, support.read_terminal(far)

    def test_shows_a_bar_instead_of_lines(self):
        status, out, screen = self.run_on_terminal()
        self.assertEqual((status, out), (DONE, f"start image={IMAGE} bytes=5000 pieces=3\nsent\nupgraded\n"))
        bars = re.findall(r"\r\x1b\[K\[([#-]{30})\] +(\d+) %  (\d+) of 5 KiB  \d+ KiB/s  (\d+) s left", screen)
        self.assertEqual(bars[0][:3], ("#" * 12 + "-" * 18, "40", "2"))
        self.assertEqual(bars[-1], ("#" * 30, "100", "5", "0"))
        self.assertTrue(screen.endswith("\r\x1b[K"), screen)

    def test_the_bar_goes_before_a_failure_is_explained(self):
        status, _, screen = self.run_on_terminal("--fault=1=fatal")
        self.assertEqual(status, FAILED)
        self.assertIn("\r\x1b[Kltectl: the modem did not take piece 2 of 3, after 1 try. ", screen)


if __name__ == "__main__":
    upgrade.main()
