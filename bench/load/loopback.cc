#include "bench/load/loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

namespace load {

bool loopbackAddress(const std::string& host, uint16_t port, sockaddr_storage& addr, socklen_t& len,
                     std::string& error) {
    std::memset(&addr, 0, sizeof addr);
    in_addr a4{};
    in6_addr a6{};
    if (inet_pton(AF_INET, host.c_str(), &a4) == 1 && a4.s_addr == htonl(INADDR_LOOPBACK)) {
        auto* s = reinterpret_cast<sockaddr_in*>(&addr);
        s->sin_family = AF_INET;
        s->sin_port = htons(port);
        s->sin_addr = a4;
        len = sizeof *s;
        return true;
    }
    if (inet_pton(AF_INET6, host.c_str(), &a6) == 1 && IN6_IS_ADDR_LOOPBACK(&a6)) {
        auto* s = reinterpret_cast<sockaddr_in6*>(&addr);
        s->sin6_family = AF_INET6;
        s->sin6_port = htons(port);
        s->sin6_addr = a6;
        len = sizeof *s;
        return true;
    }
    error = "refusing " + host + ": only 127.0.0.1 and ::1 are allowed";
    return false;
}

}  // namespace load
