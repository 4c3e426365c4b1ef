"""Timers, whose expirations are waited for."""

from __future__ import annotations

import atexit
import contextlib
import ctypes
import os

from lterouter import _declared
from lterouter._library import check, fitting, lib, milliseconds
from lterouter._timers import count
from lterouter.constants import TimerCode
from lterouter.errors import TimerError
from lterouter.stream import Stream

__all__ = ["Timer", "count"]


def _on_expiry(descriptor: int) -> None:
    """On the timer thread, which every timer of the process waits for."""
    with contextlib.suppress(BlockingIOError):  # full: nobody has read for 65536 expirations
        os.write(descriptor, b"\0")


_callback = _declared.timer_callback_fn(_on_expiry)


class Timer:
    """A running timer. Intervals are rounded down to the library's ticks of 50 ms. Ends with the "with" block."""

    def __init__(self, interval: float, *, repeat: bool = False, name: str = "python") -> None:
        # The service cannot be stopped; it says 1 when it runs already.
        if (code := lib.init_timer()) not in (TimerCode.SUCCESS, TimerCode.ERR_NOT_INIT):
            raise TimerError("Timer", code)
        wait = milliseconds(interval)
        data = fitting(name, _declared.timer.name.size)
        self._id = _declared.timer_id()
        self._reader, self._writer = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
        self._is_open = True
        described = _declared.timer(data, wait, int(repeat), _callback, self._writer)
        code = lib.start_timer(ctypes.byref(described), ctypes.byref(self._id))
        if code != TimerCode.SUCCESS:
            self._close_pipe()
            raise TimerError("Timer", code)
        self._process = os.getpid()
        atexit.register(self.close)  # before the interpreter ends, which the timer thread would call into

    def __enter__(self) -> Timer:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def fileno(self) -> int:
        """A descriptor that is readable after an expiration; only to be watched."""
        if not self._is_open:
            raise ValueError("it is closed")
        return self._reader

    @property
    def is_running(self) -> bool:
        return bool(lib.exist_timer(self._id.node, self._id.stamp) == TimerCode.SUCCESS)

    def close(self) -> None:
        """Stops the timer, if it runs. May be called again. In a forked child it leaves the parent's alone."""
        if not self._is_open:
            return
        if self._process == os.getpid():
            code = lib.stop_timer(self._id.node, self._id.stamp)
            if code not in (TimerCode.SUCCESS, TimerCode.ERR_NO_TIMER):
                raise TimerError("Timer.close", code)
        self._close_pipe()
        atexit.unregister(self.close)

    def _close_pipe(self) -> None:
        self._is_open = False
        os.close(self._reader)
        os.close(self._writer)

    def _take(self) -> int | None:
        try:
            return len(os.read(self.fileno(), 65536))
        except BlockingIOError:
            return None

    def expirations(self, timeout: float | None = None) -> Stream[int]:
        """How often the timer has expired since it was asked last, each time that it has."""
        return Stream(self.fileno, self._take, timeout)
