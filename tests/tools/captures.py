"""Capture files, written down a second time: in the byte order of either machine."""

import collections
import struct

FILE_HEADER = "IHHIIII"
PACKET_HEADER = "IIII"
MAGIC, LINK_TYPE = 0xA1B2C3D4, 147
LONGEST = 5 + 2 * 108 + 1024
ORDERS = {">": 1, "<": 2}  # as a packet tells its message's
MASKED = 1

Packet = collections.namedtuple("Packet", "seconds microseconds content")


def file_header(order):
    return struct.pack(order + FILE_HEADER, MAGIC, 2, 4, 0, 0, LONGEST, LINK_TYPE)


def content(order, source, destination, datagram, flags=0):
    """What a packet has of one datagram."""
    source, destination = source.encode(), destination.encode()
    return bytes([1, ORDERS[order], flags, len(source), len(destination)]) + source + destination + datagram


def packet(order, packet_content, seconds=0, microseconds=0):
    return struct.pack(order + PACKET_HEADER, seconds, microseconds, *[len(packet_content)] * 2) + packet_content


def whole(order, contents):
    """A file, a packet a millisecond."""
    return file_header(order) + b"".join(packet(order, one, 1000 + number // 1000, number % 1000 * 1000)
                                         for number, one in enumerate(contents))


def parse(order, data):
    """The packets of a file that has nothing but whole ones."""
    size = struct.calcsize(order + FILE_HEADER)
    assert data[:size] == file_header(order), data[:size]
    packets = []
    data = data[size:]
    while data:
        seconds, microseconds, length, original = struct.unpack(order + PACKET_HEADER, data[:16])
        assert length == original and len(data) >= 16 + length, (length, original, len(data))
        packets.append(Packet(seconds, microseconds, data[16:16 + length]))
        data = data[16 + length:]
    return packets
