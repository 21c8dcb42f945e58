// IPAddr6 and IPPrefix6: parsing, text forms, socket addresses and prefix matching.
#include "platform/ipaddr.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <ostream>

namespace lm {

namespace {

const uint8_t MAPPED_PREFIX[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

// RFC 5952: lower-case hex, no leading zeros, the longest run (first on a tie) of two or
// more zero groups shown as "::". Mapped addresses use "::ffff:a.b.c.d" when asked.
std::string ipv6Text(const uint8_t a[16], bool mappedAsQuad) {
    char buf[64];
    if (mappedAsQuad && memcmp(a, MAPPED_PREFIX, 12) == 0) {
        snprintf(buf, sizeof buf, "::ffff:%u.%u.%u.%u", a[12], a[13], a[14], a[15]);
        return buf;
    }
    uint16_t g[8];
    for (int i = 0; i < 8; ++i) g[i] = uint16_t(a[2 * i] << 8 | a[2 * i + 1]);
    int best = -1, bestLen = 0;
    for (int i = 0; i < 8;) {
        if (g[i] != 0) {
            ++i;
            continue;
        }
        int j = i;
        while (j < 8 && g[j] == 0) ++j;
        if (j - i > bestLen) best = i, bestLen = j - i;
        i = j;
    }
    if (bestLen < 2) best = -1;
    std::string s;
    for (int i = 0; i < 8; ++i) {
        if (i == best) {
            s += "::";
            i += bestLen - 1;
            continue;
        }
        if (!s.empty() && s.back() != ':') s += ':';
        snprintf(buf, sizeof buf, "%x", g[i]);
        s += buf;
    }
    return s;
}

// A decimal number 0..max with no sign, spaces or leading junk.
bool parseNumber(const std::string& s, uint32_t max, uint32_t& out) {
    if (s.empty() || s.size() > 3) return false;
    uint32_t v = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + uint32_t(c - '0');
    }
    if (v > max) return false;
    out = v;
    return true;
}

}  // namespace

bool IPAddr6::parse(const std::string& text, IPAddr6& out) {
    if (text.find('\0') != std::string::npos) return false;
    in_addr v4;
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1) {
        out.setIPv4(v4.s_addr);
        return true;
    }
    in6_addr v6;
    if (inet_pton(AF_INET6, text.c_str(), &v6) == 1) {
        memcpy(out.addr, v6.s6_addr, 16);
        return true;
    }
    return false;
}

IPAddr6 IPAddr6::fromIPv4(uint32_t netOrder) {
    IPAddr6 a;
    a.setIPv4(netOrder);
    return a;
}

bool IPAddr6::isIPv4() const { return memcmp(addr, MAPPED_PREFIX, 12) == 0; }

void IPAddr6::setIPv4(uint32_t netOrder) {
    memcpy(addr, MAPPED_PREFIX, 12);
    memcpy(addr + 12, &netOrder, 4);
}

uint32_t IPAddr6::getIPv4() const {
    uint32_t v;
    memcpy(&v, addr + 12, 4);
    return v;
}

bool IPAddr6::empty() const {
    for (uint8_t b : addr)
        if (b) return false;
    return true;
}

std::string IPAddr6::str() const {
    if (isIPv4()) {
        char buf[20];
        snprintf(buf, sizeof buf, "%u.%u.%u.%u", addr[12], addr[13], addr[14], addr[15]);
        return buf;
    }
    return ipv6Text(addr, false);
}

bool IPAddr6::assign(const sockaddr* sa, socklen_t len) {
    *this = IPAddr6{};
    if (!sa) return false;
    if (sa->sa_family == AF_INET && len >= socklen_t(sizeof(sockaddr_in))) {
        sockaddr_in in;
        memcpy(&in, sa, sizeof in);
        *this = in;
        return true;
    }
    if (sa->sa_family == AF_INET6 && len >= socklen_t(sizeof(sockaddr_in6))) {
        sockaddr_in6 in6;
        memcpy(&in6, sa, sizeof in6);
        *this = in6;
        return true;
    }
    return false;
}

IPAddr6& IPAddr6::operator=(const sockaddr_in6& sa) {
    memcpy(addr, sa.sin6_addr.s6_addr, 16);
    return *this;
}

IPAddr6& IPAddr6::operator=(const sockaddr_in& sa) {
    setIPv4(sa.sin_addr.s_addr);
    return *this;
}

sockaddr_in6 IPAddr6::toSockaddr6(uint16_t port) const {
    sockaddr_in6 sa{};
    sa.sin6_family = AF_INET6;
    sa.sin6_port = htons(port);
    memcpy(sa.sin6_addr.s6_addr, addr, 16);
    return sa;
}

bool IPPrefix6::parse(const std::string& text, IPPrefix6& out) {
    const size_t slash = text.find('/');
    const std::string host = text.substr(0, slash);
    IPAddr6 a;
    if (!IPAddr6::parse(host, a)) return false;
    const bool dotted = host.find(':') == std::string::npos;
    IPPrefix6 p(a, 128);
    if (slash != std::string::npos) {
        const std::string tail = text.substr(slash + 1);
        uint32_t n;
        in_addr mask;
        if (dotted && tail.find('.') != std::string::npos) {
            if (inet_pton(AF_INET, tail.c_str(), &mask) != 1) return false;
            p.setIPv4Mask(mask.s_addr);
        } else if (parseNumber(tail, dotted ? 32 : 128, n)) {
            p.len = dotted ? 96 + n : n;
        } else {
            return false;
        }
    }
    out = p;
    return true;
}

bool IPPrefix6::has(const IPAddr6& a) const {
    // A mapped prefix (len >= 96) includes the ::ffff:0:0/96 bits, so it never holds a
    // native IPv6 address: that falls out of plain bit matching.
    const uint32_t n = len > 128 ? 128 : len;
    const uint32_t whole = n / 8, rest = n % 8;
    if (memcmp(addr.addr, a.addr, whole) != 0) return false;
    if (rest == 0) return true;
    const uint8_t m = uint8_t(0xFF << (8 - rest));
    return (addr.addr[whole] & m) == (a.addr[whole] & m);
}

uint32_t IPPrefix6::getIPv4Mask() const {
    if (!isIPv4()) return 0;
    const uint32_t n = (len > 128 ? 128 : len) - 96;
    return htonl(n == 0 ? 0 : 0xFFFFFFFFu << (32 - n));
}

void IPPrefix6::setIPv4Mask(uint32_t netOrderMask) {
    uint32_t m = ntohl(netOrderMask), ones = 0;
    while (ones < 32 && (m & (0x80000000u >> ones))) ++ones;
    len = 96 + ones;
}

std::string IPPrefix6::str() const {
    if (isIPv4()) return addr.str() + "/" + std::to_string(len - 96);
    return ipv6Text(addr.addr, true) + "/" + std::to_string(len);
}

std::ostream& operator<<(std::ostream& os, const IPAddr6& a) { return os << a.str(); }
std::ostream& operator<<(std::ostream& os, const IPPrefix6& p) { return os << p.str(); }

}  // namespace lm
