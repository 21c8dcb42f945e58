// How a Linux link becomes the interface object's kind (0x08010001) and rate (0x0800044E).
// The table is in docs/platform.md, "Interface kinds"; the agent turns kind and rate into
// ifType and ifSpeed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hostd {

namespace kind {
constexpr uint32_t OTHER = 0;      // ifType other: loopback and links of no kind below
constexpr uint32_t ETHERNET = 1;   // ifType ethernetCsmacd
constexpr uint32_t WIRELESS = 5;   // ifType ieee80211
constexpr uint32_t PPP = 10;       // ifType ppp
constexpr uint32_t BRIDGE = 12;    // ifType bridge
constexpr uint32_t TUNNEL = 17;    // ifType tunnel
constexpr uint32_t VLAN = 30;      // ifType l2vlan
}  // namespace kind

namespace rate {
constexpr uint32_t OTHER = 0;
constexpr uint32_t MBPS_10 = 1;
constexpr uint32_t MBPS_100 = 2;
constexpr uint32_t MBPS_1000 = 3;
}  // namespace rate

// arphrdType is the link's ARPHRD_* type, linkKind its IFLA_INFO_KIND ("" for hardware).
uint32_t interfaceKind(uint16_t arphrdType, const std::string& linkKind);

// The rate for a speed in Mb/s: the three speeds the rate can name, else OTHER.
uint32_t rateOf(std::optional<uint32_t> speedMbps);

}  // namespace hostd
