# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_log.h, which states their contracts."""

import ctypes

from lterouter import _declared
from lterouter._library import check, encoded, int32, lib
from lterouter.errors import LogError
from lterouter.records import LogModule


def find_module(id: int) -> LogModule:
    """Looks up a log module by its number."""
    out = _declared.logconfig()
    check(LogError, "log.find_module", lib.get_logconfig_by_ID(ctypes.byref(out), int32(id)))
    return LogModule.of(out)


def start(id: int) -> None:
    """Sets the log module of the process, by its number."""
    check(LogError, "log.start", lib.log_init(int32(id)))


def write(level: int, text: str) -> None:
    """Sends a text to syslog, while its level is switched on."""
    lib.log_print_text(int32(level), encoded(text))
