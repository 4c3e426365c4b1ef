"""Receives the next ARP packet on an interface, prints it, and sends the given answers.

usage: arp_peer.py INTERFACE [FRAME...]
"""

import socket
import sys

ETH_P_ARP = 0x0806
PATIENCE = 20  # seconds

with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ARP)) as peer:
    peer.bind((sys.argv[1], ETH_P_ARP))
    peer.settimeout(PATIENCE)
    print("ready", flush=True)
    frame = peer.recv(2048)
    for answer in sys.argv[2:]:
        peer.send(bytes.fromhex(answer))
    print(frame.hex(), flush=True)
