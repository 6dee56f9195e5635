"""CBOR (RFC 8949) as far as tags of software need it: numbers, bytes, texts, lists and maps; the shortest form of each."""


def head(kind, number):
    if number < 24:
        return bytes([kind << 5 | number])
    for bits in (0, 1, 2, 3):
        if number < 1 << (8 << bits):
            return bytes([kind << 5 | 24 + bits]) + number.to_bytes(1 << bits, "big")
    raise ValueError(f"{number} is too large")


def encode(value):
    if isinstance(value, int):
        return head(0, value) if value >= 0 else head(1, -1 - value)
    if isinstance(value, bytes):
        return head(2, len(value)) + value
    if isinstance(value, str):
        return head(3, len(value.encode())) + value.encode()
    if isinstance(value, list):
        return head(4, len(value)) + b"".join(map(encode, value))
    return head(5, len(value)) + b"".join(encode(part) for item in value.items() for part in item)


def take(data, at):
    """The value at a place, and the place behind it."""
    kind, number = data[at] >> 5, data[at] & 31
    at += 1
    if number >= 24:
        width = 1 << (number - 24)
        number = int.from_bytes(data[at:at + width], "big")
        at += width
    if kind in (2, 3):
        part = data[at:at + number]
        return part if kind == 2 else part.decode(), at + number
    if kind < 2:
        return number if kind == 0 else -1 - number, at
    parts = []
    for _ in range(number * (kind - 3)):
        part, at = take(data, at)
        parts.append(part)
    return (parts if kind == 4 else dict(zip(parts[::2], parts[1::2]))), at


def decode(data):
    return take(data, 0)[0]
