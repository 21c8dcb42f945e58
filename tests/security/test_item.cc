// Item: the bus form in both directions, address rules, source checks and key derivation.
#include <gtest/gtest.h>

#include <tuple>

#include "security/community_keep.h"
#include "security/item.h"
#include "security/usm_crypto.h"
#include "tests/security/test_util.h"

namespace snmp {
namespace {

using namespace itemkey;

lm::IPAddr6 addr(const std::string& text) {
    lm::IPAddr6 a;
    EXPECT_TRUE(lm::IPAddr6::parse(text, a)) << text;
    return a;
}

lm::message v4(const std::string& a, const std::string& mask) {
    lm::message m;
    return m.setU32(IPV4_ADDR, addr(a).getIPv4()).setU32(IPV4_MASK, addr(mask).getIPv4());
}
lm::message v6(const std::string& a, uint32_t len) {
    return lm::message().setIP6(IPV6_ADDR, addr(a)).setU32(IPV6_PREFIX, len);
}

// An address element or the top-level pair as text: "4 <addr> <mask>", "6 <addr>/<len>", "".
std::string form(const lm::message& m) {
    const std::string len = std::to_string(m.getU32(IPV6_PREFIX));
    if (m.hasIP6(IPV6_ADDR)) return "6 " + m.getIP6(IPV6_ADDR).str() + "/" + len;
    if (!m.hasU32(IPV4_ADDR)) return "";
    return "4 " + lm::IPAddr6::fromIPv4(m.getU32(IPV4_ADDR)).str() + " " +
           lm::IPAddr6::fromIPv4(m.getU32(IPV4_MASK)).str();
}

TEST(ItemConfig, FieldsRoundTripAndAbsentFieldsKeepTheirValues) {
    lm::message in;
    in.setString(NAME, "ops").setBool(READ_ACCESS, false).setBool(WRITE_ACCESS, true);
    in.setString(AUTH_PASSWORD, "authpass1").setString(PRIV_PASSWORD, "privpass1");
    in.setU32(AUTH_PROTOCOL, 1).setU32(PRIV_PROTOCOL, 1).setU32(SECURITY_LEVEL, 2);
    Item item, copy;
    item.setConfig(in, 0);
    lm::message out;
    item.getConfig(out, 0);
    copy.setConfig(out, 0);
    copy.setConfig(lm::message().setString(NAME, "ops2"), 0);  // names one field only
    EXPECT_EQ(copy.name, "ops2");
    EXPECT_EQ(std::tie(copy.readAccess, copy.writeAccess, copy.authPassword, copy.privPassword),
              std::make_tuple(false, true, std::string("authpass1"), std::string("privpass1")));
    EXPECT_EQ(std::tie(copy.authProtocol, copy.privProtocol, copy.securityLevel),
              std::make_tuple(1u, 1u, 2u));
    EXPECT_EQ(copy.addresses, item.addresses);
}

TEST(ItemConfig, AddressFormsIn) {
    lm::message both = v4("172.16.0.0", "255.240.0.0");
    both.setIP6(IPV6_ADDR, addr("2001:db8::")).setU32(IPV6_PREFIX, 48);
    const struct { lm::message in; const char* prefixes; } cases[] = {
        {lm::message(), "0.0.0.0/0 "},
        {lm::message().setMsgArray(ADDRESSES, {v4("10.1.0.0", "255.255.0.0"), lm::message(),
                                               v6("2001:db8::", 32), v6("2001:db8::", 129),
                                               v4("192.0.2.7", "255.255.255.255")}),
         "10.1.0.0/16 2001:db8::/32 192.0.2.7/32 "},  // unusable elements skipped
        {lm::message().setMsgArray(ADDRESSES, {lm::message().setU32(IPV4_ADDR, 1)}), "0.0.0.0/0 "},
        {v6("fe80::", 10), "fe80::/10 "},  // a single pair at top level
        {v4("172.16.0.0", "255.240.0.0"), "172.16.0.0/12 "},
        {both, "2001:db8::/48 "},  // the IPv6 pair wins
    };
    for (const auto& c : cases) {
        Item item;
        item.setConfig(c.in, 0);
        item.setConfig(lm::message().setString(NAME, "x"), 0);  // no addresses: list kept
        std::string got;
        for (const lm::IPPrefix6& p : item.addresses) got += p.str() + " ";
        EXPECT_EQ(got, c.prefixes) << c.in;
    }
}

TEST(ItemConfig, AddressFormsOutAndTheDefaultRecord) {
    Item item;
    item.setConfig(lm::message().setMsgArray(ADDRESSES, {v4("10.0.0.0", "255.0.0.0"), v6("::", 0),
                                                         v6("2001:db8::", 32)}), 0);
    item.id = 3;
    lm::message out;
    item.getConfig(out, ITEM_FLAG_DEFAULTS);
    std::string elements;
    for (const lm::message& e : *out.findMsgArray(ADDRESSES)) elements += form(e) + "; ";
    EXPECT_EQ(elements, "4 10.0.0.0 255.0.0.0; 6 ::/0; 6 2001:db8::/32; ");
    EXPECT_EQ(form(out), "") << "no top-level pair without bit 31";
    EXPECT_FALSE(out.getBool(IS_DEFAULT, true) || out.hasMsg(DEFAULTS)) << "not id 0";

    // Bit 31 adds the first prefix at top level, the all-zero one in IPv4 form.
    auto top = [&item] {
        lm::message m;
        item.getConfig(m, ITEM_FLAG_SINGLE_ADDRESS);
        return form(m);
    };
    EXPECT_EQ(top(), "4 10.0.0.0 255.0.0.0");
    item.addresses.erase(item.addresses.begin());
    EXPECT_EQ(top(), "4 0.0.0.0 0.0.0.0");
    item.addresses.erase(item.addresses.begin());
    EXPECT_EQ(top(), "6 2001:db8::/32");
    item.addresses.clear();
    EXPECT_EQ(top(), "");

    item.id = 0;  // the default record carries its factory values too
    lm::message def;
    item.getConfig(def, ITEM_FLAG_DEFAULTS);
    EXPECT_TRUE(def.getBool(IS_DEFAULT));
    ASSERT_TRUE(def.hasMsg(DEFAULTS));
    EXPECT_EQ(def.findMsg(DEFAULTS)->getString(NAME), "public");
    EXPECT_EQ(form(def.findMsg(DEFAULTS)->findMsgArray(ADDRESSES)->at(0)), "4 0.0.0.0 0.0.0.0");
}

TEST(ItemCheck, PrefixesInListOrderAndNoIPv6SourceInAnIPv4Prefix) {
    Item item;
    item.setConfig(lm::message().setMsgArray(ADDRESSES, {v4("10.0.0.0", "255.0.0.0"),
                                                         v6("2001:db8::", 32),
                                                         v4("192.0.2.1", "255.255.255.255")}), 0);
    Item any, none;
    any.setConfig(lm::message(), 0);  // 0.0.0.0/0
    const struct { const Item& item; const char* source; bool allowed; } cases[] = {
        {item, "10.200.3.4", true},    {item, "11.0.0.1", false},  {item, "2001:db8:1::5", true},
        {item, "2001:db9::1", false},  {item, "192.0.2.1", true},  {item, "192.0.2.2", false},
        {item, "::ffff:10.0.0.1", true}, {any, "203.0.113.9", true}, {any, "::1", false},
        {any, "2001:db8::1", false},   {none, "10.0.0.1", false},  // an empty list
    };
    for (const auto& c : cases) EXPECT_EQ(c.item.check(addr(c.source)), c.allowed) << c.source;
}

TEST(ItemKeys, DerivedWithTheAuthDigestAndNoneForAnUnknownProtocol) {
    const Octets engine = test::hex("000000000000000000000002");
    Item item;
    item.authPassword = "maplesyrup";
    item.privPassword = "privsyrup";
    for (uint32_t protocol : {0u, 1u, 9u}) {
        item.authProtocol = protocol;
        item.regenerateKeys(engine);
        const Octets privKey = aKeyToBKey(passwordToAKey("privsyrup", protocol), engine, protocol);
        EXPECT_EQ(item.privKey, privKey) << "the privacy key: the auth digest, no pads";
        EXPECT_EQ(item.authKey.size(), protocol == 9 ? 0 : PAD_BLOCK_SIZE);
    }
    ASSERT_EQ(communityKeep, nullptr);
    Item early;
    early.setConfig(lm::message().setString(AUTH_PASSWORD, "maplesyrup"), 0);
    EXPECT_TRUE(early.authKey.empty()) << "no agent yet: nothing derived";
}

}  // namespace
}  // namespace snmp
