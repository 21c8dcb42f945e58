// Item: bus form in both directions, address rules, source checks and key derivation.
#include <gtest/gtest.h>

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

lm::IPPrefix6 prefix(const std::string& text) {
    lm::IPPrefix6 p;
    EXPECT_TRUE(lm::IPPrefix6::parse(text, p)) << text;
    return p;
}

lm::message ipv4Element(const std::string& a, const std::string& mask) {
    lm::message m;
    m.setU32(IPV4_ADDR, addr(a).getIPv4());
    m.setU32(IPV4_MASK, addr(mask).getIPv4());
    return m;
}

lm::message ipv6Element(const std::string& a, uint32_t len) {
    lm::message m;
    m.setIP6(IPV6_ADDR, addr(a));
    m.setU32(IPV6_PREFIX, len);
    return m;
}

TEST(ItemConfig, FieldsRoundTripAndAbsentKeysKeepValues) {
    Item item;
    lm::message in;
    in.setString(NAME, "ops");
    in.setBool(READ_ACCESS, false);
    in.setBool(WRITE_ACCESS, true);
    in.setString(AUTH_PASSWORD, "authpass1");
    in.setString(PRIV_PASSWORD, "privpass1");
    in.setU32(AUTH_PROTOCOL, 1);
    in.setU32(PRIV_PROTOCOL, 1);
    in.setU32(SECURITY_LEVEL, 2);
    item.setConfig(in, 0);

    Item copy;
    lm::message out;
    item.getConfig(out, 5);
    copy.setConfig(out, 0);
    EXPECT_EQ(copy.name, "ops");
    EXPECT_FALSE(copy.readAccess);
    EXPECT_TRUE(copy.writeAccess);
    EXPECT_EQ(copy.authPassword, "authpass1");
    EXPECT_EQ(copy.privPassword, "privpass1");
    EXPECT_EQ(copy.authProtocol, 1u);
    EXPECT_EQ(copy.privProtocol, 1u);
    EXPECT_EQ(copy.securityLevel, 2u);
    EXPECT_EQ(copy.addresses, item.addresses);
    EXPECT_FALSE(out.getBool(IS_DEFAULT, true)) << "id is not 0";

    // A change naming one field leaves the others alone.
    lm::message rename;
    rename.setString(NAME, "ops2");
    copy.setConfig(rename, 0);
    EXPECT_EQ(copy.name, "ops2");
    EXPECT_TRUE(copy.writeAccess);
    EXPECT_EQ(copy.securityLevel, 2u);
    EXPECT_EQ(copy.addresses, item.addresses);
}

TEST(ItemConfig, AddressForms) {
    struct Case {
        const char* what;
        lm::message in;
        std::vector<std::string> expected;
    };
    lm::message mixed;
    mixed.setMsgArray(ADDRESSES, {ipv4Element("10.1.0.0", "255.255.0.0"), lm::message(),
                                  ipv6Element("2001:db8::", 32), ipv6Element("2001:db8::", 129),
                                  ipv4Element("192.0.2.7", "255.255.255.255")});
    lm::message unusable;
    unusable.setMsgArray(ADDRESSES, {lm::message().setU32(IPV4_ADDR, 1)});
    lm::message single6 = ipv6Element("fe80::", 10);
    lm::message single4 = ipv4Element("172.16.0.0", "255.240.0.0");
    lm::message both = ipv4Element("172.16.0.0", "255.240.0.0");
    both.setIP6(IPV6_ADDR, addr("2001:db8::"));
    both.setU32(IPV6_PREFIX, 48);

    Case cases[] = {
        {"nothing", lm::message(), {"0.0.0.0/0"}},
        {"array with bad elements skipped", mixed,
         {"10.1.0.0/16", "2001:db8::/32", "192.0.2.7/32"}},
        {"array without a usable element", unusable, {"0.0.0.0/0"}},
        {"single IPv6 at top level", single6, {"fe80::/10"}},
        {"single IPv4 at top level", single4, {"172.16.0.0/12"}},
        {"IPv6 pair wins over IPv4 pair", both, {"2001:db8::/48"}},
    };
    for (Case& c : cases) {
        Item item;
        item.setConfig(c.in, 0);
        std::vector<std::string> got;
        for (const lm::IPPrefix6& p : item.addresses) got.push_back(p.str());
        EXPECT_EQ(got, c.expected) << c.what;
    }

    // Neither the array nor a top-level pair: the list stays as it was.
    Item item;
    item.setConfig(single6, 0);
    item.setConfig(lm::message().setString(NAME, "x"), 0);
    ASSERT_EQ(item.addresses.size(), 1u);
    EXPECT_EQ(item.addresses[0].str(), "fe80::/10");
}

TEST(ItemConfig, GetConfigWritesEachPrefixInItsOwnForm) {
    Item item;
    item.addresses = {prefix("10.0.0.0/8"), prefix("2001:db8::/32"), prefix("::/0")};
    lm::message out;
    item.getConfig(out, 0);
    const std::vector<lm::message>* list = out.findMsgArray(ADDRESSES);
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->size(), 3u);
    EXPECT_EQ((*list)[0].getU32(IPV4_ADDR), addr("10.0.0.0").getIPv4());
    EXPECT_EQ((*list)[0].getU32(IPV4_MASK), addr("255.0.0.0").getIPv4());
    EXPECT_FALSE((*list)[0].hasIP6(IPV6_ADDR));
    EXPECT_EQ((*list)[1].getIP6(IPV6_ADDR), addr("2001:db8::"));
    EXPECT_EQ((*list)[1].getU32(IPV6_PREFIX), 32u);
    EXPECT_TRUE((*list)[2].hasIP6(IPV6_ADDR)) << "the all-zero prefix is IPv6 in the array";
    EXPECT_FALSE(out.hasU32(IPV4_ADDR)) << "no top-level form without bit 31";
}

TEST(ItemConfig, TopLevelSingleAddressWithFlag31) {
    struct Case {
        const char* first;
        bool ipv4Form;
    } cases[] = {{"192.0.2.0/24", true}, {"2001:db8::/64", false}, {"::/0", true}};
    for (const Case& c : cases) {
        Item item;
        item.addresses = {prefix(c.first), prefix("10.0.0.0/8")};
        lm::message out;
        item.getConfig(out, ITEM_FLAG_SINGLE_ADDRESS);
        EXPECT_EQ(out.hasU32(IPV4_ADDR), c.ipv4Form) << c.first;
        EXPECT_EQ(out.hasIP6(IPV6_ADDR), !c.ipv4Form) << c.first;
    }
    lm::message out;
    Item().getConfig(out, ITEM_FLAG_SINGLE_ADDRESS);
    EXPECT_FALSE(out.hasU32(IPV4_ADDR) || out.hasIP6(IPV6_ADDR)) << "empty list";
}

TEST(ItemConfig, DefaultMarkerAndDefaultsMessage) {
    Item item;
    item.id = 0;
    item.setConfig(lm::message().setString(NAME, "renamed"), 0);
    lm::message out;
    item.getConfig(out, ITEM_FLAG_DEFAULTS | 5);
    EXPECT_TRUE(out.getBool(IS_DEFAULT));
    const lm::message* defaults = out.findMsg(DEFAULTS);
    ASSERT_NE(defaults, nullptr);
    EXPECT_EQ(defaults->getString(NAME), "public");
    const std::vector<lm::message>* list = defaults->findMsgArray(ADDRESSES);
    ASSERT_TRUE(list && list->size() == 1);
    EXPECT_EQ((*list)[0].getU32(IPV4_ADDR, 1), 0u);
    EXPECT_EQ((*list)[0].getU32(IPV4_MASK, 1), 0u);

    item.id = 3;
    lm::message other;
    item.getConfig(other, ITEM_FLAG_DEFAULTS);
    EXPECT_FALSE(other.getBool(IS_DEFAULT, true));
    EXPECT_FALSE(other.hasMsg(DEFAULTS));
}

TEST(ItemCheck, PrefixesInListOrderAndTheIPv4PrefixIPv6SourceRule) {
    Item item;
    item.addresses = {prefix("10.0.0.0/8"), prefix("2001:db8::/32"), prefix("192.0.2.1/32")};
    struct Case {
        const char* source;
        bool allowed;
    } cases[] = {
        {"10.200.3.4", true},   {"11.0.0.1", false},      {"2001:db8:1::5", true},
        {"2001:db9::1", false}, {"192.0.2.1", true},      {"192.0.2.2", false},
        {"::ffff:10.0.0.1", true},
    };
    for (const Case& c : cases) EXPECT_EQ(item.check(addr(c.source)), c.allowed) << c.source;

    Item any;
    any.setConfig(lm::message(), 0);  // 0.0.0.0/0
    EXPECT_TRUE(any.check(addr("203.0.113.9")));
    EXPECT_FALSE(any.check(addr("::1"))) << "an IPv4 prefix never matches a native IPv6 source";
    EXPECT_FALSE(any.check(addr("2001:db8::1")));

    EXPECT_FALSE(Item().check(addr("10.0.0.1"))) << "empty list";
}

TEST(ItemKeys, DerivedForTheEngineIdWithTheAuthDigest) {
    const Octets engine = test::hex("000000000000000000000002");
    Item item;
    item.authPassword = "maplesyrup";
    item.privPassword = "maplesyrup";
    for (uint32_t protocol : {0u, 1u}) {
        item.authProtocol = protocol;
        item.regenerateKeys(engine);
        Octets localised = aKeyToBKey(passwordToAKey("maplesyrup", protocol), engine, protocol);
        EXPECT_EQ(item.authKey, bKeyToDKey(localised));
        EXPECT_EQ(item.privKey, localised) << "privacy key uses the auth digest, no pads";
        EXPECT_EQ(item.privKey.size(), protocol == 0 ? 16u : 20u);
    }

    Item empty;
    empty.regenerateKeys(engine);
    EXPECT_EQ(empty.authKey.size(), PAD_BLOCK_SIZE) << "empty password still gets pads";
    EXPECT_EQ(empty.authKey, bKeyToDKey(aKeyToBKey(Octets(), engine, 0u)));

    Item unknown;
    unknown.authProtocol = 9;
    unknown.authKey = Octets(128, 1);
    unknown.regenerateKeys(engine);
    EXPECT_TRUE(unknown.authKey.empty());
    EXPECT_TRUE(unknown.privKey.empty());
}

TEST(ItemKeys, OldEngineSignaturesStopVerifying) {
    Item item;
    item.authPassword = "maplesyrup";
    item.regenerateKeys(test::hex("000000000000000000000002"));
    Octets msg(64, 0x30), before, after;
    ASSERT_TRUE(digestMessage(before, msg, item.authKey, 10, 12, item.authProtocol));
    item.regenerateKeys(test::hex("000000000000000000000003"));
    ASSERT_TRUE(digestMessage(after, msg, item.authKey, 10, 12, item.authProtocol));
    EXPECT_NE(before, after);
}

TEST(ItemKeys, SetConfigDerivesOnlyOnceTheEngineIsReady) {
    ASSERT_EQ(communityKeep, nullptr);
    Item item;
    item.setConfig(lm::message().setString(AUTH_PASSWORD, "maplesyrup"), 0);
    EXPECT_TRUE(item.authKey.empty()) << "no agent yet: nothing derived";
}

}  // namespace
}  // namespace snmp
