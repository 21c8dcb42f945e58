"""Reading BER elements in the raw datagrams the probes send and receive."""


def tlv_at(data, at):
    """(tag, contents start, contents end) of the element at offset at."""
    tag, n = data[at], data[at + 1]
    at += 2
    if n & 0x80:
        width = n & 0x7F
        n = int.from_bytes(data[at:at + width], "big")
        at += width
    return tag, at, at + n
