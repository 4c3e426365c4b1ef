# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_up.h, lte_sdk.h, which state their contracts."""

from lterouter._library import decoded, int32, lib, uint32


def radio(value: int) -> str:
    """Names a radio access technology."""
    return decoded(lib.get_radio_str(uint32(value)))


def sim(value: int) -> str:
    """Names a SIM state."""
    return decoded(lib.get_sim_str(uint32(value)))


def link(value: int) -> str:
    """Names a state of the link."""
    return decoded(lib.get_link_str(uint32(value)))


def registration(value: int) -> str:
    """Names a registration."""
    return decoded(lib.get_net_type_str(uint32(value)))


def interface_type(value: int) -> str:
    """Names an interface type."""
    return decoded(lib.get_iface_type_str(uint32(value)))


def interface_priority(value: int) -> str:
    """Names an interface's priority."""
    return decoded(lib.get_iface_priority_str(uint32(value)))


def interface_connection(value: int) -> str:
    """Names an interface's connection mode."""
    return decoded(lib.get_iface_conn_str(uint32(value)))


def interface_status(value: int) -> str:
    """Names an interface's readiness."""
    return decoded(lib.get_iface_status_str(uint32(value)))


def roaming(value: int) -> str:
    """Names a roaming state."""
    return decoded(lib.get_roaming_str(uint32(value)))


def ip_mode(value: int) -> str:
    """Names an IP mode; the modes start at 1."""
    return decoded(lib.get_ipmode_str(uint32(value)))


def upgrade_status(status: int) -> str:
    """Names the status of an upgrade."""
    return decoded(lib.lc_get_status_str(int32(status)))


def upgrade_frame(value: int) -> str:
    """Names a frame type or a command code of an upgrade."""
    return decoded(lib.lc_get_tlv_type_str(uint32(value)))
