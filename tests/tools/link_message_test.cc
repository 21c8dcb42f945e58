// Link messages as rtnetlink sends them, built here byte by byte, read into links and
// interface objects: whole messages, and messages cut or corrupted where a careless
// reader would over-read.
#include <gtest/gtest.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/if.h>

#include <cstring>

#include "platform/bus.h"
#include "platform/services.h"
#include "tools/hostd/interface_object.h"
#include "tools/hostd/link_kind.h"
#include "tools/hostd/link_message.h"

namespace {

namespace iface = lm::service::iface;

constexpr uint64_t ABOVE_32_BITS = (uint64_t(1) << 32) + 5;

// Builds one netlink link message: header, ifinfomsg, then attributes.
class LinkBytes {
public:
    LinkBytes(uint32_t index, uint16_t arphrd = ARPHRD_ETHER, uint32_t flags = IFF_UP | IFF_RUNNING,
              uint16_t type = RTM_NEWLINK) {
        bytes_.resize(NLMSG_SPACE(sizeof(ifinfomsg)));
        ifinfomsg ifi{};
        ifi.ifi_index = int(index);
        ifi.ifi_type = arphrd;
        ifi.ifi_flags = flags;
        std::memcpy(bytes_.data() + NLMSG_HDRLEN, &ifi, sizeof ifi);
        nlmsghdr h{};
        h.nlmsg_type = type;
        std::memcpy(bytes_.data(), &h, sizeof h);
        fixLength();
    }
    LinkBytes& attr(uint16_t type, const void* data, size_t len) {
        rtattr a{};
        a.rta_len = uint16_t(RTA_LENGTH(len));
        a.rta_type = type;
        const size_t at = bytes_.size();
        bytes_.resize(at + RTA_SPACE(len));
        std::memcpy(bytes_.data() + at, &a, sizeof a);
        std::memcpy(bytes_.data() + at + RTA_LENGTH(0), data, len);
        fixLength();
        return *this;
    }
    LinkBytes& str(uint16_t type, const std::string& s) { return attr(type, s.c_str(), s.size() + 1); }
    LinkBytes& u32(uint16_t type, uint32_t v) { return attr(type, &v, sizeof v); }
    LinkBytes& kind(const std::string& k) {
        LinkBytes inner(0);
        inner.bytes_.clear();
        inner.str(IFLA_INFO_KIND, k);
        return attr(IFLA_LINKINFO | NLA_F_NESTED, inner.bytes_.data(), inner.bytes_.size());
    }
    LinkBytes& stats64(const rtnl_link_stats64& s) { return attr(IFLA_STATS64, &s, sizeof s); }

    std::vector<uint8_t>& bytes() { return bytes_; }
    size_t size() const { return bytes_.size(); }
    bool parse(hostd::LinkInfo& out, std::string& why) const {
        return hostd::parseLink(bytes_.data(), bytes_.size(), out, why);
    }

private:
    void fixLength() {
        const auto len = uint32_t(bytes_.size());
        if (bytes_.size() >= sizeof len) std::memcpy(bytes_.data(), &len, sizeof len);
    }
    std::vector<uint8_t> bytes_;
};

LinkBytes ethernet(uint32_t index, const std::string& name) {
    const uint8_t mac[] = {0x02, 0x00, 0x5e, 0x10, 0x20, 0x30};
    LinkBytes b(index);
    b.str(IFLA_IFNAME, name).attr(IFLA_ADDRESS, mac, sizeof mac).u32(IFLA_MTU, 1500);
    return b;
}

TEST(LinkMessage, WholeLinkBecomesItsObject) {
    rtnl_link_stats64 s{};
    s.rx_bytes = ABOVE_32_BITS;
    s.tx_bytes = 7;
    s.rx_packets = ABOVE_32_BITS + 1;
    s.tx_packets = 9;
    s.rx_errors = ABOVE_32_BITS;  // the 32-bit field keeps the low half
    s.tx_dropped = 3;
    LinkBytes b = ethernet(4, "eth1");
    b.str(IFLA_IFALIAS, "to core").kind("veth").stats64(s);

    hostd::LinkInfo link;
    std::string why;
    ASSERT_TRUE(b.parse(link, why)) << why;
    const lm::message m = hostd::interfaceObject(link, 100);
    EXPECT_EQ(m.getU32(lm::key::OBJECT_ID), 4u);
    EXPECT_EQ(m.getString(iface::NAME), "eth1");
    EXPECT_EQ(m.getString(iface::COMMENT), "to core");
    EXPECT_EQ(*m.findRaw(iface::HW_ADDRESS), (lm::bytes{0x02, 0x00, 0x5e, 0x10, 0x20, 0x30}));
    EXPECT_EQ(m.getU32(iface::MTU), 1500u);
    EXPECT_EQ(m.getU32(iface::KIND), hostd::kind::ETHERNET);
    EXPECT_EQ(m.getU32(iface::RATE), hostd::rate::MBPS_100);
    EXPECT_EQ(m.getU32(iface::SPEED_MBPS), 100u);
    EXPECT_EQ(m.getU64(iface::RX_BYTES), ABOVE_32_BITS);
    EXPECT_EQ(m.getU64(iface::TX_BYTES), 7u);
    EXPECT_EQ(m.getU64(iface::RX_PACKETS), ABOVE_32_BITS + 1);
    EXPECT_EQ(m.getU64(iface::TX_PACKETS), 9u);
    EXPECT_EQ(m.getU32(iface::RX_ERRORS), 5u);
    EXPECT_EQ(m.getU32(iface::TX_DROPS), 3u);
    EXPECT_TRUE(m.hasU32(iface::TYPE_FLAGS));
}

// Fields that depend on what the message holds.
TEST(LinkMessage, WhatIsMissingStaysMissing) {
    struct Case {
        const char* what;
        LinkBytes bytes;
        uint32_t absent;  // a field that must be left out
    };
    LinkBytes noAddress(6);
    noAddress.str(IFLA_IFNAME, "tun0").attr(IFLA_ADDRESS, "", 0);
    const Case cases[] = {
        {"no statistics", ethernet(2, "eth0"), iface::RX_BYTES},
        {"no statistics, 32-bit counters", ethernet(2, "eth0"), iface::RX_ERRORS},
        {"an address of length 0", noAddress, iface::HW_ADDRESS},
        {"no MTU", noAddress, iface::MTU},
        {"an unknown speed", ethernet(2, "eth0"), iface::SPEED_MBPS},
    };
    for (const Case& c : cases) {
        hostd::LinkInfo link;
        std::string why;
        ASSERT_TRUE(c.bytes.parse(link, why)) << c.what << ": " << why;
        const lm::message m = hostd::interfaceObject(link, std::nullopt);
        EXPECT_FALSE(m.has(c.absent)) << c.what;
        EXPECT_EQ(m.getString(iface::COMMENT, "<absent>"), "") << c.what << ": no alias is an empty comment";
    }
}

TEST(LinkMessage, OlderKernelsThirtyTwoBitStatistics) {
    rtnl_link_stats s{};
    s.rx_bytes = 4000000000u;
    s.tx_packets = 12;
    LinkBytes b = ethernet(3, "eth2");
    b.attr(IFLA_STATS, &s, sizeof s);
    hostd::LinkInfo link;
    std::string why;
    ASSERT_TRUE(b.parse(link, why)) << why;
    ASSERT_TRUE(link.stats);
    EXPECT_EQ(link.stats->rxBytes, 4000000000u);
    EXPECT_EQ(link.stats->txPackets, 12u);
}

// An unterminated name is read to the end of its attribute, not past it.
TEST(LinkMessage, UnterminatedStrings) {
    LinkBytes b(9);
    b.attr(IFLA_IFNAME, "wan", 3).attr(IFLA_IFALIAS, "fibre", 5);
    hostd::LinkInfo link;
    std::string why;
    ASSERT_TRUE(b.parse(link, why)) << why;
    EXPECT_EQ(link.name, "wan");
    EXPECT_EQ(link.alias, "fibre");
}

TEST(LinkMessage, CorruptMessagesAreRefused) {
    // Drops the last octets; framed keeps the header's length true to what is left.
    auto cut = [](LinkBytes b, size_t drop, bool framed = true) {
        b.bytes().resize(b.bytes().size() - drop);
        const auto len = uint32_t(b.bytes().size());
        if (framed && len >= sizeof len) std::memcpy(b.bytes().data(), &len, sizeof len);
        return b;
    };
    auto patched = [](LinkBytes b, size_t at, uint16_t v) {
        std::memcpy(b.bytes().data() + at, &v, sizeof v);
        return b;
    };
    rtnl_link_stats64 s{};
    const LinkBytes whole = ethernet(5, "eth4").stats64(s);
    const size_t firstAttr = NLMSG_SPACE(sizeof(ifinfomsg));
    LinkBytes noName(5);
    noName.u32(IFLA_MTU, 1500);
    LinkBytes badKind = ethernet(5, "eth4");
    {  // the nested kind attribute claims more than its container holds
        uint8_t nested[8] = {};
        const uint16_t len = 40, type = IFLA_INFO_KIND;
        std::memcpy(nested, &len, 2);
        std::memcpy(nested + 2, &type, 2);
        badKind.attr(IFLA_LINKINFO, nested, sizeof nested);
    }
    struct Case {
        const char* what;
        LinkBytes bytes;
    };
    const Case cases[] = {
        {"header only", cut(whole, whole.size() - NLMSG_HDRLEN)},
        {"last attribute cut short", cut(whole, 10)},
        {"bytes end before the header's length", cut(whole, 10, false)},
        {"attribute longer than the message", patched(whole, firstAttr, 0x4000)},
        {"attribute length below its own header", patched(whole, firstAttr, 2)},
        {"message length beyond the bytes", patched(whole, 0, 0x7FFF)},
        {"no name", noName},
        {"index 0", LinkBytes(0).str(IFLA_IFNAME, "x")},
        {"not a link message", LinkBytes(5, ARPHRD_ETHER, 0, RTM_NEWADDR).str(IFLA_IFNAME, "x")},
        {"nested attribute overruns", badKind},
    };
    for (const Case& c : cases) {
        hostd::LinkInfo link;
        std::string why;
        EXPECT_FALSE(c.bytes.parse(link, why)) << c.what;
        EXPECT_FALSE(why.empty()) << c.what;
        EXPECT_EQ(why.find('\n'), std::string::npos) << c.what;
    }
}

TEST(LinkMessage, WalkingADatagram) {
    std::vector<uint8_t> datagram;
    for (uint32_t index : {1u, 2u, 3u}) {
        auto b = ethernet(index, "e" + std::to_string(index)).bytes();
        datagram.insert(datagram.end(), b.begin(), b.end());
    }
    std::vector<uint32_t> seen;
    auto visit = [&](uint16_t, const uint8_t* data, size_t len) {
        hostd::LinkInfo link;
        std::string why;
        if (hostd::parseLink(data, len, link, why)) seen.push_back(link.index);
        return true;
    };
    std::string why;
    ASSERT_TRUE(hostd::forEachMessage(datagram.data(), datagram.size(), visit, why)) << why;
    EXPECT_EQ(seen, (std::vector<uint32_t>{1, 2, 3}));

    // The third message cut: the first two are read, then the walk reports the rest.
    seen.clear();
    datagram.resize(datagram.size() - 20);
    EXPECT_FALSE(hostd::forEachMessage(datagram.data(), datagram.size(), visit, why));
    EXPECT_EQ(seen, (std::vector<uint32_t>{1, 2}));

    // A few stray octets after the last message.
    seen.clear();
    const std::vector<uint8_t> stray(7, 0);
    EXPECT_FALSE(hostd::forEachMessage(stray.data(), stray.size(), visit, why));
    EXPECT_TRUE(seen.empty());
}

}  // namespace
