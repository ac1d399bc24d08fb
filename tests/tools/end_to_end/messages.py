"""Blocks and messages, put together as docs/protocol.md has them."""

SERVICE, ECHO = b"g:loc/ql", b"http:echo"


def varint(number):
    number %= 1 << 64
    low = bytes((number & 0x7F | (number > 0x7F) << 7,))
    return low + varint(number >> 7) if number > 0x7F else low


def number(field, value):
    return varint(field << 3) + varint(value)


def nested(field, *parts):
    """A text or a message."""
    content = b"".join(parts)
    return varint(field << 3 | 2) + varint(len(content)) + content


def latlng(latitude, longitude):
    units = [round(degrees * 1e7).to_bytes(4, "little", signed=True)
             for degrees in (latitude, longitude)]
    return b"\x0d" + units[0] + b"\x15" + units[1]


def cell(*numbers):
    """MCC, MNC, AREA, CELL and DBM."""
    return b"".join(number(i + 1, value) for i, value in enumerate(numbers))


def wifi(*devices):
    """The MAC address and, if there is one, the signal of each."""
    return nested(2, *(nested(2, nested(1, mac.encode()), *(number(3, dbm) for dbm in rest))
                       for mac, *rest in devices))


def place(position, *rest, field=3):
    """A location at a position; field 3 of a request's element, 2 of a reply's."""
    return nested(field, nested(1, latlng(*position)), *rest)


def counted(text, width=2):
    return len(text).to_bytes(width, "big") + text


def block(kind, content):
    return len(content).to_bytes(4, "big") + kind.to_bytes(2, "big") + content


def answer(request_id, payload=b"\x08\1", status=200, encodings=b""):
    """A reply block; the message is one with status 1, nothing found."""
    return block(0x8100, request_id.to_bytes(2, "big") + status.to_bytes(2, "big")
                 + counted(encodings) + bytes(4) + payload)


def reply(*blocks, version=1):
    return version.to_bytes(2, "big") + b"".join(blocks)


def post(*requests):
    """A POST of (service, is multipart, payload), numbered from 7."""
    header = block(1, b"\0\1t" + (42).to_bytes(8, "big") + b"\0\0")
    return b"\0\1" + header + b"".join(
        block(0x0100 + is_multipart, i.to_bytes(2, "big") + counted(service) + b"\0\1"
              + (payload if is_multipart else counted(payload, 4)))
        for i, (service, is_multipart, payload) in enumerate(requests, 7))
