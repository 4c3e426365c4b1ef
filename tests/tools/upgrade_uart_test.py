"""ltectl upgrade --uart, with a kernel that locks terminals' settings. usage: upgrade_uart_test.py LOCKING_LTECTL MODEMSIM"""

import errno
import os
import signal

import support
import upgrade
from frames import AT_PORT, DATA_PORT
from support import DONE, FAILED, ltectl
from upgrade import IMAGE, UpgradeTest

LOG = "/tmp/locks"
HINT = ". The port is a UART, which receives nothing without --uart: try again with it, as root"


class UartTest(UpgradeTest):
    def setUp(self):
        super().setUp()
        if os.path.exists(LOG):
            os.unlink(LOG)
        self.environment(LOCKS_LOG=LOG)

    def environment(self, **variables):
        """For the programs that this test starts."""
        for name, value in variables.items():
            os.environ[name] = value
            self.addCleanup(os.environ.pop, name, None)

    def locks(self):
        with open(LOG) as file:
            return file.read().splitlines()

    def locks_of_ports(self):
        """Of ports in this order: what is locked first, and what at the end."""
        ports = [os.minor(os.stat(port).st_rdev) for port in (DATA_PORT, AT_PORT)]
        # CSIZE, CREAD and CLOCAL, beside HUPCL, which was locked before.
        locked = [f"{port} cflag=6260 min=1 time=1" for port in ports]
        return locked, [f"{port} cflag=2000 min=0 time=0" for port in reversed(ports)]


class Success(UartTest):
    def test_both_ports_are_locked_and_released_at_the_end(self):
        self.start_modem()
        locked, released = self.locks_of_ports()
        result = ltectl("upgrade", IMAGE, "--uart")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""), upgrade.trace())
        self.assertEqual(upgrade.received(), self.image)
        self.assertEqual(self.locks(), [*locked, *released])

    def test_without_the_option_none_is(self):
        self.start_modem()
        self.assertEqual(ltectl("upgrade", IMAGE).returncode, DONE)
        self.assertFalse(os.path.exists(LOG))

    def test_a_dry_run_locks_none(self):
        self.start_modem()
        self.assertEqual(ltectl("upgrade", IMAGE, "--uart", "--dry-run").returncode, DONE)
        self.assertFalse(os.path.exists(LOG))


class WaysOut(UartTest):
    def test_a_failure_releases_them(self):
        for fault in ("start=error", "begin=fatal", "1=fatal"):
            with self.case(fault):
                self.setUp()
                self.start_modem(f"--fault={fault}")
                locked, released = self.locks_of_ports()
                self.assertEqual(ltectl("upgrade", IMAGE, "--uart").returncode, FAILED)
                self.assertEqual(self.locks(), [*locked, *released])

    def test_so_does_a_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.case(number.name):
                self.setUp()
                modem = self.start_modem("--fault=begin=late:2000")
                locked, released = self.locks_of_ports()
                started = self.start_upgrade("--uart")
                modem.lines_to("CMD_BEGIN")
                self.assertEqual(started.end(number)[0], FAILED)
                self.assertEqual(self.locks(), [*locked, *released])


class Refusals(UartTest):
    def refuse(self, call, number, sentence):
        self.environment(LOCKS_FAIL=call, ERRNO=str(number))
        modem = self.start_modem()
        result = ltectl("upgrade", IMAGE, "--uart")
        self.assert_result(result, FAILED, "", f"ltectl: {sentence}\n")
        self.assertEqual(self.end_modem(modem), "modemsim: ended\n")
        self.assertFalse(os.path.exists(support.TRACE), "the library was not asked")
        self.assertFalse(os.path.exists(LOG))

    def test_settings_that_cannot_be_read(self):
        for call in ("tcgetattr", "get"):
            self.refuse(call, errno.EINVAL, f"cannot read the settings of {DATA_PORT}: Invalid argument")

    def test_settings_that_cannot_be_changed(self):
        self.refuse("tcsetattr", errno.EINVAL, f"cannot switch the receiver of {DATA_PORT} on: Invalid argument")

    def test_locks_that_the_kernel_does_not_have(self):
        self.refuse("set", errno.EINVAL, f"cannot lock the settings of {DATA_PORT}: Invalid argument")

    def test_a_user_that_is_not_root(self):
        self.refuse("set", errno.EPERM,
                    f"only root may lock the settings of {DATA_PORT}: start it as root for --uart")

    def test_the_second_port_missing_leaves_the_first_released(self):
        self.start_modem()
        locked, released = self.locks_of_ports()
        os.unlink(AT_PORT)
        self.assertEqual(ltectl("upgrade", IMAGE, "--uart").returncode, FAILED)
        self.assertEqual(self.locks(), [locked[0], released[1]])


class Hint(UartTest):
    def fail_to_start(self, *options):
        self.start_modem("--fault=start=silent")
        result = ltectl("upgrade", IMAGE, *options)
        self.assertEqual(result.returncode, FAILED)
        return result.stderr

    def test_a_uart_that_says_nothing_wants_the_option(self):
        self.environment(LOCKS_TYPE="4")
        self.assertEqual(self.fail_to_start(), (
            f"ltectl: the modem did not accept upgrade mode on {AT_PORT}. Nothing is changed; "
            f"the trace is in {support.TRACE}{HINT}\n"))

    def test_with_the_option_or_another_port_it_does_not(self):
        for kind, options in (("4", ["--uart"]), ("0", [])):
            with self.case(kind):
                self.setUp()
                self.environment(LOCKS_TYPE=kind)
                self.assertNotIn("UART", self.fail_to_start(*options))


if __name__ == "__main__":
    upgrade.main()
