// lumoctl snmp's value words. The common forms (2c, start,interfaces, both prefix forms,
// IPv4 and IPv6 targets) are driven against a real agent in tests/integration; these are the
// edges and the refusals.
#include "tools/lumoctl/snmp_values.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace {

using namespace lumoctl::snmpval;

TEST(SnmpValues, WordsAndTheirStoredNumbers) {
    using Parser = bool (*)(const std::string&, uint32_t&);
    const struct { Parser parse; const char* text; bool ok; uint32_t stored; } cases[] = {
        {parseTrapVersion, "1", true, 0},        {parseTrapVersion, "2C", true, 1},
        {parseTrapVersion, "2", false, 0},       {parseTrapVersion, "", false, 0},
        {parseSecurityLevel, "authPriv", true, 2}, {parseSecurityLevel, "3", false, 0},
        {parseAuthProtocol, "sha", true, 1},     {parseAuthProtocol, "sha256", true, 3},
        {parseAuthProtocol, "sha512", true, 5},  {parseAuthProtocol, "sha3", false, 0},
        {parsePrivProtocol, "des", true, 0},     {parsePrivProtocol, "3des", false, 0},
    };
    for (const auto& c : cases) {
        uint32_t v = 77;
        EXPECT_EQ(c.parse(c.text, v), c.ok) << c.text;
        EXPECT_EQ(v, c.ok ? c.stored : 77u) << c.text << ": a refusal leaves the value alone";
    }
    // The agent sends v2c-style traps for every version number but 0 and 3, and AES for any
    // privacy number but 0: stored values read back as what the agent does with them.
    EXPECT_EQ(trapVersionText(2), "2c");
    EXPECT_EQ(privProtocolText(7), "aes");
    EXPECT_EQ(securityLevelText(9), "9");
    bool on = false;
    for (const char* bad : {"", "y", "yes "}) EXPECT_FALSE(parseSwitch(bad, on)) << bad;
}

TEST(SnmpValues, ListRefusals) {
    std::vector<uint32_t> ids;
    std::vector<lm::IPAddr6> targets;
    std::vector<lm::message> prefixes;
    EXPECT_FALSE(parseGenerators("start,,7", ids));
    EXPECT_FALSE(parseGenerators("stop", ids));
    EXPECT_FALSE(parseInterfaceFilter("", ids)) << "no filter is said with \"all\"";
    EXPECT_FALSE(parseInterfaceFilter("4294967296", ids));
    EXPECT_FALSE(parseAddresses("192.0.2.1/24", targets));
    lm::IPAddr6 none;
    EXPECT_FALSE(targetOf(lm::message(), none));
    for (const char* bad : {"10.0.0.0/255.0.255.0", "10.0.0.0/33", "10.0.0.0/", "2001:db8::/129",
                            "10.0.0.0/8,,::1", "host.example", "10.0.0.0/255.255.0.0.0"})
        EXPECT_FALSE(parsePrefixes(bad, prefixes)) << bad;
}

TEST(SnmpValues, PrefixesWithoutALengthAreHosts) {
    const std::pair<const char*, const char*> hosts[] = {{"192.0.2.7", "192.0.2.7/32"},
                                                         {"::1", "::1/128"}};
    for (const auto& [text, shown] : hosts) {
        std::vector<lm::message> elements;
        ASSERT_TRUE(parsePrefixes(text, elements)) << text;
        ASSERT_EQ(elements.size(), 1u);
        EXPECT_EQ(prefixText(elements[0]), shown);
    }
    // A record written by another tool with a broken mask still shows what it holds.
    lm::message odd;
    odd.setU32(0x08000008, inet_addr("10.0.0.0"));
    odd.setU32(0x08000009, inet_addr("255.0.255.0"));
    EXPECT_EQ(prefixText(odd), "10.0.0.0/255.0.255.0");
}

}  // namespace
