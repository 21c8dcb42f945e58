// Privacy: fixed ciphertexts from the openssl command line, padded round trips of every
// length, refusals, and the reply's salt.
#include <gtest/gtest.h>

#include <cstdlib>

#include "security/usm_crypto.h"
#include "tests/security/test_util.h"

namespace snmp {
namespace {

using test::hex;
using test::toHex;

V3Info infoWith(const Octets& salt, uint32_t boots = 7, uint32_t time = 1000) {
    V3Info info;
    info.msgAuthoritativeEngineBoots = boots;
    info.msgAuthoritativeEngineTime = time;
    info.msgPrivacyParameters = salt;
    return info;
}

const Octets SALT = hex("a0a1a2a3a4a5a6a7");
const std::string PLAIN = "scoped-pdu-bytes0123456789abcdef";

// `openssl enc -nopad` with the IVs the agent builds: DES key 0102..08, IV = key bytes 8-15
// (1112..18) XOR the salt; AES IV = boots 7, time 1000, salt.
TEST(Crypt, MatchesIndependentCiphertexts) {
    struct Case {
        uint32_t protocol;
        const char* key;
        const char* cipher;
    } cases[] = {
        {0, "01020304050607081112131415161718",
         "43e6cb75cf463121d8c86f4c3c94cd07a1f5eed459b7450e2fd9221d63008673"},
        {1, "000102030405060708090a0b0c0d0e0f",
         "983e70dbe6cf7e55e32013747791de863eee26e94a4d09f119964db3557f7791"},
    };
    Octets plain(PLAIN.begin(), PLAIN.end());
    for (const Case& c : cases) {
        V3Info info = infoWith(SALT);
        Octets out(plain.size());
        ASSERT_TRUE(cryptMessage(info, hex(c.key), plain.data(), out.data(), plain.size(),
                                 c.protocol, true));
        EXPECT_EQ(toHex(out), c.cipher) << "protocol " << c.protocol;
        Octets back(out.size());
        ASSERT_TRUE(cryptMessage(info, hex(c.key), out.data(), back.data(), out.size(),
                                 c.protocol, false));
        EXPECT_EQ(back, plain) << "protocol " << c.protocol;
    }
}

// What the reply writer does: pad with 0x05 to 8 bytes for DES, 16 for any other protocol.
TEST(Crypt, PaddedRoundTripsOfEveryLengthKeepEveryByte) {
    const Octets key = hex("8899aabbccddeeff0011223344556677deadbeef");  // a 20-byte SHA key
    for (uint32_t protocol : {0u, 1u}) {
        size_t step = protocol == 0 ? 8 : 16;
        for (size_t len = 1; len <= 100; ++len) {
            Octets plain(len);
            plain[0] = 0x30;  // looks like the start of a scoped PDU
            for (size_t i = 1; i < len; ++i) plain[i] = static_cast<unsigned char>(i * 13 + len);
            while (plain.size() % step) plain.push_back(0x05);

            V3Info info = infoWith(SALT, 3, static_cast<uint32_t>(len));
            Octets cipher(plain.size()), back(plain.size(), 0xEE);
            ASSERT_TRUE(cryptMessage(info, key, plain.data(), cipher.data(), plain.size(),
                                     protocol, true));
            ASSERT_NE(cipher, plain);
            ASSERT_TRUE(cryptMessage(info, key, cipher.data(), back.data(), cipher.size(),
                                     protocol, false));
            ASSERT_EQ(back, plain) << "protocol " << protocol << " length " << len;
        }
    }
}

TEST(Crypt, AesIvTakesBootsAndTimeFromTheHeader) {
    const Octets key(16, 0x42);
    Octets plain(32, 0x30), a(32), b(32);
    ASSERT_TRUE(cryptMessage(infoWith(SALT, 1, 100), key, plain.data(), a.data(), 32, 1, true));
    ASSERT_TRUE(cryptMessage(infoWith(SALT, 1, 101), key, plain.data(), b.data(), 32, 1, true));
    EXPECT_NE(a, b);
}

TEST(Crypt, RefusesShortKeysAndSalts) {
    Octets plain(16, 1), out(16);
    for (uint32_t protocol : {0u, 1u}) {
        EXPECT_FALSE(cryptMessage(infoWith(SALT), Octets(15, 1), plain.data(), out.data(), 16,
                                  protocol, true));
        EXPECT_FALSE(cryptMessage(infoWith(Octets(7, 1)), Octets(16, 1), plain.data(),
                                  out.data(), 16, protocol, false));
        EXPECT_FALSE(cryptMessage(infoWith({}), Octets(), plain.data(), out.data(), 16,
                                  protocol, false));
    }
    // An empty input is accepted and writes nothing.
    EXPECT_TRUE(cryptMessage(infoWith(SALT), Octets(16, 1), nullptr, nullptr, 0, 0, false));
}

TEST(Crypt, UnalignedDesInputLeavesTheTailUntouched) {
    // A received encryptedPDU need not be a whole number of blocks.
    Octets key(16, 3), in(13, 0x11), out(13, 0xEE);
    ASSERT_TRUE(cryptMessage(infoWith(SALT), key, in.data(), out.data(), 13, 0, false));
    for (size_t i = 8; i < 13; ++i) EXPECT_EQ(out[i], 0xEE);
}

TEST(PrivParam, SaltPerProtocol) {
    std::srand(1);
    V3Info info = infoWith(SALT, 0x01020304);
    preparePrivParam(0, info);
    ASSERT_EQ(info.msgPrivacyParameters.size(), 8u);
    EXPECT_EQ(toHex(Octets(info.msgPrivacyParameters.begin(),
                           info.msgPrivacyParameters.begin() + 4)),
              "01020304");

    info.msgPrivacyParameters = SALT;
    preparePrivParam(1, info);
    EXPECT_EQ(info.msgPrivacyParameters.size(), 8u);

    // Other numbers append to the request's salt; the cipher still uses its first 8 bytes.
    info.msgPrivacyParameters = SALT;
    preparePrivParam(5, info);
    ASSERT_EQ(info.msgPrivacyParameters.size(), 12u);
    EXPECT_TRUE(std::equal(SALT.begin(), SALT.end(), info.msgPrivacyParameters.begin()));
    Octets key(16, 9), plain(16, 0x30), a(16), b(16);
    ASSERT_TRUE(cryptMessage(info, key, plain.data(), a.data(), 16, 5, true));
    ASSERT_TRUE(cryptMessage(infoWith(SALT, 0x01020304), key, plain.data(), b.data(), 16, 5, true));
    EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace snmp
