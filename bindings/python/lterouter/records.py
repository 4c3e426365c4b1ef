# Made by scripts/bindings of include/ and bindings/interface.toml.
"""The records that methods give."""

from __future__ import annotations

import dataclasses

from lterouter import _declared
from lterouter._library import decoded, known
from lterouter.constants import LinkState


@dataclasses.dataclass(frozen=True)
class LinkStatus:
    """lct_link_status of C."""

    iface_type: int  # 2: the WCDMA/LTE modem
    link_status: LinkState | int  # LCT_LINK_...
    ip_status: int  # 1: the IP layer is up
    interface_name: str  # the network interface
    ip: str  # its address
    gateway: str  # its gateway
    dns1: str  # first name server
    dns2: str  # second name server
    mask: str  # its network mask

    @classmethod
    def of(cls, raw: _declared.lct_link_status) -> LinkStatus:
        return cls(raw.iface_type, known(LinkState, raw.link_status), raw.ip_status, decoded(raw.interface_name),
            decoded(raw.ip), decoded(raw.gateway), decoded(raw.dns1), decoded(raw.dns2), decoded(raw.mask))


@dataclasses.dataclass(frozen=True)
class InterfaceStatus:
    """lct_iface_status of C."""

    readiness: int  # 1: ready

    @classmethod
    def of(cls, raw: _declared.lct_iface_status) -> InterfaceStatus:
        return cls(raw.readiness)


@dataclasses.dataclass(frozen=True)
class Operator:
    """lct_operator of C."""

    name: str  # its name
    first: int  # a number
    second: int  # a number
    numbers: tuple[int, ...]  # more numbers

    @classmethod
    def of(cls, raw: _declared.lct_operator) -> Operator:
        return cls(decoded(raw.name), raw.first, raw.second, tuple(raw.numbers))


@dataclasses.dataclass(frozen=True)
class AccessPoint:
    """apn_item of C."""

    key: str  # operator code
    apn: str  # the access point name
    text1: str  # a text of the list
    text2: str  # a text of the list
    text3: str  # a text of the list
    text4: str  # a text of the list
    number1: int  # a number of the list
    number2: int  # a number of the list
    number3: int  # a number of the list
    enabled: int  # 0: not to be used; auto_match_apn() leaves it 0

    @classmethod
    def of(cls, raw: _declared.apn_item) -> AccessPoint:
        return cls(decoded(raw.key), decoded(raw.apn), decoded(raw.text1), decoded(raw.text2), decoded(raw.text3),
            decoded(raw.text4), raw.number1, raw.number2, raw.number3, raw.enabled)


@dataclasses.dataclass(frozen=True)
class InterfaceCounters:
    """if_stats of C."""

    rx_packets: int  # packets received
    tx_packets: int  # packets sent
    rx_bytes: int  # bytes received
    tx_bytes: int  # bytes sent
    rx_errors: int  # errors in receiving
    tx_errors: int  # errors in sending
    rx_dropped: int  # dropped in receiving
    tx_dropped: int  # dropped in sending
    rx_multicast: int  # multicast packets received
    rx_compressed: int  # compressed packets received
    tx_compressed: int  # compressed packets sent
    collisions: int  # collisions in sending
    rx_length_errors: int  # 0: not listed
    rx_over_errors: int  # 0: not listed
    rx_crc_errors: int  # 0: not listed
    rx_frame_errors: int  # frame errors in receiving
    rx_fifo_errors: int  # FIFO overruns in receiving
    rx_missed_errors: int  # 0: not listed
    tx_aborted_errors: int  # 0: not listed
    tx_carrier_errors: int  # carrier losses in sending
    tx_fifo_errors: int  # FIFO underruns in sending
    tx_heartbeat_errors: int  # 0: not listed
    tx_window_errors: int  # 0: not listed
    uptime: int  # seconds since the system started

    @classmethod
    def of(cls, raw: _declared.if_stats) -> InterfaceCounters:
        return cls(raw.rx_packets, raw.tx_packets, raw.rx_bytes, raw.tx_bytes, raw.rx_errors, raw.tx_errors,
            raw.rx_dropped, raw.tx_dropped, raw.rx_multicast, raw.rx_compressed, raw.tx_compressed, raw.collisions,
            raw.rx_length_errors, raw.rx_over_errors, raw.rx_crc_errors, raw.rx_frame_errors, raw.rx_fifo_errors,
            raw.rx_missed_errors, raw.tx_aborted_errors, raw.tx_carrier_errors, raw.tx_fifo_errors,
            raw.tx_heartbeat_errors, raw.tx_window_errors, raw.uptime)


@dataclasses.dataclass(frozen=True)
class LogModule:
    """logconfig of C."""

    id: int  # the module's number
    letter: str  # its letter
    name: str  # its name, as in the names of its flag files

    @classmethod
    def of(cls, raw: _declared.logconfig) -> LogModule:
        return cls(raw.id, decoded(raw.letter), decoded(raw.name))
