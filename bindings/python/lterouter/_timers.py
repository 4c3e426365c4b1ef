# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of sdk_timer.h, which states their contracts."""

import ctypes

from lterouter._library import check, lib
from lterouter.errors import TimerError


def count() -> tuple[int, int]:
    """Counts the process's running timers: repeating ones, one-shot ones."""
    counts = (ctypes.c_uint32 * 2)()
    check(TimerError, "timers.count", lib.query_timer(counts))
    return (counts[0], counts[1])
