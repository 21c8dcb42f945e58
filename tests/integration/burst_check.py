"""Requests that reach the agent together, while it waits for a slow table service.

usage: burst_check.py bulk PORT WIDE -- RELEASE...
       burst_check.py set-order PORT WIDE -- RELEASE...

A first Get of WIDE.2.1 keeps the agent waiting on the stalled service; RELEASE (a command
that ends the stall) is started at once, and the burst is sent while the agent waits, so
that it takes the whole burst in one go afterwards.
  bulk       20 GetBulk requests of 5 repetitions from rows 10*i of column 2: each reply
             comes once, in order, with the 5 rows after its start.
  set-order  Get WIDE.2.2, Set WIDE.2.2 = "burst" (community private), Get WIDE.2.2: the
             first Get sees the old value and the second the new one.
Prints what it saw; exits non-zero when the agent did not behave.
"""
import socket
import subprocess
import sys
import time

from ber import tlv_at

GET, GET_BULK, SET, RESPONSE = 0xA0, 0xA5, 0xA3, 0xA2


def tlv(tag, body):
    n = len(body)
    if n < 128:
        return bytes([tag, n]) + body
    return bytes([tag, 0x82, n >> 8, n & 0xFF]) + body


def integer(v):
    return tlv(0x02, v.to_bytes(4, "big", signed=True))


def encode_oid(dotted):
    arcs = [int(a) for a in dotted.strip(".").split(".")]
    body = bytearray([arcs[0] * 40 + arcs[1]])
    for arc in arcs[2:]:
        chunk = [arc & 0x7F]
        arc >>= 7
        while arc:
            chunk.insert(0, 0x80 | (arc & 0x7F))
            arc >>= 7
        body += bytes(chunk)
    return tlv(0x06, bytes(body))


def decode_oid(body):
    arcs, arc = [body[0] // 40, body[0] % 40], 0
    for b in body[1:]:
        arc = (arc << 7) | (b & 0x7F)
        if not b & 0x80:
            arcs.append(arc)
            arc = 0
    return ".".join(map(str, arcs))


def message(pdu_type, request_id, bindings, second=0, third=0, community=b"public"):
    """bindings: (dotted name, encoded value) pairs."""
    listed = b"".join(tlv(0x30, encode_oid(n) + v) for n, v in bindings)
    pdu = tlv(pdu_type, integer(request_id) + integer(second) + integer(third) + tlv(0x30, listed))
    return tlv(0x30, integer(1) + tlv(0x04, community) + pdu)


def parse_reply(data):
    """(request-id, error status, [(name, value tag, value octets)])."""
    _, at, _ = tlv_at(data, 0)
    _, _, at = tlv_at(data, at)                   # version
    _, _, at = tlv_at(data, at)                   # community
    tag, at, _ = tlv_at(data, at)                 # PDU
    if tag != RESPONSE:
        raise ValueError(f"PDU type {tag:#x}")
    _, s, at = tlv_at(data, at)
    request_id = int.from_bytes(data[s:at], "big", signed=True)
    _, s, at = tlv_at(data, at)
    status = int.from_bytes(data[s:at], "big")
    _, _, at = tlv_at(data, at)                   # error index
    _, at, end = tlv_at(data, at)                 # binding list
    bindings = []
    while at < end:
        _, inner, after = tlv_at(data, at)
        _, ns, ne = tlv_at(data, inner)
        vtag, vs, ve = tlv_at(data, ne)
        bindings.append((decode_oid(data[ns:ne]), vtag, bytes(data[vs:ve])))
        at = after
    return request_id, status, bindings


def run(port, wide, burst, release):
    """Sends the first Get, starts release, sends the burst and returns the replies in the
    order they came, the first Get's included."""
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.settimeout(15)
    s.sendto(message(GET, 1, [(f"{wide}.2.1", b"\x05\x00")]), ("127.0.0.1", port))
    releaser = subprocess.Popen(release, stdout=subprocess.DEVNULL)
    time.sleep(0.05)  # the agent is waiting for the service by now
    for datagram in burst:
        s.sendto(datagram, ("127.0.0.1", port))
    replies = [parse_reply(s.recvfrom(65535)[0]) for _ in range(len(burst) + 1)]
    releaser.wait()
    return replies


def bulk(port, wide, release):
    starts = [10 * i for i in range(20)]
    burst = [message(GET_BULK, 100 + i, [(f"{wide}.2.{start}", b"\x05\x00")], 0, 5)
             for i, start in enumerate(starts)]
    replies = run(port, wide, burst, release)
    wrong = 0
    if [r[0] for r in replies] != [1] + [100 + i for i in range(20)]:
        print("replies out of order or missing:", [r[0] for r in replies])
        wrong += 1
    for request_id, status, bindings in replies[1:]:
        start = starts[request_id - 100]
        due = [(f"{wide}.2.{row}", 0x04, f"r{row}c2".encode()) for row in range(start + 1, start + 6)]
        if status != 0 or bindings != due:
            print(f"request {request_id}: status {status}, bindings {bindings}")
            wrong += 1
    print(f"{len(replies) - 1} GetBulk replies, {wrong} wrong")
    return 0 if wrong == 0 else 1


def set_order(port, wide, release):
    name = f"{wide}.2.2"
    burst = [message(GET, 2, [(name, b"\x05\x00")]),
             message(SET, 3, [(name, tlv(0x04, b"burst"))], community=b"private"),
             message(GET, 4, [(name, b"\x05\x00")])]
    seen = {r[0]: r for r in run(port, wide, burst, release)}
    values = [seen.get(i, (i, -1, []))[2][:1] for i in (2, 3, 4)]
    statuses = [seen.get(i, (i, -1, []))[1] for i in (2, 3, 4)]
    due = [[(name, 0x04, b"r2c2")], [(name, 0x04, b"burst")], [(name, 0x04, b"burst")]]
    print(f"Get, Set, Get: statuses {statuses}, values {[v[0][2] if v else None for v in values]}")
    return 0 if statuses == [0, 0, 0] and values == due else 1


def main():
    mode, port, wide = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    release = sys.argv[sys.argv.index("--") + 1:]
    return {"bulk": bulk, "set-order": set_order}[mode](port, wide, release)


if __name__ == "__main__":
    sys.exit(main())
