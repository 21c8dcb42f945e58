// One link as rtnetlink describes it (RTM_NEWLINK / RTM_DELLINK), read from untrusted
// bytes: every length is checked against what is left, and a message that does not add up
// is refused with a one-line reason instead of being half read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

// The counters the interface object carries, from IFLA_STATS64 (or the 32-bit IFLA_STATS
// of kernels without it).
struct LinkStats {
    uint64_t rxPackets = 0, txPackets = 0;
    uint64_t rxBytes = 0, txBytes = 0;
    uint64_t rxErrors = 0, txErrors = 0;
    uint64_t rxDropped = 0, txDropped = 0;
};

struct LinkInfo {
    uint32_t index = 0;
    uint8_t family = 0;      // AF_UNSPEC for the link itself; AF_BRIDGE for a bridge port's view
    uint16_t type = 0;       // ARPHRD_*
    uint32_t flags = 0;      // IFF_*
    std::string name;        // IFLA_IFNAME
    std::string alias;       // IFLA_IFALIAS; empty when none
    std::vector<uint8_t> address;  // IFLA_ADDRESS; empty when the link has none
    std::optional<uint32_t> mtu;
    std::string kind;        // IFLA_LINKINFO / IFLA_INFO_KIND: "veth", "bridge"; empty for hardware
    std::optional<LinkStats> stats;
};

// Parses one netlink message (header included) of type RTM_NEWLINK or RTM_DELLINK.
// False, with why set, when the message is cut short, an attribute overruns it, the
// link has no index or no name, or it is some other type.
bool parseLink(const uint8_t* data, size_t len, LinkInfo& out, std::string& why);

// Walks the netlink messages packed in one datagram. visit gets each whole message (its
// header's type and the bytes, header included) and returns false to stop. False, with
// why set, when a header overruns the buffer; the messages before it were visited.
using MessageVisitor = std::function<bool(uint16_t type, const uint8_t* data, size_t len)>;
bool forEachMessage(const uint8_t* data, size_t len, const MessageVisitor& visit, std::string& why);

}  // namespace hostd
