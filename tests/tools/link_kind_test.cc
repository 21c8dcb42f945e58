// The kind and rate of Linux links, as docs/platform.md ("Interface kinds") tabulates
// them; the agent derives ifType and ifSpeed from these numbers.
#include <gtest/gtest.h>
#include <linux/if_arp.h>
#include <linux/if.h>

#include "platform/services.h"
#include "tools/hostd/interface_object.h"
#include "tools/hostd/link_kind.h"

namespace {

namespace kind = hostd::kind;
namespace rate = hostd::rate;
namespace iface = lm::service::iface;

TEST(LinkKind, LinuxLinksToKinds) {
    struct Case {
        uint16_t arphrd;
        const char* linkKind;
        uint32_t expected;
    };
    const Case cases[] = {
        {ARPHRD_ETHER, "", kind::ETHERNET},  // an Ethernet port
        {ARPHRD_ETHER, "veth", kind::ETHERNET},
        {ARPHRD_ETHER, "bond", kind::ETHERNET},
        {ARPHRD_ETHER, "dummy", kind::ETHERNET},
        {ARPHRD_ETHER, "macvlan", kind::ETHERNET},
        {ARPHRD_ETHER, "tun", kind::ETHERNET},  // a tap
        {ARPHRD_ETHER, "bridge", kind::BRIDGE},
        {ARPHRD_ETHER, "vlan", kind::VLAN},
        {ARPHRD_LOOPBACK, "", kind::OTHER},
        {ARPHRD_NONE, "tun", kind::TUNNEL},
        {ARPHRD_NONE, "wireguard", kind::TUNNEL},
        {ARPHRD_NONE, "", kind::OTHER},
        {ARPHRD_IPGRE, "gre", kind::TUNNEL},
        {ARPHRD_SIT, "sit", kind::TUNNEL},
        {ARPHRD_TUNNEL6, "ip6tnl", kind::TUNNEL},
        {ARPHRD_PPP, "", kind::PPP},
        {ARPHRD_IEEE80211_RADIOTAP, "", kind::WIRELESS},
        {ARPHRD_INFINIBAND, "", kind::OTHER},
        {ARPHRD_CAN, "vcan", kind::OTHER},
    };
    for (const Case& c : cases)
        EXPECT_EQ(hostd::interfaceKind(c.arphrd, c.linkKind), c.expected)
            << "type " << c.arphrd << " kind \"" << c.linkKind << "\"";
}

TEST(LinkKind, SpeedsToRates) {
    const std::pair<std::optional<uint32_t>, uint32_t> cases[] = {
        {10, rate::MBPS_10},  {100, rate::MBPS_100}, {1000, rate::MBPS_1000},
        {2500, rate::OTHER},  {10000, rate::OTHER},  {1, rate::OTHER},
        {std::nullopt, rate::OTHER},
    };
    for (const auto& [speed, expected] : cases)
        EXPECT_EQ(hostd::rateOf(speed), expected) << (speed ? std::to_string(*speed) : "unknown");
}

// The status flags and the two bools must never disagree: traps compare the flags, tables
// show the bools.
TEST(LinkKind, StatusFlagsAgreeWithTheBools) {
    const uint32_t flagSets[] = {0, IFF_UP, IFF_RUNNING, IFF_UP | IFF_RUNNING,
                                 IFF_UP | IFF_RUNNING | IFF_BROADCAST | IFF_LOWER_UP};
    for (uint32_t flags : flagSets) {
        hostd::LinkInfo link;
        link.index = 1;
        link.name = "eth0";
        link.flags = flags;
        const lm::message m = hostd::interfaceObject(link, std::nullopt);
        const uint32_t status = m.getU32(iface::STATUS);
        EXPECT_EQ((status & iface::STATUS_ADMIN_UP) != 0, !m.getBool(iface::DISABLED)) << flags;
        EXPECT_EQ((status & iface::STATUS_RUNNING) != 0, m.getBool(iface::RUNNING)) << flags;
        EXPECT_EQ(status & ~(iface::STATUS_ADMIN_UP | iface::STATUS_RUNNING), 0u) << flags;
        EXPECT_EQ((status & iface::STATUS_ADMIN_UP) != 0, (flags & IFF_UP) != 0) << flags;
        EXPECT_EQ((status & iface::STATUS_RUNNING) != 0, (flags & IFF_RUNNING) != 0) << flags;
    }
}

}  // namespace
