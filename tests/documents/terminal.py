"""A shell in a terminal, and what is typed there."""

import contextlib
import os
import re
import select
import signal
import subprocess
import termios
import time

# Reads commands from descriptor 3 and tells how each ended on 4; what it runs has neither, nor an input.
_SHELL = 'while IFS= read -r -u 3 line; do eval "$line" </dev/null 3<&- 4>&-; echo $? >&4; done'


class Terminal:
    """Types a command when all is there that the one before it was to print."""

    def __init__(self, folder, environment, timeout):
        self.timeout = timeout
        self.screen, its_own = os.openpty()
        _keep_line_feeds(its_own)
        commands, self.commands = os.pipe()
        self.statuses, statuses = os.pipe()
        self.shell = subprocess.Popen(
            ["bash", "-c", f'exec 3<&{commands} 4>&{statuses} {commands}<&- {statuses}>&-; {_SHELL}'],
            pass_fds=(commands, statuses), stdin=subprocess.DEVNULL, stdout=its_own, stderr=its_own, cwd=folder,
            env=environment, start_new_session=True)
        for descriptor in its_own, commands, statuses:
            os.close(descriptor)
        self.shown = ""

    def _read(self, descriptor, deadline):
        """What comes until the deadline; "" when nothing did, or when nobody is left to write."""
        if not select.select([descriptor], [], [], max(0, deadline - time.monotonic()))[0]:
            return ""
        try:
            return os.read(descriptor, 65536).decode()
        except OSError:  # so a terminal tells that nobody is left
            return ""

    def _status(self, deadline):
        """How the command ended, or None. Its output is read meanwhile, or it could not go on."""
        while time.monotonic() < deadline:
            if select.select([self.statuses], [], [], 0)[0]:
                return int(self._read(self.statuses, deadline) or -1)
            self.shown += self._read(self.screen, min(deadline, time.monotonic() + 0.02))
        return None

    def type(self, command, output):
        """Runs a command up to its end and until so much is there as it and its forerunners that still run are
        to print. Gives its exit status, None when it did not end, and what was shown."""
        deadline = time.monotonic() + self.timeout
        os.write(self.commands, command.encode() + b"\n")
        status = self._status(deadline)
        while more := self._read(self.screen, deadline if len(self.shown) < len(output) else 0):
            self.shown += more
        shown, self.shown = self.shown, ""
        return status, shown

    def _is_traced(self, process):
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):  # it has ended
            if os.getpgid(int(process)) == self.shell.pid:
                with open(f"/proc/{process}/status") as status:
                    return re.search(r"^TracerPid:\t[1-9]", status.read(), re.M) is not None
        return False

    def _await_leak_checks(self):
        """A leak checker traces its program from a process beside it. When that gets a signal, both may hang."""
        deadline = time.monotonic() + self.timeout
        while time.monotonic() < deadline and any(map(self._is_traced, filter(str.isdigit, os.listdir("/proc")))):
            time.sleep(0.01)

    def close(self):
        """Ends all that runs, and gives what was shown after the last command."""
        self._await_leak_checks()
        os.killpg(self.shell.pid, signal.SIGTERM)
        os.killpg(self.shell.pid, signal.SIGCONT)
        deadline = time.monotonic() + self.timeout
        rest = ""
        while time.monotonic() < deadline:
            if not select.select([self.screen], [], [], 1)[0]:
                # A leak checker at work stops its program; ended by the signal it leaves it so.
                os.killpg(self.shell.pid, signal.SIGCONT)
            elif more := self._read(self.screen, deadline):
                rest += more
            else:
                break
        else:
            os.killpg(self.shell.pid, signal.SIGKILL)
            rest += "something did not end\n"
        self.shell.wait()
        for descriptor in self.screen, self.commands, self.statuses:
            os.close(descriptor)
        return rest


def _keep_line_feeds(terminal):
    attributes = termios.tcgetattr(terminal)
    attributes[1] &= ~termios.OPOST
    termios.tcsetattr(terminal, termios.TCSANOW, attributes)
