"""The loaded library, and how values pass between it and Python."""

import contextlib
import ctypes
import enum
import math
import os
import socket
import sys
import threading
from collections.abc import Iterator, Mapping
from typing import Any, ClassVar, TypeVar

lib = ctypes.CDLL(os.environ.get("LTEROUTER_LIBRARY", "liblterouter.so.1"), use_errno=True)

Known = TypeVar("Known", bound=enum.IntEnum)


class in_addr(ctypes.Structure):
    _fields_ = [("s_addr", ctypes.c_uint32)]


class Error(Exception):
    """A function of the library has failed. code is what it returned."""

    texts: ClassVar[Mapping[int, str]] = {}
    text: ClassVar[str] = "failed"

    def __init__(self, function: str, code: int, text: str = "") -> None:
        super().__init__(function, code, text)
        self.function = function
        self.code = code
        self._told = text

    def __str__(self) -> str:
        return f"{self.function}: {self._told or self.texts.get(self.code, self.text)}"


_endpoint = threading.Lock()  # held while the process has an endpoint, of which it can have one


def claim_endpoint() -> None:
    if not _endpoint.acquire(blocking=False):
        raise RuntimeError("the process has an open client or endpoint already")


def release_endpoint() -> None:
    _endpoint.release()


@contextlib.contextmanager
def alone() -> Iterator[None]:
    """For a call that starts and ends an endpoint of its own."""
    claim_endpoint()
    try:
        yield
    finally:
        release_endpoint()


def declare(name: str, result: Any, *arguments: Any) -> None:
    function = getattr(lib, name)
    function.restype = result
    function.argtypes = arguments


def check(error: type[Error], function: str, code: int) -> None:
    if code != 0:
        raise error(function, code)


def check_errno(error: type[Error], function: str, code: int) -> None:
    if code != 0:
        raise error(function, code, os.strerror(code))


def check_sent(error: type[Error], function: str, sent: int) -> None:
    if sent != 1:
        raise error(function, sent)


def equal(error: type[Error], function: str, code: int) -> bool:
    """What a comparison found: 6 is NV_ERR_DIFFER."""
    if code not in (0, 6):
        raise error(function, code)
    return code == 0


def answered(error: type[Error], function: str, data: bytes) -> str:
    """The text after the result that an answer begins with."""
    check(error, function, int.from_bytes(data[:4], sys.byteorder, signed=True))
    return decoded(data[4:].split(b"\0")[0])


def encoded(text: str) -> bytes:
    """As C has it, in UTF-8 whatever the locale. Other bytes pass as they do in the names of files."""
    data = text.encode("utf-8", "surrogateescape")
    if b"\0" in data:
        raise ValueError("a text for C must not contain a NUL")
    return data


def decoded(data: bytes) -> str:
    return data.decode("utf-8", "surrogateescape")


def line(text: str) -> "ctypes.Array[ctypes.c_char]":
    """A text that C may change, and a blank after it that an AT command ends in."""
    return ctypes.create_string_buffer(encoded(text) + b" ")


def fitting(text: str, size: int) -> bytes:
    """For a field of this size, terminator included."""
    data = encoded(text)
    if len(data) >= size:
        raise ValueError(f"a text of more than {size - 1} bytes")
    return data


def raw(data: bytes) -> bytes:
    """ctypes would pass a text as wide characters."""
    if not isinstance(data, bytes):
        raise TypeError(f"bytes are needed, not {type(data).__name__}")
    return data


def exactly(data: bytes, size: int) -> bytes:
    if len(raw(data)) != size:
        raise ValueError(f"{size} bytes are needed")
    return data


def at_most(data: bytes, size: int) -> bytes:
    if len(raw(data)) > size:
        raise ValueError(f"more than {size} bytes")
    return data


def address(text: str) -> in_addr:
    try:
        return in_addr.from_buffer_copy(socket.inet_pton(socket.AF_INET, text))
    except OSError:
        raise ValueError(f"no IPv4 address: {text!r}") from None


def limited(value: int, least: int, most: int) -> int:
    if not least <= value <= most:
        raise OverflowError(f"{value} is not between {least} and {most}")
    return value


def uint8(value: int) -> int:
    return limited(value, 0, 0xFF)


def uint32(value: int) -> int:
    return limited(value, 0, 0xFFFFFFFF)


def int32(value: int) -> int:
    return limited(value, -0x80000000, 0x7FFFFFFF)


def milliseconds(seconds: float) -> int:
    """Rounded up, so that only 0 is 0."""
    return limited(math.ceil(seconds * 1000), 0, 0x7FFFFFFF)


def known(kind: type[Known], value: int) -> Known | int:
    """The member of an enumeration, or the number of one that later versions have."""
    return kind(value) if value in kind._value2member_map_ else value
