// User-based security cryptography against values computed outside this code base: keys
// and HMACs (python3 hashlib/hmac), ciphertexts (openssl enc), plus the bounds every
// received message is checked against.
#include <gtest/gtest.h>

#include <set>

#include "security/usm_crypto.h"
#include "tests/security/test_util.h"

namespace snmp {
namespace {

using test::hex;
using test::toHex;

const Octets ENGINE_ID = hex("000000000000000000000002");

// 100 octets; the HMACs below treat the 12 at offset 20 as the authentication field.
Octets sampleMessage() {
    Octets msg(100);
    for (size_t i = 0; i < msg.size(); ++i) msg[i] = static_cast<unsigned char>(i * 7 % 251);
    return msg;
}

TEST(UsmKeys, KnownAnswersForMd5AndSha1) {
    const struct {
        uint32_t protocol;
        const char* passwordKey;  // "maplesyrup"
        const char* localisedKey;
        const char* hmacOfSample;
        const char* emptyPasswordLocalised;  // the digest of the engine id alone
    } cases[] = {
        {0, "9faf3283884e92834ebc9847d8edd963", "526f5eed9fcce26f8964c2930787d82b",
         "c74e92fccd0b8debf5242f03687aeb09", "768fb32dcd075dfa5863ffebc4b751c7"},
        {1, "9fb5cc0381497b3793528939ff788d5d79145211",
         "6695febc9288e36282235fc7151f128497b38f3f", "821efa411836795834685d718b27b86e429a7884",
         "7a5836fe287e11ac39ee88d3c0794916d50b73c3"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.protocol == 0 ? "MD5" : "SHA-1");
        const Octets ku = passwordToAKey("maplesyrup", c.protocol);
        EXPECT_EQ(toHex(ku), c.passwordKey);
        const Octets kul = aKeyToBKey(ku, ENGINE_ID, c.protocol);
        EXPECT_EQ(toHex(kul), c.localisedKey);
        Octets msg = sampleMessage(), mac;
        ASSERT_TRUE(digestMessage(mac, msg, bKeyToDKey(kul), 20, 12, c.protocol));
        EXPECT_EQ(toHex(mac), c.hmacOfSample);
        EXPECT_EQ(msg, sampleMessage()) << "the authentication field must be left as it was";
        EXPECT_TRUE(passwordToAKey("", c.protocol).empty());
        EXPECT_EQ(toHex(aKeyToBKey({}, ENGINE_ID, c.protocol)), c.emptyPasswordLocalised);
    }
}

TEST(UsmKeys, DigestRefusesFieldsOutsideTheMessageAndBadKeys) {
    const Octets msg = sampleMessage(), pads = bKeyToDKey(Octets(16, 1));
    const struct { size_t pos, len; Octets key; uint32_t protocol; size_t macSize; } cases[] = {
        {88, 12, pads, 0, 16},       {100, 0, pads, 1, 20},  // up to the very end is fine
        {90, 11, pads, 0, 0},        {101, 0, pads, 0, 0},
        {1, SIZE_MAX, pads, 0, 0},   {20, 12, Octets(16), 0, 0},  // not a pad block
        {20, 12, pads, 2, 28},  // SHA-224: 64-byte blocks, the same pad block size
        {20, 12, pads, 4, 0},   // SHA-384 needs a 256-byte pad block
        {20, 12, bKeyToDKey(Octets(48, 1), EVP_sha384()), 4, 48},
        {20, 12, pads, 6, 0},   // unknown protocol
    };
    for (const auto& c : cases) {
        Octets mac{1, 2, 3};
        EXPECT_EQ(digestMessage(mac, msg, c.key, c.pos, c.len, c.protocol), c.macSize != 0);
        EXPECT_EQ(mac.size(), c.macSize) << c.pos << "+" << c.len;
    }
}

const Octets SALT = hex("a0a1a2a3a4a5a6a7");

V3Info infoWith(const Octets& salt, uint32_t boots = 7, uint32_t time = 1000) {
    V3Info info;
    info.msgAuthoritativeEngineBoots = boots;
    info.msgAuthoritativeEngineTime = time;
    info.msgPrivacyParameters = salt;
    return info;
}

// All of in through out, with the header's engine time given.
bool crypt(const Octets& salt, const Octets& key, const Octets& in, Octets& out,
           uint32_t protocol, bool encrypt, uint32_t time = 1000) {
    return cryptMessage(infoWith(salt, 7, time), key, in.data(), out.data(), in.size(), protocol,
                        encrypt);
}

// `openssl enc -nopad` with the IVs the agent builds: DES key 0102..08, IV = key octets 8-15
// (1112..18) XOR the salt; AES IV = boots 7, time 1000, salt. Then padded round trips of
// every length, as the reply writer pads: with 0x05 to 8 octets for DES, 16 for the rest.
TEST(UsmPrivacy, IndependentCiphertextsAndRoundTripsOfEveryLength) {
    const struct { uint32_t protocol; const char* key; const char* cipher; } cases[] = {
        {0, "01020304050607081112131415161718",
         "43e6cb75cf463121d8c86f4c3c94cd07a1f5eed459b7450e2fd9221d63008673"},
        {1, "000102030405060708090a0b0c0d0e0f",
         "983e70dbe6cf7e55e32013747791de863eee26e94a4d09f119964db3557f7791"},
    };
    const std::string text = "scoped-pdu-bytes0123456789abcdef";
    for (const auto& c : cases) {
        Octets plain(text.begin(), text.end()), cipher(plain.size()), back(plain.size());
        ASSERT_TRUE(crypt(SALT, hex(c.key), plain, cipher, c.protocol, true));
        EXPECT_EQ(toHex(cipher), c.cipher) << "protocol " << c.protocol;
        for (size_t len = 1; len <= 40; ++len) {
            plain.assign(len, static_cast<unsigned char>(len));
            while (plain.size() % (c.protocol == 0 ? 8 : 16)) plain.push_back(0x05);
            cipher.assign(plain.size(), 0);
            back.assign(plain.size(), 0xEE);
            ASSERT_TRUE(crypt(SALT, hex(c.key), plain, cipher, c.protocol, true, len));
            ASSERT_NE(cipher, plain);
            ASSERT_TRUE(crypt(SALT, hex(c.key), cipher, back, c.protocol, false, len));
            ASSERT_EQ(back, plain) << "protocol " << c.protocol << " length " << len;
        }
    }
}

TEST(UsmPrivacy, RefusesShortKeysAndSaltsAndLeavesAPartialDesBlock) {
    Octets plain(16, 1), out(16);
    for (uint32_t protocol : {0u, 1u}) {
        EXPECT_FALSE(crypt(SALT, Octets(15, 1), plain, out, protocol, true));
        EXPECT_FALSE(crypt(Octets(7, 1), Octets(16, 1), plain, out, protocol, false));
    }
    // A received encryptedPDU need not be a whole number of DES blocks.
    Octets in(13, 0x11), tail(13, 0xEE);
    ASSERT_TRUE(crypt(SALT, Octets(16, 3), in, tail, 0, false));
    EXPECT_EQ(toHex(Octets(tail.begin() + 8, tail.end())), "eeeeeeeeee");
}

TEST(UsmPrivacy, ReplySaltsNeverRepeat) {
    V3Info info = infoWith(SALT, 0x01020304);
    preparePrivParam(0, info);  // DES: engine boots, then a counter
    const Octets des1 = info.msgPrivacyParameters;
    preparePrivParam(0, info);
    const Octets des2 = info.msgPrivacyParameters;
    ASSERT_EQ(des1.size(), 8u);
    EXPECT_EQ(toHex(des1).substr(0, 8), "01020304");
    EXPECT_EQ(toHex(des2).substr(0, 8), "01020304");
    EXPECT_NE(des1, des2);
    // AES and every other number: 8 octets of a counter, whatever the request's salt held.
    std::set<Octets> seen;
    for (uint32_t protocol : {1u, 5u, 1u, 1u}) {
        info.msgPrivacyParameters = SALT;
        preparePrivParam(protocol, info);
        EXPECT_EQ(info.msgPrivacyParameters.size(), 8u);
        EXPECT_TRUE(seen.insert(info.msgPrivacyParameters).second);
    }
}

}  // namespace
}  // namespace snmp
