// IPAddr6 / IPPrefix6: text forms, socket addresses, masks and prefix matching.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "platform/ipaddr.h"

namespace lm {
namespace {

IPAddr6 addr(const char* text) {
    IPAddr6 a;
    EXPECT_TRUE(IPAddr6::parse(text, a)) << text;
    return a;
}

IPPrefix6 prefix(const char* text) {
    IPPrefix6 p;
    EXPECT_TRUE(IPPrefix6::parse(text, p)) << text;
    return p;
}

TEST(IPAddr6, ParseTextAndSocketAddresses) {
    const struct { const char* in; const char* out; bool v4; } cases[] = {
        {"192.0.2.1", "192.0.2.1", true},
        {"::ffff:10.1.2.3", "10.1.2.3", true},
        {"::1", "::1", false},
        {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1", false},  // first longest run
        {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1", false},  // one zero group stays
        {"::102:304", "::102:304", false},                       // no deprecated v4 form
    };
    for (const auto& c : cases) {
        IPAddr6 a = addr(c.in);
        EXPECT_EQ(a.str(), c.out) << c.in;
        EXPECT_EQ(a.isIPv4(), c.v4) << c.in;
    }
    IPAddr6 a;
    for (const char* bad : {"", "1.2.3", "1.2.3.256", "01.2.3.4x", "::g", "1.2.3.4 ", "1:2:3:4:5:6:7:8:9"})
        EXPECT_FALSE(IPAddr6::parse(bad, a)) << bad;
    EXPECT_TRUE(IPAddr6().empty());
    EXPECT_FALSE(addr("0.0.0.0").empty());  // mapped, so not all zero

    const uint32_t net = inet_addr("10.0.0.1");
    EXPECT_EQ(IPAddr6::fromIPv4(net), addr("10.0.0.1"));
    EXPECT_EQ(addr("10.0.0.1").getIPv4(), net);
    sockaddr_in sa4{};
    sa4.sin_family = AF_INET;
    sa4.sin_addr.s_addr = net;
    IPAddr6 b = addr("::1");
    EXPECT_FALSE(b.assign(reinterpret_cast<sockaddr*>(&sa4), sizeof sa4 - 1));  // short: refused
    EXPECT_TRUE(b.empty());
}

TEST(IPPrefix6, ParseTextAndMasks) {
    const struct { const char* in; uint32_t len; const char* out; } cases[] = {
        {"10.0.0.0/8", 104, "10.0.0.0/8"},
        {"10.0.0.0/255.255.0.0", 112, "10.0.0.0/16"},
        {"10.0.0.1", 128, "10.0.0.1/32"},
        {"0.0.0.0/0", 96, "0.0.0.0/0"},
        {"2001:db8::/32", 32, "2001:db8::/32"},
        {"::ffff:10.0.0.0/64", 64, "::ffff:10.0.0.0/64"},  // mapped address, v6-sized prefix
    };
    for (const auto& c : cases) {
        IPPrefix6 p = prefix(c.in);
        EXPECT_EQ(p.len, c.len) << c.in;
        EXPECT_EQ(p.str(), c.out) << c.in;
        IPPrefix6 again = prefix(p.str().c_str());
        EXPECT_EQ(again, p) << c.in;
    }
    IPPrefix6 p;
    for (const char* bad : {"10.0.0.0/33", "::/129", "10.0.0.0/", "10.0.0.0/-1", "10.0.0.0/8x",
                            "::/255.0.0.0", "10.0.0.0/255.0.0", "/8", "10.0.0.0/0008"})
        EXPECT_FALSE(IPPrefix6::parse(bad, p)) << bad;

    EXPECT_EQ(prefix("10.0.0.0/8").getIPv4Mask(), inet_addr("255.0.0.0"));
    EXPECT_EQ(prefix("1.2.3.4").getIPv4Mask(), 0xFFFFFFFFu);
    EXPECT_EQ(prefix("2001:db8::/32").getIPv4Mask(), 0u);
    p = prefix("10.0.0.0/8");
    p.setIPv4Mask(inet_addr("255.255.255.0"));
    EXPECT_EQ(p.str(), "10.0.0.0/24");
    p.setIPv4Mask(inet_addr("255.0.255.0"));  // non-contiguous: leading ones only
    EXPECT_EQ(p.len, 104u);
}

TEST(IPPrefix6, Has) {
    const struct { const char* prefix; const char* addr; bool in; } cases[] = {
        {"10.0.0.0/8", "10.255.0.1", true},           {"10.0.0.0/8", "11.0.0.1", false},
        {"192.168.1.128/25", "192.168.1.200", true},  {"192.168.1.128/25", "192.168.1.127", false},
        {"10.1.2.3/8", "10.9.9.9", true},  // host bits of the prefix are ignored
        {"0.0.0.0/0", "203.0.113.9", true},
        {"0.0.0.0/0", "::1", false},  // an IPv4 prefix never holds a native IPv6 address
        {"1.2.3.4", "1.2.3.5", false},                {"::/0", "10.0.0.1", true},
        {"2001:db8::/33", "2001:db8:7fff::1", true},  {"2001:db8::/33", "2001:db8:8000::1", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(prefix(c.prefix).has(addr(c.addr)), c.in) << c.prefix << " has " << c.addr;
}

}  // namespace
}  // namespace lm
