// udp_echo: the ceiling for the load runs. A plain single-threaded UDP echo server on
// 127.0.0.1 or ::1: each datagram goes straight back to its sender, untouched.
//   udp_echo --port N [--host 127.0.0.1|::1] [--seconds S]
// Prints "udp_echo: listening on HOST:PORT" once bound; --seconds bounds its life.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>

#include "bench/load/loopback.h"

namespace {

int usage(const std::string& problem) {
    std::cerr << "udp_echo: " << problem << "\nusage: udp_echo --port N [--host 127.0.0.1|::1] [--seconds S]\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string host = "127.0.0.1";
    long port = 0, seconds = 0;
    for (int i = 1; i < argc; i += 2) {
        const std::string opt = argv[i];
        if (i + 1 >= argc) return usage(opt + ": needs a value");
        const char* value = argv[i + 1];
        char* end = nullptr;
        if (opt == "--host") {
            host = value;
        } else if (opt == "--port") {
            port = std::strtol(value, &end, 10);
            if (*end || port <= 0 || port > 65535) return usage("bad port " + std::string(value));
        } else if (opt == "--seconds") {
            seconds = std::strtol(value, &end, 10);
            if (*end || seconds < 0) return usage("bad seconds " + std::string(value));
        } else {
            return usage("unknown option " + opt);
        }
    }
    if (port == 0) return usage("--port is required");

    sockaddr_storage addr;
    socklen_t len;
    std::string error;
    if (!load::loopbackAddress(host, static_cast<uint16_t>(port), addr, len, error)) return usage(error);
    const int fd = socket(addr.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&addr), len) != 0) {
        std::cerr << "udp_echo: cannot bind " << host << ":" << port << ": " << std::strerror(errno) << "\n";
        return 1;
    }
    // A receive time-out lets the deadline be checked while nobody sends.
    timeval tick{0, 200000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof tick);
    std::cout << "udp_echo: listening on " << host << ":" << port << std::endl;

    const time_t deadline = seconds > 0 ? std::time(nullptr) + seconds : 0;
    static unsigned char buf[65536];
    unsigned long served = 0;
    for (;;) {
        sockaddr_storage peer;
        socklen_t peerLen = sizeof peer;
        const ssize_t n = recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&peer), &peerLen);
        if (n >= 0) {
            sendto(fd, buf, static_cast<size_t>(n), 0, reinterpret_cast<sockaddr*>(&peer), peerLen);
            if (++served % 4096 != 0) continue;  // the clock is read now and then, not per datagram
        }
        if (deadline != 0 && std::time(nullptr) >= deadline) break;
    }
    close(fd);
    return 0;
}
