// Traps as they go on the wire, byte for byte, against an independent BER builder; v3 traps
// are checked with OpenSSL's own HMAC and cipher and the published "maplesyrup" keys.
#include <openssl/evp.h>

#include <algorithm>
#include <sstream>

#include "trap_fixture.h"

namespace traptest {
namespace {

using namespace bertest;

const std::string SYS_UP_TIME = "1.3.6.1.2.1.1.3.0";
const std::string SNMP_TRAP_OID = "1.3.6.1.6.3.1.1.4.1.0";
const std::string WARM_START = "1.3.6.1.6.3.1.1.5.2";
const std::string ENTERPRISE = "1.3.6.1.4.1.47392.1.1.9";
const std::string SYS_NAME = "1.3.6.1.2.1.1.5.0";
constexpr uint8_t TRAP_V1 = 0xA4, TRAP_V2 = 0xA7, TIMETICKS = 0x43, IP_ADDRESS = 0x40;

Bytes fromHex(const std::string& t) {
    Bytes out;
    for (size_t i = 0; i + 1 < t.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(t.substr(i, 2), nullptr, 16)));
    return out;
}
// Localised SHA-1 key of "maplesyrup" for engine 00..02 (the published example).
const Bytes SHA_KEY = fromHex("6695febc9288e36282235fc7151f128497b38f3f");

Bytes v2Pdu(const std::string& trapOid, const std::vector<Bytes>& extra) {
    std::vector<Bytes> bindings{vb(SYS_UP_TIME, integer(TICKS, TIMETICKS)),
                                vb(SNMP_TRAP_OID, oid(trapOid))};
    bindings.insert(bindings.end(), extra.begin(), extra.end());
    return seq({integer(REQUEST_ID), integer(0), integer(0), seq(bindings)}, TRAP_V2);
}

Bytes v1Pdu(const Bytes& agentAddr, uint32_t generic, uint32_t specific,
            const std::vector<Bytes>& bindings) {
    return seq({oid(ENTERPRISE), tlv(IP_ADDRESS, agentAddr), integer(generic), integer(specific),
                integer(TICKS, TIMETICKS), seq(bindings)},
               TRAP_V1);
}

Bytes community(int version, const Bytes& pdu) {
    return seq({integer(version), octets("public"), pdu});
}

TEST_F(TrapTest, StartTrapInV2cIsSysUpTimeThenWarmStart) {
    snmp::trapMakers = {snmp::startTrapMaker};
    EXPECT_EQ(hex(build(lm::message(), settings(1))), hex(community(1, v2Pdu(WARM_START, {}))));
}

// The enterprise trap of command 1 in v1 and v2c, with the binding rules of its fields.
TEST_F(TrapTest, EnterpriseTrapLayouts) {
    const Bytes loopback{127, 0, 0, 1};
    const std::string ENTERPRISE_V2 = ENTERPRISE + ".0.1";
    struct Case {
        const char* what;
        uint32_t version;
        lm::message m;
        Bytes expected;
    };
    const Case cases[] = {
        {"v1: enterprise, agent-addr, generic 6, specific 1", 0, sendTrap(SYS_NAME, 4, "x"),
         community(0, v1Pdu(loopback, 6, 1, {vb(SYS_NAME, octets("x"))}))},
        {"v2c: snmpTrapOID.0 is enterprise.0.specific", 1, sendTrap(SYS_NAME, 4, "x"),
         community(1, v2Pdu(ENTERPRISE_V2, {vb(SYS_NAME, octets("x"))}))},
        {"a v2c-style version number other than 1 is written as given", 2, sendTrap("", 0, nullptr),
         community(2, v2Pdu(ENTERPRISE_V2, {}))},
        {"NULL type without a value binds NULL", 1, sendTrap(SYS_NAME, 5, nullptr),
         community(1, v2Pdu(ENTERPRISE_V2, {vb(SYS_NAME, null())}))},
        {"a string type without a value sends no binding", 1, sendTrap(SYS_NAME, 4, nullptr),
         community(1, v2Pdu(ENTERPRISE_V2, {}))},
        {"a name without a type sends no binding", 0, sendTrap(SYS_NAME, 0, "x"),
         community(0, v1Pdu(loopback, 6, 1, {}))},
        {"a type that cannot be written from text (Gauge32) sends no binding", 1,
         sendTrap(SYS_NAME, 0x42, "7"), community(1, v2Pdu(ENTERPRISE_V2, {}))},
        {"an INTEGER binding from text", 1, sendTrap("1.3.6.1.4.1.47392.9", 2, "-5"),
         community(1, v2Pdu(ENTERPRISE_V2, {vb("1.3.6.1.4.1.47392.9", integer(-5))}))},
    };
    for (const Case& c : cases) {
        snmp::trapMakers = {snmp::velmarTrapMaker};
        EXPECT_EQ(hex(build(c.m, settings(c.version))), hex(c.expected)) << c.what;
    }
}

// agent-addr: the IPv4 address the datagram leaves from, in network order, whichever
// socket family carries it; none over IPv6.
TEST_F(TrapTest, V1AgentAddrFollowsTheLocalAddress) {
    sockaddr_in6 v6only{};
    v6only.sin6_family = AF_INET6;
    v6only.sin6_addr = in6addr_loopback;
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_addr.s_addr = htonl(0x0A010203);  // 10.1.2.3
    sockaddr_in6 v4socket{};
    std::memcpy(&v4socket, &v4, sizeof v4);
    struct Case {
        const char* what;
        sockaddr_in6 local;
        Bytes addr;
    };
    const Case cases[] = {
        {"IPv4-mapped on an IPv6 socket", mapped("192.0.2.7"), {192, 0, 2, 7}},
        {"an IPv4 socket", v4socket, {10, 1, 2, 3}},
        {"leaving over IPv6", v6only, {0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        snmp::trapMakers = {snmp::velmarTrapMaker};
        EXPECT_EQ(hex(build(sendTrap("", 0, nullptr), settings(0), c.local)),
                  hex(community(0, v1Pdu(c.addr, 6, 1, {}))))
            << c.what;
    }
}

TEST_F(TrapTest, NoTrapWithoutRecordOrMaker) {
    snmp::trapMakers = {snmp::velmarTrapMaker};
    std::ostringstream log;
    std::streambuf* old = std::cerr.rdbuf(log.rdbuf());
    const bool none = build(sendTrap("", 0, nullptr), settings(1, 99)).empty() &&
                      build(sendTrap("", 0, nullptr), settings(1, 99)).empty();
    std::cerr.rdbuf(old);
    EXPECT_TRUE(none) << "no such record";
    EXPECT_EQ(log.str(), "createTrap: bad community\n") << "said once, not once per trap";
    lm::message other;
    other.setCommand(2);
    EXPECT_TRUE(build(other, settings(1)).empty()) << "no maker takes command 2";
}

// authNoPriv: flags 0x01, the scoped PDU in clear, HMAC-SHA-96 over the whole message.
TEST_F(TrapTest, V3AuthNoPrivIsSignedNotEncrypted) {
    snmp::trapMakers = {snmp::startTrapMaker};
    const Bytes got = build(lm::message(), settings(3, SHA_AUTH_ID));
    const Bytes mark(12, 0xA5);
    const Bytes usm = seq({tlv(0x04, ENGINE), integer(BOOTS), integer(ENGINE_TIME), octets("shaauth"),
                           tlv(0x04, mark), tlv(0x04, {})});
    Bytes expected = seq({integer(3), seq({integer(REQUEST_ID), integer(65507), tlv(0x04, {0x01}), integer(3)}),
                          tlv(0x04, usm),
                          seq({tlv(0x04, ENGINE), tlv(0x04, {}), v2Pdu(WARM_START, {})})});
    const size_t at = static_cast<size_t>(
        std::search(expected.begin(), expected.end(), mark.begin(), mark.end()) - expected.begin());
    std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(at), 12, 0);
    unsigned char mac[EVP_MAX_MD_SIZE];
    size_t len = 0;
    ASSERT_NE(EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA1", nullptr, SHA_KEY.data(), SHA_KEY.size(),
                        expected.data(), expected.size(), mac, sizeof mac, &len),
              nullptr);
    std::copy_n(mac, 12, expected.begin() + static_cast<std::ptrdiff_t>(at));
    EXPECT_EQ(hex(got), hex(expected));
}

// authPriv with AES: flags 0x03, and the encrypted scoped PDU decrypts with the salt the
// trap carries to the trap's scoped PDU.
TEST_F(TrapTest, V3AuthPrivDecryptsToTheScopedPdu) {
    snmp::trapMakers = {snmp::startTrapMaker};
    const Bytes got = build(lm::message(), settings(3, SHA_AES_ID));
    ASSERT_FALSE(got.empty());
    // msgFlags sits right after msgID (02 02 12 34) and msgMaxSize (02 03 00 ff e3).
    const Bytes flagsField{0x04, 0x01};
    auto f = std::search(got.begin(), got.end(), flagsField.begin(), flagsField.end());
    ASSERT_NE(f, got.end());
    EXPECT_EQ(f[2], 0x03);
    // The salt: the 8 octets after the 12-octet digest field.
    const Bytes user = octets("shaaes");
    auto u = std::search(got.begin(), got.end(), user.begin(), user.end());
    ASSERT_NE(u, got.end());
    auto digest = u + static_cast<std::ptrdiff_t>(user.size());
    ASSERT_EQ(digest[0], 0x04);
    ASSERT_EQ(digest[1], 12);
    auto salt = digest + 14;
    ASSERT_EQ(salt[0], 0x04);
    ASSERT_EQ(salt[1], 8);
    const Bytes saltBytes(salt + 2, salt + 10);
    auto encrypted = salt + 10;
    ASSERT_EQ(encrypted[0], 0x04);
    const size_t n = encrypted[1];
    ASSERT_LT(n, 128u);
    const Bytes cipherText(encrypted + 2, encrypted + 2 + static_cast<std::ptrdiff_t>(n));
    unsigned char iv[16];
    for (int i = 0; i < 4; ++i) iv[i] = static_cast<uint8_t>(BOOTS >> (24 - 8 * i));
    for (int i = 0; i < 4; ++i) iv[4 + i] = static_cast<uint8_t>(ENGINE_TIME >> (24 - 8 * i));
    std::copy(saltBytes.begin(), saltBytes.end(), iv + 8);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(ctx, EVP_aes_128_cfb128(), nullptr, SHA_KEY.data(), iv, 0);
    Bytes plain(n + 16);
    int len = 0;
    EVP_CipherUpdate(ctx, plain.data(), &len, cipherText.data(), static_cast<int>(n));
    EVP_CIPHER_CTX_free(ctx);
    plain.resize(static_cast<size_t>(len));
    EXPECT_EQ(hex(plain), hex(seq({tlv(0x04, ENGINE), tlv(0x04, {}), v2Pdu(WARM_START, {})})));
}

}  // namespace
}  // namespace traptest
