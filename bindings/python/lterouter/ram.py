# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_nv.h, which states their contracts."""

import ctypes

from lterouter._library import check, decoded, encoded, equal, lib
from lterouter.errors import ParameterError


def open() -> None:
    """Makes the store's directory."""
    check(ParameterError, "ram.open", lib.nvmram_init())


def read(name: str) -> str:
    """The value of a volatile parameter."""
    buf = ctypes.create_string_buffer(4097)
    check(ParameterError, "ram.read", lib.nvmram_readnv(encoded(name), buf, 4096))
    return decoded(buf.value)


def write(name: str, value: str) -> None:
    """Stores a volatile parameter, creating it if needed."""
    check(ParameterError, "ram.write", lib.nvmram_writenv(encoded(name), encoded(value), 4096))


def clear() -> None:
    """Removes every parameter whose name does not begin with ".", by a shell command (system)."""
    check(ParameterError, "ram.clear", lib.nvmram_clear())


def match(name: str, value: str) -> bool:
    """Whether a volatile parameter has this value."""
    return equal(ParameterError, "ram.match", lib.nvram_match(encoded(name), encoded(value)))
