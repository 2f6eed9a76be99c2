"""Captures what comes in from a wire, and decodes it.

    capture.py DEVICE FILE      writes the beginning of each packet to FILE, as pcap, until SIGTERM
"""

import ipaddress
import socket
import struct
import sys
import time

HEAD = 128  # bytes of a packet that are kept: Ethernet, IP, TCP and a little more
MAGIC = 0xA1B23C4D  # pcap with nanoseconds
ETH_P_ALL = 3
PACKET_OUTGOING = 4


def capture(device, path):
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL)) as wire, \
            open(path, "wb") as file:
        wire.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        wire.bind((device, ETH_P_ALL))
        file.write(struct.pack("=IHHiIII", MAGIC, 2, 4, 0, 0, HEAD, 1))
        while True:
            data, (_, _, direction, *_) = wire.recvfrom(HEAD, socket.MSG_TRUNC)
            if direction != PACKET_OUTGOING:
                now = time.time_ns()
                file.write(struct.pack("=IIII", now // 10**9, now % 10**9, len(data), len(data)))
                file.write(data)
                file.flush()


class Packet:
    """An IP packet: when it came, from where and to where. Addresses are texts; `port` is the
    destination's, 0 where there is none."""

    def __init__(self, moment, protocol, source, destination, port):
        self.moment, self.protocol, self.port = moment, protocol, port
        self.source, self.destination = source, destination

    def __str__(self):
        name = {1: "ICMP", 6: "TCP", 17: "UDP", 58: "ICMPv6"}.get(self.protocol, str(self.protocol))
        return f"{name} {self.source} > {self.destination} port {self.port}"


def _decode(moment, frame):
    kind, packet = frame[12:14], frame[14:]
    if kind == b"\x08\x00" and len(packet) >= 20:
        head, protocol, addresses = (packet[0] & 15) * 4, packet[9], packet[12:20]
    elif kind == b"\x86\xdd" and len(packet) >= 40:
        head, protocol, addresses = 40, packet[6], packet[8:40]
    else:
        return None  # ARP and the like
    half = len(addresses) // 2
    ports = packet[head:head + 4]
    port = int.from_bytes(ports[2:], "big") if protocol in (6, 17) and len(ports) == 4 else 0
    source, destination = (str(ipaddress.ip_address(part))
                           for part in (addresses[:half], addresses[half:]))
    return Packet(moment, protocol, source, destination, port)


def packets(path):
    """The IP packets of a capture, as far as it is written."""
    data = open(path, "rb").read()
    at = 24
    while at + 16 <= len(data):
        seconds, nanoseconds, length, _ = struct.unpack_from("=IIII", data, at)
        frame = data[at + 16:at + 16 + length]
        at += 16 + length
        if len(frame) == length and (packet := _decode(seconds + nanoseconds / 1e9, frame)):
            yield packet


if __name__ == "__main__":
    capture(*sys.argv[1:])
