# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_nv.h, which states their contracts."""

import ctypes

from lterouter._library import check, decoded, encoded, equal, lib, raw, uint32
from lterouter.errors import ParameterError


def open() -> None:
    """Opens the persistent store; once, before others use it."""
    check(ParameterError, "nvm.open", lib.nvm_init())


def read(name: str) -> str:
    """The value of a persistent parameter."""
    buf = ctypes.create_string_buffer(4097)
    check(ParameterError, "nvm.read", lib.nvm_readnv(encoded(name), buf, 4096))
    return decoded(buf.value)


def write(name: str, value: str) -> None:
    """Stores a persistent parameter, in both copies."""
    check(ParameterError, "nvm.write", lib.nvm_writenv(encoded(name), encoded(value), 4096))


def match(name: str, value: str) -> bool:
    """Whether a persistent parameter has this value."""
    return equal(ParameterError, "nvm.match", lib.nvm_match(encoded(name), encoded(value)))


def clear() -> None:
    """Removes both copies of every parameter."""
    check(ParameterError, "nvm.clear", lib.nvm_clear())


def close() -> None:
    """Marks an orderly shutdown."""
    check(ParameterError, "nvm.close", lib.nvm_fin())


def export_file(path: str, mask: int, with_crc: bool) -> None:
    """Writes a line for each declared parameter whose attribute bits and mask have a bit in common, in the order
    of the defaults file, into a file that is made or emptied."""
    check(ParameterError, "nvm.export_file", lib.nvm_export(encoded(path), uint32(mask), int(with_crc)))


def import_file(path: str, mask: int, has_crc: bool, check_identity: bool) -> None:
    """Stores every value of a parameter file whose name is declared with an attribute bit that mask has too, and
    passes over the others."""
    check(ParameterError, "nvm.import_file", lib.nvm_import(encoded(path), uint32(mask), int(has_crc),
        int(check_identity)))


def reset() -> None:
    """Gives every parameter that has the reset attribute its default back."""
    check(ParameterError, "nvm.reset", lib.nvm_routerreset())


def look_up(path: str, name: str, has_crc: bool) -> str:
    """The value of a parameter in a parameter file."""
    buf = ctypes.create_string_buffer(4097)
    check(ParameterError, "nvm.look_up", lib.nvm_parsefile(encoded(path), encoded(name), buf, 4096, int(has_crc)))
    return decoded(buf.value)


def checksum(crc: int, data: bytes) -> int:
    """The checksum of parameter files and images; crc is 0 or the result for the data before."""
    return int(lib.nv_crc32_update(uint32(crc), raw(data), len(data)))
