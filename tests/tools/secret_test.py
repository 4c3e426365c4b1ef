"""PINs that no other process may see: from a prompt without echo, and from standard input."""

import fcntl
import os
import pty
import signal
import subprocess
import termios
import time

import support
from support import DONE, FAILED, USAGE, NvTest, ToolTest, fed


class FromStandardInput(NvTest):
    def setUp(self):
        super().setUp()
        ToolTest.setUp(self)
        self.declare(b"open=1=\nkey=9=\n")

    def test_a_line_each(self):
        self.start_wansim()
        for command, data, shown in (("change - -", b"1234\n4321\n", b"pin changed sim=sim_ready\n"),
                                     ("change 4321 -", b"1234\n", b"pin changed sim=sim_ready\n"),
                                     ("change - 4321", b"1234\nx", b"pin changed sim=sim_ready\n"),
                                     ("enable -", b"4321\n", b"pin enabled sim=pin_enable\n"),
                                     ("enable -", b"4321", b"pin enabled sim=pin_enable\n")):
            with self.subTest(command):
                self.assert_result(fed(data, "pin", *command.split()), DONE, shown, b"")

    def test_what_is_wrong_is_told_without_it(self):
        for command, data, code, sentence in (
                *(("pin enable -", data, USAGE, b"PIN takes 4 to 8 digits")
                  for data in (b"123\n", b"12345678901\n", b"12a4\n", b"\n", b"9" * 1000 + b"\n")),
                ("pin change 1234 -", b"", FAILED, b"cannot read NEW from standard input: there is none"),
                ("nv set open -", b"v" * 4096, FAILED, b'the value of "open" is longer than 4095 bytes'),
                ("nv set open -", b"4\0" + b"321\n", FAILED,
                 b"cannot read VALUE from standard input: Invalid argument"),
                ("at -", b"\n", USAGE, b"a command has 1 to 910 characters"),
                ("at -", b"A" * 911 + b"\n", USAGE, b"a command has 1 to 910 characters"),
                ("at -", b"", FAILED, b"cannot read COMMAND from standard input: there is none"),
                ("nv set open -", b"", FAILED, b"cannot read VALUE from standard input: there is none")):
            with self.subTest(command, data=data[:20]):
                self.assert_result(fed(data, *command.split()), code, b"", b"ltectl: " + sentence + b"\n")

    def test_a_command_of_the_modem(self):
        self.start_wansim()
        for data in b"AT+CSQ\n", b"AT+CSQ", b"AT+CSQ\nAT+NONE\n":
            self.assert_result(fed(data, "at", "-"), DONE, b"+CSQ: 18,99\n\nOK\n", b"")
        self.assert_result(fed(b"A" * 910 + b"\n", "at", "-"), FAILED, b"ERROR\n",
                           b"ltectl: the modem answers an error\n")

    def test_nobody_to_ask(self):
        for command, name in (("enable", "PIN"), ("disable", "PIN"), ("change", "OLD"), ("change 1234", "NEW")):
            self.assert_usage(f"pin {command}", f'{name} is missing; "-" reads it from standard input')

    def test_a_value(self):
        for data, value in ((b"v w\n", b"v w"), (b"-\n", b"-"), (b"v", b"v"), (b"\n", b""),
                            (b"v" * 4095 + b"\n", b"v" * 4095)):
            self.assertEqual(fed(data, "nv", "set", "open", "-").returncode, DONE)
            self.assert_copies("open", value)
        self.assertEqual(fed(b"4321\n", "nv", "set", "key", "-").stdout, b"key=********\n")
        self.assert_copies("key", b"4321")


class FromAPrompt(NvTest):
    def setUp(self):
        super().setUp()
        ToolTest.setUp(self)
        self.start_wansim()

    def ask(self, *arguments):
        """Starts ltectl on a terminal of its own."""
        self.terminal, self.far = pty.openpty()
        self.client = subprocess.Popen([support.ltectl_program, *arguments], stdin=self.far, stdout=self.far,
                                       stderr=self.far, start_new_session=True,
                                       preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        self.addCleanup(self.client.wait)
        self.addCleanup(self.client.kill)

    def is_echoed(self):
        return bool(termios.tcgetattr(self.far)[3] & termios.ECHO)

    def await_prompt(self, name, echoed=False):
        shown = b""
        while not shown.endswith(name + b": "):
            shown += os.read(self.terminal, 100)
        self.assertEqual(self.is_echoed(), echoed)

    def type(self, text):
        os.write(self.terminal, text)

    def assert_done(self, shown):
        self.assertEqual(self.client.wait(support.TIMEOUT), DONE)
        self.assertTrue(self.is_echoed())
        self.assertEqual(self.rest(), shown)

    def rest(self):
        os.close(self.far)
        return support.read_terminal(self.terminal)

    def test_one_after_the_other_and_is_not_echoed(self):
        for command, pins, shown in (("change", {b"OLD": b"1234\n", b"NEW": b"4321\n"}, "changed sim=sim_ready"),
                                     ("enable", {b"PIN": b"4321\n"}, "enabled sim=pin_enable"),
                                     ("enable -", {b"PIN": b"4321\n"}, "enabled sim=pin_enable")):
            with self.subTest(command):
                self.ask("pin", *command.split())
                for name, pin in pins.items():
                    self.await_prompt(name)
                    self.type(pin)
                self.assert_done(f"\r\npin {shown}\r\n")

    def test_a_value_is_echoed_unless_it_is_a_secret(self):
        self.declare(b"open=1=\nkey=9=\n")
        for name, echoed, shown in (("key", False, "\r\nkey=********\r\n"), ("open", True, "4321\r\nopen=4321\r\n")):
            self.ask("nv", "set", name, "-")
            self.await_prompt(b"VALUE", echoed)
            self.type(b"4321\n")
            self.assert_done(shown)
            self.assert_copies(name, b"4321")

    def test_a_signal_gives_the_terminal_its_echo_back(self):
        for number, send in ((signal.SIGINT, lambda: self.type(b"\x03")),
                             (signal.SIGTERM, lambda: self.client.terminate()),
                             (signal.SIGHUP, lambda: self.client.send_signal(signal.SIGHUP))):
            self.ask("pin", "enable")
            self.await_prompt(b"PIN")
            start = time.monotonic()
            send()
            self.assertNotEqual(self.client.wait(support.TIMEOUT), DONE, number)
            self.assertLess(time.monotonic() - start, 0.5)
            self.assertTrue(self.is_echoed())
            self.rest()

    def test_a_signal_that_is_ignored_stays_so(self):
        ignored = signal.signal(signal.SIGHUP, signal.SIG_IGN)
        self.addCleanup(signal.signal, signal.SIGHUP, ignored)
        self.ask("pin", "enable")
        self.await_prompt(b"PIN")
        self.client.send_signal(signal.SIGHUP)
        time.sleep(0.2)
        self.type(b"1234\n")
        self.assert_done("\r\npin enabled sim=pin_enable\r\n")


if __name__ == "__main__":
    support.main()
