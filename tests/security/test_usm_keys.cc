// Key derivation and HMAC against published and independently computed values.
#include <gtest/gtest.h>

#include "security/usm_crypto.h"
#include "tests/security/test_util.h"

namespace snmp {
namespace {

using test::hex;
using test::toHex;

const Octets ENGINE_ID = hex("000000000000000000000002");

// A message with a 12-byte authentication field at offset 20 holding non-zero bytes; the
// expected HMACs were computed over the same bytes with the field zeroed (python3 hmac,
// key = the localised key).
Octets sampleMessage() {
    Octets msg(100);
    for (size_t i = 0; i < msg.size(); ++i) msg[i] = static_cast<unsigned char>(i * 7 % 251);
    return msg;
}

struct KnownAnswer {
    uint32_t protocol;
    const char* passwordKey;
    const char* localisedKey;
    const char* hmacOfSample;
    const char* emptyPasswordLocalised;  // digest of the engine id alone
};

const KnownAnswer ANSWERS[] = {
    {0, "9faf3283884e92834ebc9847d8edd963", "526f5eed9fcce26f8964c2930787d82b",
     "c74e92fccd0b8debf5242f03687aeb09", "768fb32dcd075dfa5863ffebc4b751c7"},
    {1, "9fb5cc0381497b3793528939ff788d5d79145211",
     "6695febc9288e36282235fc7151f128497b38f3f", "821efa411836795834685d718b27b86e429a7884",
     "7a5836fe287e11ac39ee88d3c0794916d50b73c3"},
};

void PrintTo(const KnownAnswer& a, std::ostream* os) { *os << (a.protocol == 0 ? "MD5" : "SHA-1"); }

class KnownAnswers : public ::testing::TestWithParam<KnownAnswer> {};

TEST_P(KnownAnswers, PasswordKeyLocalisedKeyAndHmac) {
    const KnownAnswer& a = GetParam();
    Octets ku = passwordToAKey("maplesyrup", a.protocol);
    EXPECT_EQ(toHex(ku), a.passwordKey);
    Octets kul = aKeyToBKey(ku, ENGINE_ID, a.protocol);
    EXPECT_EQ(toHex(kul), a.localisedKey);

    // Both twins agree.
    const EVP_MD* md = digestFor(a.protocol);
    ASSERT_NE(md, nullptr);
    EXPECT_EQ(passwordToAKey("maplesyrup", md), ku);
    EXPECT_EQ(aKeyToBKey(ku, ENGINE_ID, md), kul);

    Octets msg = sampleMessage();
    const Octets original = msg;
    Octets mac;
    ASSERT_TRUE(digestMessage(mac, msg, bKeyToDKey(kul, a.protocol), 20, 12, a.protocol));
    EXPECT_EQ(toHex(mac), a.hmacOfSample);
    EXPECT_EQ(msg, original) << "the authentication field must be left as it was";
}

TEST_P(KnownAnswers, EmptyPasswordLocalisesTheEngineIdAlone) {
    const KnownAnswer& a = GetParam();
    Octets ku = passwordToAKey("", a.protocol);
    EXPECT_TRUE(ku.empty());
    EXPECT_EQ(toHex(aKeyToBKey(ku, ENGINE_ID, a.protocol)), a.emptyPasswordLocalised);
}

INSTANTIATE_TEST_SUITE_P(Usm, KnownAnswers, ::testing::ValuesIn(ANSWERS),
                         [](const auto& info) {
                             return std::string(info.param.protocol == 0 ? "MD5" : "SHA1");
                         });

TEST(PasswordKey, RepetitionIsSeamlessForAwkwardLengths) {
    // Lengths that do not divide the 1 MiB stream or the feeding block.
    for (std::string pw : {std::string("a"), std::string("abc"), std::string(63, 'x') + "y",
                           std::string(4097, 'q') + "z"}) {
        std::string stream;
        stream.reserve((1u << 20) + pw.size());
        while (stream.size() < (1u << 20)) stream += pw;
        stream.resize(1u << 20);
        Octets expected(EVP_MAX_MD_SIZE);
        unsigned int n = 0;
        ASSERT_TRUE(EVP_Digest(stream.data(), stream.size(), expected.data(), &n, EVP_sha1(),
                               nullptr));
        expected.resize(n);
        EXPECT_EQ(passwordToAKey(pw, 1u), expected) << "password length " << pw.size();
    }
}

TEST(PadBlock, LayoutForShortLongAndEmptyKeys) {
    struct Case {
        size_t keyLen;
        size_t copied;  // key bytes that reach the pads
    } cases[] = {{16, 16}, {20, 20}, {64, 64}, {70, 64}, {0, 0}};
    for (const Case& c : cases) {
        Octets key(c.keyLen);
        for (size_t i = 0; i < key.size(); ++i) key[i] = static_cast<unsigned char>(0xA0 + i);
        Octets pads = bKeyToDKey(key);
        ASSERT_EQ(pads.size(), PAD_BLOCK_SIZE);
        for (size_t i = 0; i < 64; ++i) {
            unsigned char b = i < c.copied ? key[i] : 0;
            ASSERT_EQ(pads[i], b ^ 0x36) << "key " << c.keyLen << " byte " << i;
            ASSERT_EQ(pads[64 + i], b ^ 0x5C) << "key " << c.keyLen << " byte " << 64 + i;
        }
    }
}

TEST(DigestMessage, RefusesFieldsOutsideTheMessageAndBadInputs) {
    Octets msg = sampleMessage();
    Octets pads = bKeyToDKey(Octets(16, 1));
    Octets mac{1, 2, 3};
    EXPECT_FALSE(digestMessage(mac, msg, pads, 90, 11, 0u));
    EXPECT_TRUE(mac.empty());
    EXPECT_FALSE(digestMessage(mac, msg, pads, 101, 0, 0u));
    EXPECT_FALSE(digestMessage(mac, msg, pads, 1, SIZE_MAX, 0u));
    EXPECT_FALSE(digestMessage(mac, msg, Octets(16), 20, 12, 0u)) << "not a pad block";
    EXPECT_FALSE(digestMessage(mac, msg, pads, 20, 12, 2u)) << "unknown protocol";
    // A field that reaches the very end, and an empty one, are fine.
    EXPECT_TRUE(digestMessage(mac, msg, pads, 88, 12, 0u));
    EXPECT_EQ(mac.size(), 16u);
    EXPECT_TRUE(digestMessage(mac, msg, pads, 100, 0, 1u));
    EXPECT_EQ(mac.size(), 20u);
}

}  // namespace
}  // namespace snmp
