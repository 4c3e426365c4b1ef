# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lte_sdk.h, which states their contracts."""

import ctypes

from lterouter import _declared
from lterouter._library import alone, check, decoded, encoded, lib, uint32
from lterouter.errors import RequestError
from lterouter.records import AccessPoint, InterfaceCounters


def signal_level() -> str:
    """Reads the signal's level (wansim: in decimal, as the modem's +CSQ has it: 0 is -113 dBm or less, each step
    is 2 dB more, 31 is -51 dBm or more; 99 is not known, as with the radio off)."""
    buf = ctypes.create_string_buffer(4097)
    check(RequestError, "lte.signal_level", lib.lct_net_signal_level_get_req(buf, 4096))
    return decoded(buf.value)


def imei() -> str:
    """Reads the modem's IMEI."""
    buf = ctypes.create_string_buffer(4097)
    check(RequestError, "lte.imei", lib.lct_net_imei_get_req(buf, 4096))
    return decoded(buf.value)


def sim_status() -> str:
    """Reads the SIM's state."""
    buf = ctypes.create_string_buffer(4097)
    check(RequestError, "lte.sim_status", lib.lct_sim_status_get_req(buf, 4096))
    return decoded(buf.value)


def syslog_switch() -> bool:
    """Tells whether logging to syslog is switched on for the whole router."""
    return bool(lib.lct_get_syslog_switch_flg())


def change_state() -> None:
    """Asks the WAN manager for a state change."""
    with alone():
        check(RequestError, "lte.change_state", lib.lct_state_change_req())


def delete_messages() -> None:
    """Asks the SMS store to delete every message."""
    with alone():
        check(RequestError, "lte.delete_messages", lib.lct_sms_del_dev_all_msg())


def set_led(led: int, colour: int, flash: int) -> None:
    """Sets a status LED."""
    check(RequestError, "lte.set_led", lib.lte_set_led_status(uint32(led), uint32(colour), uint32(flash)))


def find_apn(path: str, key: str) -> AccessPoint:
    """Looks an operator code up in a list file of access points."""
    out = _declared.apn_item()
    check(RequestError, "lte.find_apn", lib.auto_match_apn(encoded(path), encoded(key), ctypes.byref(out)))
    return AccessPoint.of(out)


def parse_apn_list(text: str) -> AccessPoint:
    """The first enabled, complete access point of a list."""
    out = _declared.apn_item()
    check(RequestError, "lte.parse_apn_list", lib.parse_apn_list(encoded(text), ctypes.byref(out)))
    return AccessPoint.of(out)


def statistics(ifname: str) -> InterfaceCounters:
    """The counters of a network interface."""
    stats = _declared.if_stats()
    check(RequestError, "lte.statistics", lib.lct_readlist_proc(encoded(ifname), ctypes.byref(stats)))
    return InterfaceCounters.of(stats)
