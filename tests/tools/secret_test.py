"""PINs that no other process may see: from a prompt without echo, and from standard input."""

import fcntl
import os
import pty
import signal
import subprocess
import termios
import time

import support
from support import DONE, FAILED, USAGE, NvTest, ToolTest, ltectl


class FromStandardInput(ToolTest):
    def fed(self, text, *arguments):
        return subprocess.run([support.ltectl_program, *arguments], input=text, capture_output=True, text=True,
                              timeout=support.TIMEOUT)

    def test_a_line(self):
        self.start_wansim()
        for text in ("1234\n", "1234"):
            result = self.fed(text, "pin", "enable", "-")
            self.assert_result(result, DONE, "pin enabled sim=pin_enable\n", "")

    def test_a_line_each(self):
        self.start_wansim()
        for arguments, text in ((["-", "-"], "1234\n4321\n"), (["4321", "-"], "1234\n"), (["-", "4321"], "1234\nx")):
            result = self.fed(text, "pin", "change", *arguments)
            self.assert_result(result, DONE, "pin changed sim=sim_ready\n", "")

    def test_what_is_wrong_is_told_without_it(self):
        for text in ("123\n", "12345678901\n", "12a4\n", "\n", "9" * 1000 + "\n"):
            result = self.fed(text, "pin", "enable", "-")
            self.assert_failed(result, USAGE, "PIN takes 4 to 8 digits")

    def test_nothing(self):
        result = self.fed("", "pin", "change", "1234", "-")
        self.assertEqual((result.returncode, result.stderr),
                         (FAILED, "ltectl: cannot read NEW from standard input: there is none\n"))

    def test_nobody_to_ask(self):
        for arguments, name in ((["enable"], "PIN"), (["disable"], "PIN"), (["change"], "OLD"),
                                (["change", "1234"], "NEW")):
            self.assert_failed(ltectl("pin", *arguments), USAGE, f'{name} is missing; "-" reads it from standard input')


class Value(NvTest):
    """Of a parameter."""

    def setUp(self):
        super().setUp()
        self.declare(b"open=1=\nkey=9=\n")

    def set_from(self, data, name="open"):
        return subprocess.run([support.ltectl_program, "nv", "set", name, "-"], input=data, capture_output=True,
                              timeout=support.TIMEOUT)

    def test_from_standard_input(self):
        for data, value in ((b"v w\n", b"v w"), (b"-\n", b"-"), (b"v", b"v"), (b"\n", b""), (b"v" * 4095 + b"\n", b"v" * 4095)):
            self.assertEqual(self.set_from(data).returncode, DONE)
            self.assert_copies("open", value)
        self.assertEqual(self.set_from(b"4321\n", "key").stdout, b"key=********\n")
        self.assert_copies("key", b"4321")

    def test_what_cannot_be_stored(self):
        for data, sentence in ((b"v" * 4096, b'the value of "open" is longer than 4095 bytes'),
                               (b"4\0" + b"321\n", b"cannot read VALUE from standard input: Invalid argument"),
                               (b"", b"cannot read VALUE from standard input: there is none")):
            result = self.set_from(data)
            self.assert_result(result, FAILED, b"", b"ltectl: " + sentence + b"\n")

    def test_from_a_prompt(self):
        for name, seen in (("key", b"\r\nkey=********\r\n"), ("open", b"4321\r\nopen=4321\r\n")):
            FromAPrompt.ask(self, "nv", "set", name, "-")
            shown = b""
            while not shown.endswith(b"VALUE: "):
                shown += os.read(self.terminal, 100)
            os.write(self.terminal, b"4321\n")
            self.assertEqual(self.client.wait(support.TIMEOUT), DONE)
            self.assertEqual(FromAPrompt.rest(self), seen.decode())
            self.assert_copies(name, b"4321")


class FromAPrompt(ToolTest):
    def ask(self, *arguments):
        """Starts ltectl on a terminal of its own."""
        self.terminal, far = pty.openpty()
        self.client = subprocess.Popen([support.ltectl_program, *arguments], stdin=far, stdout=far, stderr=far,
                                       start_new_session=True,
                                       preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        self.addCleanup(self.client.wait)
        self.addCleanup(self.client.kill)
        self.far = far

    def await_prompt(self, name):
        shown = b""
        while not shown.endswith(name + b": "):
            shown += os.read(self.terminal, 100)
        self.assertFalse(termios.tcgetattr(self.far)[3] & termios.ECHO)

    def rest(self):
        os.close(self.far)
        return support.read_terminal(self.terminal)

    def test_is_not_echoed(self):
        self.start_wansim()
        for arguments in (["enable"], ["enable", "-"]):
            self.ask("pin", *arguments)
            self.await_prompt(b"PIN")
            os.write(self.terminal, b"1234\n")
            self.assertEqual(self.client.wait(support.TIMEOUT), DONE)
            self.assertTrue(termios.tcgetattr(self.far)[3] & termios.ECHO)
            self.assertEqual(self.rest(), "\r\npin enabled sim=pin_enable\r\n")

    def test_one_after_the_other(self):
        self.start_wansim()
        self.ask("pin", "change")
        for name, pin in ((b"OLD", b"1234\n"), (b"NEW", b"4321\n")):
            self.await_prompt(name)
            os.write(self.terminal, pin)
        self.assertEqual(self.client.wait(support.TIMEOUT), DONE)
        self.assertEqual(self.rest(), "\r\npin changed sim=sim_ready\r\n")

    def test_a_signal_gives_the_terminal_its_echo_back(self):
        for number, send in ((signal.SIGINT, lambda: os.write(self.terminal, b"\x03")),
                             (signal.SIGTERM, lambda: self.client.terminate()),
                             (signal.SIGHUP, lambda: self.client.send_signal(signal.SIGHUP))):
            self.ask("pin", "enable")
            self.await_prompt(b"PIN")
            start = time.monotonic()
            send()
            self.assertNotEqual(self.client.wait(support.TIMEOUT), DONE, number)
            self.assertLess(time.monotonic() - start, 0.5)
            self.assertTrue(termios.tcgetattr(self.far)[3] & termios.ECHO)
            self.rest()

    def test_a_signal_that_is_ignored_stays_so(self):
        self.start_wansim()
        ignored = signal.signal(signal.SIGHUP, signal.SIG_IGN)
        self.addCleanup(signal.signal, signal.SIGHUP, ignored)
        self.ask("pin", "enable")
        self.await_prompt(b"PIN")
        self.client.send_signal(signal.SIGHUP)
        time.sleep(0.2)
        os.write(self.terminal, b"1234\n")
        self.assertEqual(self.client.wait(support.TIMEOUT), DONE)
        self.assertEqual(self.rest(), "\r\npin enabled sim=pin_enable\r\n")


if __name__ == "__main__":
    support.main()
