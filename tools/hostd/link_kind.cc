#include "tools/hostd/link_kind.h"

#include <linux/if_arp.h>

namespace hostd {

namespace {

constexpr uint32_t SPEED_10 = 10;
constexpr uint32_t SPEED_100 = 100;
constexpr uint32_t SPEED_1000 = 1000;

}  // namespace

uint32_t interfaceKind(uint16_t arphrdType, const std::string& linkKind) {
    // A bridge or a VLAN is ARPHRD_ETHER like any Ethernet port: its kind decides first.
    if (linkKind == "bridge") return kind::BRIDGE;
    if (linkKind == "vlan") return kind::VLAN;
    if (arphrdType == ARPHRD_ETHER) return kind::ETHERNET;  // ports and Ethernet-framed virtual links
    // Layer-3 tun devices and WireGuard carry no link-layer type of their own (ARPHRD_NONE).
    if (linkKind == "tun" || linkKind == "wireguard") return kind::TUNNEL;
    switch (arphrdType) {
    case ARPHRD_PPP: return kind::PPP;
    case ARPHRD_TUNNEL:
    case ARPHRD_TUNNEL6:
    case ARPHRD_SIT:
    case ARPHRD_IPGRE:
    case ARPHRD_IP6GRE: return kind::TUNNEL;
    case ARPHRD_IEEE80211:
    case ARPHRD_IEEE80211_PRISM:
    case ARPHRD_IEEE80211_RADIOTAP: return kind::WIRELESS;
    default: return kind::OTHER;  // loopback among them
    }
}

uint32_t rateOf(std::optional<uint32_t> speedMbps) {
    if (!speedMbps) return rate::OTHER;
    switch (*speedMbps) {
    case SPEED_10: return rate::MBPS_10;
    case SPEED_100: return rate::MBPS_100;
    case SPEED_1000: return rate::MBPS_1000;
    default: return rate::OTHER;
    }
}

}  // namespace hostd
