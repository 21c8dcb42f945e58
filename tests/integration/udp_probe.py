"""Raw UDP probes of the agent: which address answers, and garbage that must not hurt it.

usage: udp_probe.py source-of-reply BIND_ADDR DEST_ADDR PORT [COMMUNITY]
       udp_probe.py burst-runs PORT COUNT DEST_A DEST_B [COPIES]
       udp_probe.py garbage DEST_ADDR PORT COUNT
Prints what it saw; exits non-zero when the agent did not behave.
"""
import os
import random
import socket
import sys

from ber import tlv_at


def tlv(tag, body):
    n = len(body)
    if n < 128:
        head = bytes([tag, n])
    elif n < 256:
        head = bytes([tag, 0x81, n])
    else:
        head = bytes([tag, 0x82, n >> 8, n & 0xFF])
    return head + body


SYS_DESCR = bytes.fromhex("06082b06010201010100")  # 1.3.6.1.2.1.1.1.0
SYS_NAME = bytes.fromhex("06082b06010201010500")  # 1.3.6.1.2.1.1.5.0


def get_request(community=b"public", request_id=0x1234, name=SYS_DESCR, id_octets=2, copies=1):
    binding = tlv(0x30, name + b"\x05\x00")
    pdu = tlv(0xA0, tlv(0x02, request_id.to_bytes(id_octets, "big")) + b"\x02\x01\x00\x02\x01\x00" + tlv(0x30, binding * copies))
    return tlv(0x30, b"\x02\x01\x01" + tlv(0x04, community) + pdu)


def family(addr):
    return socket.AF_INET6 if ":" in addr else socket.AF_INET


def source_of_reply(bind_addr, dest, port, community=b"public"):
    s = socket.socket(family(dest), socket.SOCK_DGRAM)
    s.bind((bind_addr, 0))
    s.settimeout(2)
    s.sendto(get_request(community), (dest, port))
    data, src = s.recvfrom(65535)
    print(f"reply of {len(data)} octets from {src[0]}")
    return 0 if src[0] == dest else 1


def reply_request_id(data):
    """The request-id of a v1/v2c response, or -1 when the datagram is not one."""
    try:
        _, at, _ = tlv_at(data, 0)           # message
        _, _, at = tlv_at(data, at)          # version
        _, _, at = tlv_at(data, at)          # community
        tag, at, _ = tlv_at(data, at)        # PDU
        _, start, end = tlv_at(data, at)     # request-id
        return int.from_bytes(data[start:end], "big") if tag == 0xA2 else -1
    except IndexError:
        return -1


def burst_runs(port, count, dests, copies=1):
    """Sends count requests at once in runs to the same address (lengths 1 to 12), with
    replies of three sizes inside the runs (two objects, request-ids of two and three
    octets), each request naming its object `copies` times. Every reply must come once, in
    the order sent, from the address asked, and be as long as every other reply of its
    kind."""
    s = socket.socket(family(dests[0]), socket.SOCK_DGRAM)
    s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
    s.settimeout(3)
    run_lengths = [1, 5, 2, 12, 3, 8, 1, 1, 7, 4, 11, 6]
    order, kinds = [], {}
    run, left, dest = 0, run_lengths[0], 0
    for i in range(count):
        if left == 0:
            run += 1
            left = run_lengths[run % len(run_lengths)]
            dest = 1 - dest
        left -= 1
        octets = 3 if i % 5 == 4 else 2
        name = SYS_NAME if i % 7 == 6 else SYS_DESCR
        request_id = (0x10000 if octets == 3 else 0x1000) + i
        kinds[request_id] = (dests[dest], octets, name)
        order.append(request_id)
        request = get_request(request_id=request_id, name=name, id_octets=octets, copies=copies)
        s.sendto(request, (dests[dest], port))
    wrong, lengths, received = 0, {}, []
    while len(received) < count:
        data, src = s.recvfrom(65535)
        request_id = reply_request_id(data)
        kind = kinds.get(request_id)
        if kind is None or request_id in received or src[0] != kind[0]:
            wrong += 1
        elif lengths.setdefault(kind[1:], len(data)) != len(data):
            wrong += 1
        received.append(request_id)
    out_of_order = sum(1 for a, b in zip(order, received) if a != b)
    print(f"{len(set(received))} of {count} answered, {wrong} wrong, {out_of_order} out of order")
    return 0 if wrong == 0 and out_of_order == 0 else 1


def garbage(dest, port, count):
    rng = random.Random(1234)
    valid = get_request()
    s = socket.socket(family(dest), socket.SOCK_DGRAM)
    s.settimeout(0.5)
    kinds = []
    for i in range(count):
        k = i % 6
        if k == 0:
            d = os.urandom(rng.randint(0, 200))
        elif k == 1:
            d = valid[: rng.randint(0, len(valid) - 1)]
        elif k == 2:
            d = bytes([0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xF0]) + os.urandom(50)
        elif k == 3:
            depth = rng.randint(100, 4000)
            d = b"\x30\x80" * depth
        elif k == 4:
            b = bytearray(valid)
            for _ in range(rng.randint(1, 6)):
                b[rng.randrange(len(b))] = rng.randrange(256)
            d = bytes(b)
        else:
            d = b"\x30\x82\xff\xf0" + os.urandom(rng.randint(1000, 65000))
        kinds.append(k)
        s.sendto(d, (dest, port))
    # Whatever was answered so far is drained; then a valid request must still be answered.
    try:
        while True:
            s.recvfrom(65535)
    except socket.timeout:
        pass
    s.settimeout(3)
    s.sendto(get_request(request_id=0x4321), (dest, port))
    data, _ = s.recvfrom(65535)
    ok = bytes.fromhex("02024321") in data
    print(f"sent {count} malformed datagrams; valid request answered: {ok}")
    return 0 if ok else 1


if __name__ == "__main__":
    try:
        if sys.argv[1] == "source-of-reply":
            community = sys.argv[5].encode() if len(sys.argv) > 5 else b"public"
            sys.exit(source_of_reply(sys.argv[2], sys.argv[3], int(sys.argv[4]), community))
        if sys.argv[1] == "burst-runs":
            copies = int(sys.argv[6]) if len(sys.argv) > 6 else 1
            sys.exit(burst_runs(int(sys.argv[2]), int(sys.argv[3]), sys.argv[4:6], copies))
        if sys.argv[1] == "garbage":
            sys.exit(garbage(sys.argv[2], int(sys.argv[3]), int(sys.argv[4])))
    except socket.timeout:
        print("no reply")
        sys.exit(1)
    sys.exit(2)
