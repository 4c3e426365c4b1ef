# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_ipc_msg.h, which states their contracts."""

from lterouter._library import lib, milliseconds


def set_send_limit(seconds: float) -> None:
    """Bounds how long every send of the process waits for room; 0 is no limit."""
    lib.ipc_msg_set_send_limit(milliseconds(seconds))
