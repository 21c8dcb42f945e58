#include "tools/lumoctl/snmp_values.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "platform/message_json.h"

namespace {

using namespace lumoctl::snmpval;

TEST(SnmpValues, WordsAndTheirStoredNumbers) {
    struct Case {
        bool (*parse)(const std::string&, uint32_t&);
        const char* text;
        bool ok;
        uint32_t stored;
    };
    const Case cases[] = {
        {parseTrapVersion, "1", true, 0},
        {parseTrapVersion, "2c", true, 1},
        {parseTrapVersion, "2C", true, 1},
        {parseTrapVersion, "3", true, 3},
        {parseTrapVersion, "2", false, 0},
        {parseTrapVersion, "", false, 0},
        {parseSecurityLevel, "noauth", true, 0},
        {parseSecurityLevel, "authPriv", true, 2},
        {parseSecurityLevel, "1", true, 1},
        {parseSecurityLevel, "3", false, 0},
        {parseAuthProtocol, "MD5", true, 0},
        {parseAuthProtocol, "sha", true, 1},
        {parseAuthProtocol, "sha256", false, 0},
        {parsePrivProtocol, "aes", true, 1},
        {parsePrivProtocol, "des", true, 0},
        {parsePrivProtocol, "3des", false, 0},
    };
    for (const Case& c : cases) {
        uint32_t v = 77;
        EXPECT_EQ(c.parse(c.text, v), c.ok) << c.text;
        EXPECT_EQ(v, c.ok ? c.stored : 77u) << c.text << ": a refusal leaves the value alone";
    }
    // Stored values read back as the words an operator types; the agent sends v2c-style
    // traps for every version number but 0 and 3.
    EXPECT_EQ(trapVersionText(1), "2c");
    EXPECT_EQ(trapVersionText(2), "2c");
    EXPECT_EQ(trapVersionText(3), "3");
    EXPECT_EQ(privProtocolText(7), "aes");
    EXPECT_EQ(securityLevelText(2), "priv");
    EXPECT_EQ(securityLevelText(9), "9");
}

TEST(SnmpValues, Switches) {
    for (const char* yes : {"yes", "ON", "True"}) {
        bool v = false;
        EXPECT_TRUE(parseSwitch(yes, v) && v) << yes;
    }
    for (const char* no : {"no", "off", "FALSE"}) {
        bool v = true;
        EXPECT_TRUE(parseSwitch(no, v) && !v) << no;
    }
    bool v;
    for (const char* bad : {"", "y", "maybe", "yes "}) EXPECT_FALSE(parseSwitch(bad, v)) << bad;
}

TEST(SnmpValues, Lists) {
    std::vector<uint32_t> ids{9};
    EXPECT_TRUE(parseGenerators("start, interfaces,7", ids));
    EXPECT_EQ(ids, (std::vector<uint32_t>{START_TRAP, 0, 7}));
    EXPECT_TRUE(parseGenerators("", ids));
    EXPECT_TRUE(ids.empty());
    EXPECT_FALSE(parseGenerators("start,,7", ids));
    EXPECT_FALSE(parseGenerators("stop", ids));
    EXPECT_EQ(generatorText(START_TRAP) + generatorText(0) + generatorText(7), "startinterfaces7");

    EXPECT_TRUE(parseInterfaceFilter("3,1", ids));
    EXPECT_EQ(ids, (std::vector<uint32_t>{3, 1}));
    EXPECT_TRUE(parseInterfaceFilter("ALL", ids));
    EXPECT_TRUE(ids.empty());
    EXPECT_FALSE(parseInterfaceFilter("", ids)) << "no filter is said with \"all\"";
    EXPECT_FALSE(parseInterfaceFilter("eth0", ids));
    EXPECT_FALSE(parseInterfaceFilter("4294967296", ids));

    std::vector<lm::IPAddr6> targets;
    ASSERT_TRUE(parseAddresses("192.0.2.1,2001:db8::1", targets));
    ASSERT_EQ(targets.size(), 2u);
    lm::IPAddr6 back;
    ASSERT_TRUE(targetOf(targetElement(targets[0]), back));
    EXPECT_EQ(back.str(), "192.0.2.1");
    EXPECT_TRUE(targetElement(targets[0]).hasU32(setting::TARGET_IPV4)) << "IPv4 targets travel as u32";
    ASSERT_TRUE(targetOf(targetElement(targets[1]), back));
    EXPECT_EQ(back.str(), "2001:db8::1");
    EXPECT_EQ(targetElement(targets[0]).getU32(setting::TARGET_IPV4), inet_addr("192.0.2.1"));
    EXPECT_FALSE(targetOf(lm::message(), back));
    EXPECT_FALSE(parseAddresses("192.0.2.300", targets));
    EXPECT_FALSE(parseAddresses("192.0.2.1/24", targets));
    EXPECT_TRUE(parseAddresses("", targets));
    EXPECT_TRUE(targets.empty());
}

TEST(SnmpValues, PrefixesTravelInTheRecordForms) {
    // IPv4 address and mask travel as u32 in network order (in_addr.s_addr).
    auto v4 = [](const char* addr, const char* mask) {
        return nlohmann::json{{"0x08000008", inet_addr(addr)}, {"0x08000009", inet_addr(mask)}};
    };
    struct Case {
        const char* text;
        nlohmann::json element;  // on the bus
        const char* shown;       // by print
    };
    const Case cases[] = {
        {"10.1.0.0/255.255.0.0", v4("10.1.0.0", "255.255.0.0"), "10.1.0.0/16"},
        {"192.0.2.0/24", v4("192.0.2.0", "255.255.255.0"), "192.0.2.0/24"},
        {"192.0.2.7", v4("192.0.2.7", "255.255.255.255"), "192.0.2.7/32"},
        {"0.0.0.0/0.0.0.0", v4("0.0.0.0", "0.0.0.0"), "0.0.0.0/0"},
        {"2001:db8::/32", {{"0x18000016", "2001:db8::"}, {"0x08000017", 32}}, "2001:db8::/32"},
        {"::1", {{"0x18000016", "::1"}, {"0x08000017", 128}}, "::1/128"},
    };
    for (const Case& c : cases) {
        std::vector<lm::message> elements;
        ASSERT_TRUE(parsePrefixes(c.text, elements)) << c.text;
        ASSERT_EQ(elements.size(), 1u);
        EXPECT_EQ(lm::toJson(elements[0]), c.element) << c.text;
        EXPECT_EQ(prefixText(elements[0]), c.shown) << c.text;
    }
    std::vector<lm::message> elements;
    EXPECT_TRUE(parsePrefixes("10.0.0.0/8, ::1", elements));
    EXPECT_EQ(elements.size(), 2u);
    for (const char* bad : {"10.0.0.0/255.0.255.0", "10.0.0.0/33", "10.0.0.0/", "2001:db8::/129",
                            "10.0.0.0/8,,::1", "host.example", "10.0.0.0/255.255.0.0.0"})
        EXPECT_FALSE(parsePrefixes(bad, elements)) << bad;

    // A record written by another tool with a broken mask still shows what it holds.
    lm::message odd;
    odd.setU32(0x08000008, inet_addr("10.0.0.0"));
    odd.setU32(0x08000009, inet_addr("255.0.255.0"));
    EXPECT_EQ(prefixText(odd), "10.0.0.0/255.0.255.0");
    EXPECT_EQ(prefixText(lm::message()), "");
}

}  // namespace
