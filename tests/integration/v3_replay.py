"""Capture and replay of SNMPv3 datagrams.

usage: v3_replay.py relay LISTEN_PORT AGENT_PORT FILE SECONDS
         forwards datagrams both ways for SECONDS and writes the last request that had
         the authentication flag to FILE
       v3_replay.py replay AGENT_PORT FILE
         sends FILE to the agent and prints the usmStats counter the reply reports
         ("report N"), "response" for any other reply or "silence"
"""
import select
import socket
import sys
import time

from ber import tlv_at

USM_STATS = bytes.fromhex("2b060106030f0101")  # 1.3.6.1.6.3.15.1.1


def auth_flag(datagram):
    try:
        _, at, _ = tlv_at(datagram, 0)          # message
        _, _, at = tlv_at(datagram, at)         # version
        _, at, _ = tlv_at(datagram, at)         # msgGlobalData
        for _ in range(2):                      # msgID, msgMaxSize
            _, _, at = tlv_at(datagram, at)
        _, start, _ = tlv_at(datagram, at)      # msgFlags
        return datagram[start] & 1
    except IndexError:
        return False


def relay(listen_port, agent_port, path, seconds):
    front = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    front.bind(("127.0.0.1", listen_port))
    back = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    open(path + ".ready", "w").close()
    manager = None
    end = time.time() + seconds
    while time.time() < end:
        ready, _, _ = select.select([front, back], [], [], 0.2)
        if front in ready:
            data, manager = front.recvfrom(65535)
            if auth_flag(data):
                with open(path, "wb") as f:
                    f.write(data)
            back.sendto(data, ("127.0.0.1", agent_port))
        if back in ready:
            data, _ = back.recvfrom(65535)
            if manager:
                front.sendto(data, manager)


def replay(agent_port, path):
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.settimeout(2)
    with open(path, "rb") as f:
        s.sendto(f.read(), ("127.0.0.1", agent_port))
    try:
        data, _ = s.recvfrom(65535)
    except socket.timeout:
        print("silence")
        return
    at = data.find(USM_STATS)
    print(f"report {data[at + len(USM_STATS)]}" if at >= 0 else "response")


if sys.argv[1] == "relay":
    relay(int(sys.argv[2]), int(sys.argv[3]), sys.argv[4], float(sys.argv[5]))
else:
    replay(int(sys.argv[2]), sys.argv[3])
