"""Asks vestad over the access point's bus (docs/bus.md)."""

import json
import random
import socket
import struct


def ask(runtime, request, module=3, seconds=3):
    """The answer of `module`; OSError when it is not there or does not answer."""
    with socket.socket(socket.AF_UNIX) as bus:
        bus.settimeout(seconds)
        bus.connect(f"{runtime}/bus/{module}")
        text = json.dumps(request).encode()
        bus.sendall(struct.pack(">II", len(text), random.randrange(65536, 2**31)) + text)
        answer = {}
        while True:
            length, _ = struct.unpack(">II", _exactly(bus, 8))
            _join(answer, json.loads(_exactly(bus, length)))
            if not answer.pop("more", False):
                return answer


def _join(answer, frame):
    """Adds what another frame of the same answer tells."""
    for name, value in frame.items():
        if isinstance(value, dict) and isinstance(answer.get(name), dict):
            _join(answer[name], value)
        elif isinstance(value, list) and isinstance(answer.get(name), list):
            answer[name] += value
        else:
            answer[name] = value


def _exactly(bus, length):
    data = b""
    while len(data) < length:
        part = bus.recv(length - len(data))
        if not part:
            raise ConnectionError("the bus was closed")
        data += part
    return data
