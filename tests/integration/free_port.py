# Prints a UDP port that is free right now for a dual-stack socket (IPv4 and IPv6).
import socket
s = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)
s.bind(("::", 0))
print(s.getsockname()[1])
s.close()
