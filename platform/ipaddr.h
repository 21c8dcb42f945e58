// IPv6 addresses and prefixes as the platform carries them: 16 octets, IPv4 held
// IPv4-mapped (::ffff:a.b.c.d). An IPv4 prefix is a mapped prefix of length 96 + n, so
// it only ever contains IPv4 (mapped) sources: 0.0.0.0/0 does not match a native IPv6
// peer such as ::1. That is the rule the agent's community checks rely on.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace lm {

struct IPAddr6 {
    uint8_t addr[16] = {};

    IPAddr6() = default;
    // Parses "a.b.c.d" (stored mapped) or any inet_pton IPv6 text; false on bad text.
    static bool parse(const std::string& text, IPAddr6& out);
    static IPAddr6 fromIPv4(uint32_t netOrder);

    bool isIPv4() const;       // an IPv4-mapped address
    void setIPv4(uint32_t netOrder);
    uint32_t getIPv4() const;  // last four octets, network order
    bool empty() const;        // all sixteen octets zero
    std::string str() const;   // dotted quad for mapped addresses, RFC 5952 text otherwise

    // Socket-address conversions. assign() accepts AF_INET and AF_INET6 and returns false
    // (leaving the address empty) for anything else or a short length.
    bool assign(const sockaddr* sa, socklen_t len);
    IPAddr6& operator=(const sockaddr_in6& sa);
    IPAddr6& operator=(const sockaddr_in& sa);
    sockaddr_in6 toSockaddr6(uint16_t port) const;

    auto operator<=>(const IPAddr6&) const = default;
    bool operator==(const IPAddr6&) const = default;
};

struct IPPrefix6 {
    IPAddr6 addr;
    uint32_t len = 0;  // 0..128; IPv4 prefixes are 96..128

    IPPrefix6() = default;
    IPPrefix6(const IPAddr6& a, uint32_t l) : addr(a), len(l) {}
    // "a.b.c.d/n", "a.b.c.d/m.m.m.m", "a.b.c.d" (/32), "x::y/n", "x::y" (/128).
    static bool parse(const std::string& text, IPPrefix6& out);

    bool isIPv4() const { return addr.isIPv4() && len >= 96; }
    bool empty() const { return addr.empty() && len == 0; }
    bool has(const IPAddr6& a) const;  // a lies inside the prefix
    uint32_t getIPv4Mask() const;      // netmask of an IPv4 prefix, network order
    // Sets addr's IPv4 form's prefix length from a netmask (network order): len = 96 + the
    // number of leading one bits. A non-contiguous mask counts its leading ones only.
    void setIPv4Mask(uint32_t netOrderMask);
    std::string str() const;  // "a.b.c.d/n" for IPv4 prefixes, "x::/n" otherwise

    bool operator==(const IPPrefix6&) const = default;
};

std::ostream& operator<<(std::ostream& os, const IPAddr6& a);
std::ostream& operator<<(std::ostream& os, const IPPrefix6& p);

}  // namespace lm
