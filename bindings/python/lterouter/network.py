# Made by scripts/bindings of include/ and bindings/interface.toml.
"""Functions of lc_network.h, which states their contracts."""

import ctypes

from lterouter._library import address, check, check_errno, decoded, encoded, exactly, int32, lib, milliseconds
from lterouter.errors import NetworkError


def add_route(dev: str, metric: int, dst: str | None = None, gw: str | None = None,
        mask: str | None = None) -> None:
    """Adds a route."""
    check_errno(NetworkError, "network.add_route", lib.lc_route_add(encoded(dev), int32(metric),
        None if dst is None else encoded(dst), None if gw is None else encoded(gw),
        None if mask is None else encoded(mask)))


def delete_route(dev: str, metric: int, dst: str | None = None, gw: str | None = None,
        mask: str | None = None) -> None:
    """Deletes a route."""
    check_errno(NetworkError, "network.delete_route", lib.lc_route_del(encoded(dev), int32(metric),
        None if dst is None else encoded(dst), None if gw is None else encoded(gw),
        None if mask is None else encoded(mask)))


def add_default_routes(dev: str, gateways: str) -> None:
    """Adds a default route through each gateway of a list."""
    check(NetworkError, "network.add_default_routes", lib.lc_route_add_default(encoded(dev),
        ctypes.create_string_buffer(encoded(gateways))))


def delete_default_routes(dev: str, gateways: str) -> None:
    """Deletes the default route through each gateway of a list."""
    check(NetworkError, "network.delete_default_routes", lib.lc_route_del_default(encoded(dev),
        ctypes.create_string_buffer(encoded(gateways))))


def is_address(text: str) -> bool:
    """Tells whether text is an IPv4 address."""
    return bool(lib.is_valid_ip(encoded(text)))


def has_interface(name: str) -> bool:
    """Tells whether there is an interface of a name, by if_nametoindex."""
    return bool(lib.lc_is_interface_exist(encoded(name)))


def find_neighbour(ip: str) -> str:
    """Looks a neighbour's hardware address up in the kernel's ARP table; one that is still being asked for is
    found as zeros."""
    mac = ctypes.create_string_buffer(19)
    check(NetworkError, "network.find_neighbour", lib.lc_get_climac_by_ip(encoded(ip), mac))
    return decoded(mac.value)


def probe(target_ip: str, our_ip: str, our_mac: bytes, expected_mac: bytes, ifname: str, timeout: float) -> bool:
    """Whether the first ARP packet after a question for target_ip is the answer of expected_mac."""
    return not lib.lc_arp_check(address(target_ip), address(our_ip), exactly(our_mac, 6), exactly(expected_mac, 6),
        encoded(ifname), milliseconds(timeout))


def update_neighbour(target_ip: str, source_ip: str, ifname: str, mac: str) -> None:
    """Has a neighbour update its ARP entry of an address, by an ARP request for the neighbour with that address as
    the sender's: takes 500 ms when it does not answer."""
    check(NetworkError, "network.update_neighbour", lib.lc_arp_update(encoded(target_ip), encoded(source_ip),
        encoded(ifname), encoded(mac)))
