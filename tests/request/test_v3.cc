// SNMPv3 datagrams in, datagrams out. Requests and expected replies are sealed here with
// OpenSSL's own HMAC and ciphers and keys from the published password-to-key examples
// (password "maplesyrup", engine id 00..02), so the agent's USM code is checked against an
// independent implementation, byte for byte, signatures and encryptions included.
#include <gtest/gtest.h>

#include <openssl/evp.h>

#include <algorithm>
#include <string>

#include "ber_build.h"
#include "request/context.h"
#include "request/local_engine.h"
#include "request_fixture.h"
#include "security/community_keep.h"

namespace reqtest {
namespace {

using namespace bertest;

constexpr uint8_t GET = 0xA0, RESPONSE = 0xA2, REPORT = 0xA8, COUNTER32 = 0x41;
constexpr uint8_t AUTH = 0x01, PRIV = 0x02, REPORTABLE = 0x04;
enum Kind { unsupportedSecLevel, notInTimeWindow, unknownUser, unknownEngine, wrongDigest,
            decryptionError };
enum Cipher { none, des, aes };

constexpr uint32_t BOOTS = 5, START = 1000, ENGINE_TIME = 400;
const Bytes ENGINE{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
const std::string PASSWORD = "maplesyrup";
const std::string sysDescr = "1.3.6.1.2.1.1.1.0";

Bytes fromHex(const std::string& t) {
    Bytes out;
    for (size_t i = 0; i + 1 < t.size(); i += 2) out.push_back(std::stoul(t.substr(i, 2), nullptr, 16));
    return out;
}

// Localised keys of "maplesyrup" for engine 00..02.
const Bytes MD5_KEY = fromHex("526f5eed9fcce26f8964c2930787d82b");
const Bytes SHA_KEY = fromHex("6695febc9288e36282235fc7151f128497b38f3f");
// The same for SHA-256 and SHA-512 (RFC 7860), computed with python3's hashlib.
const Bytes SHA256_KEY = fromHex("8982e0e549e866db361a6b625d84cccc11162d453ee8ce3a6445c2d6776f0f8b");
const Bytes SHA512_KEY = fromHex(
    "22a5a36cedfcc085807a128d7bc6c2382167ad6c0dbc5fdff856740f3d84c099"
    "ad1ea87a8db096714d9788bd544047c9021e4229ce27e4c0a69250adfcffbb0b");

// The system uptime the engine sees; a test may move it on.
uint32_t uptimeNow = START + ENGINE_TIME;
uint32_t fakeUptime() { return uptimeNow; }

// One message as a manager or the agent would put it on the wire.
struct Msg {
    uint32_t msgId = 0x1234;
    uint32_t maxSize = 65507;
    uint8_t flags = REPORTABLE;
    Bytes engineId = ENGINE;
    uint32_t boots = BOOTS, time = ENGINE_TIME;
    std::string user{};
    Bytes salt{};
    Bytes scoped{};  // the plain scoped PDU
    const char* md = nullptr;  // "MD5" or "SHA1": sign with key
    Bytes key{};
    Cipher cipher = none;
    bool authField = false;  // a digest field even if unsigned (requests with a bad digest)
    size_t macLen = 12;      // HMAC-96; 24 for SHA-256, 48 for SHA-512
};

Bytes crypt(const Msg& m, const Bytes& plain, bool encrypt) {
    unsigned char iv[16] = {};
    const EVP_CIPHER* c = m.cipher == des ? EVP_des_cbc() : EVP_aes_128_cfb128();
    if (m.cipher == des) {
        for (int i = 0; i < 8; ++i) iv[i] = m.key[8 + i] ^ m.salt[i];
    } else {
        for (int i = 0; i < 4; ++i) iv[i] = static_cast<uint8_t>(m.boots >> (24 - 8 * i));
        for (int i = 0; i < 4; ++i) iv[4 + i] = static_cast<uint8_t>(m.time >> (24 - 8 * i));
        std::copy_n(m.salt.begin(), 8, iv + 8);
    }
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(ctx, c, nullptr, m.key.data(), iv, encrypt);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    Bytes out(plain.size() + 16);
    int n = 0;
    EVP_CipherUpdate(ctx, out.data(), &n, plain.data(), static_cast<int>(plain.size()));
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n));
    return out;
}

// Position of the digest field in a message built with the mark there.
size_t find(const Bytes& msg, const Bytes& mark) {
    return static_cast<size_t>(std::search(msg.begin(), msg.end(), mark.begin(), mark.end()) -
                               msg.begin());
}

Bytes build(const Msg& m) {
    const bool signs = m.md != nullptr || m.authField;
    Bytes payload = m.scoped;
    if (m.cipher != none) {
        Bytes plain = m.scoped;
        if (m.cipher == des) while (plain.size() % 8) plain.push_back(0x05);
        payload = tlv(0x04, crypt(m, plain, true));
    }
    const Bytes usm = seq({tlv(0x04, m.engineId), integer(m.boots), integer(m.time), octets(m.user),
                           tlv(0x04, signs ? Bytes(m.macLen, 0xA5) : Bytes{}), tlv(0x04, m.salt)});
    Bytes msg = seq({integer(3),
                     seq({integer(m.msgId), integer(m.maxSize), tlv(0x04, {m.flags}), integer(3)}),
                     tlv(0x04, usm), payload});
    if (!signs) return msg;
    const size_t at = find(msg, Bytes(m.macLen, 0xA5));
    std::fill_n(msg.begin() + at, m.macLen, 0);
    if (m.md) {
        unsigned char mac[EVP_MAX_MD_SIZE];
        size_t len = 0;
        EVP_Q_mac(nullptr, "HMAC", nullptr, m.md, nullptr, m.key.data(), m.key.size(), msg.data(),
                  msg.size(), mac, sizeof mac, &len);
        std::copy_n(mac, m.macLen, msg.begin() + at);
    }
    return msg;
}

Bytes scoped(uint8_t pdu, int32_t requestId, const std::vector<Bytes>& bindings,
             const Bytes& contextEngine = ENGINE, int status = 0) {
    return seq({tlv(0x04, contextEngine), octets(""),
                tlv(pdu, cat({integer(requestId), integer(status), integer(0), tlv(0x30, cat(bindings))}))});
}

Bytes getSysDescr(int32_t id = 77) { return scoped(GET, id, {vb(sysDescr, null())}); }
Bytes sysDescrAnswer(int32_t id = 77) {
    return scoped(RESPONSE, id, {vb(sysDescr, octets("lumo test agent"))});
}
Bytes report(Kind kind, int32_t id, const Bytes& contextEngine = ENGINE) {
    const std::string name = "1.3.6.1.6.3.15.1.1." + std::to_string(kind + 1) + ".0";
    return scoped(REPORT, id, {vb(name, integer(snmp::Context::v3counters[kind], COUNTER32))},
                  contextEngine);
}

class V3Test : public RequestTest {
protected:
    void SetUp() override {
        RequestTest::SetUp();
        add(10, "open", 0, 0, 0, "", "");
        add(11, "md5auth", 1, 0, 0, PASSWORD, "");
        add(12, "shaaes", 2, 1, 1, PASSWORD, PASSWORD);
        add(13, "md5des", 2, 0, 0, PASSWORD, PASSWORD);
        add(14, "sha256", 1, 3, 0, PASSWORD, "");
        add(15, "sha512aes", 2, 5, 1, PASSWORD, PASSWORD);
        keep_->setEngineId(ENGINE);
        snmp::LocalEngine& engine = snmp::localEngine();
        engine.info = {BOOTS, START, 150, ENGINE};
        engine.uptime = fakeUptime;
        uptimeNow = START + ENGINE_TIME;
    }
    void TearDown() override {
        snmp::localEngine() = snmp::LocalEngine();
        RequestTest::TearDown();
    }
    void add(uint32_t id, const std::string& name, uint32_t level, uint32_t auth, uint32_t priv,
             const std::string& authPassword, const std::string& privPassword) {
        auto* item = new snmp::Item;
        item->name = name;
        item->securityLevel = level;
        item->authProtocol = auth;
        item->privProtocol = priv;
        item->authPassword = authPassword;
        item->privPassword = privPassword;
        lm::IPPrefix6 any;
        ASSERT_TRUE(lm::IPPrefix6::parse("0.0.0.0/0", any));
        item->addresses = {any};
        item->id = id;
        ASSERT_TRUE(keep_->allocator().request(id));
        ASSERT_TRUE(keep_->insert(item));
    }
    // The users' requests, signed (and encrypted) as a manager that knows the keys would.
    static Msg md5auth(const Bytes& s) {
        return {.flags = AUTH | REPORTABLE, .user = "md5auth", .scoped = s, .md = "MD5", .key = MD5_KEY};
    }
    static Msg shaaes(const Bytes& s) {
        return {.flags = AUTH | PRIV | REPORTABLE, .user = "shaaes", .salt = fromHex("0102030405060708"),
                .scoped = s, .md = "SHA1", .key = SHA_KEY, .cipher = aes};
    }
    static Msg md5des(const Bytes& s) {
        return {.flags = AUTH | PRIV | REPORTABLE, .user = "md5des", .salt = fromHex("0000000511223344"),
                .scoped = s, .md = "MD5", .key = MD5_KEY, .cipher = des};
    }
    static Msg sha256(const Bytes& s) {
        return {.flags = AUTH | REPORTABLE, .user = "sha256", .scoped = s, .md = "SHA256",
                .key = SHA256_KEY, .macLen = 24};
    }
    static Msg sha512aes(const Bytes& s) {
        return {.flags = AUTH | PRIV | REPORTABLE, .user = "sha512aes", .salt = fromHex("1112131415161718"),
                .scoped = s, .md = "SHA512", .key = SHA512_KEY, .cipher = aes, .macLen = 48};
    }
    // The agent's reply to m carrying scopedReply, sealed with the salt the agent chose.
    static Bytes expectedReply(Msg m, const Bytes& scopedReply, const Bytes& got) {
        m.scoped = scopedReply;
        m.boots = BOOTS;
        m.time = ENGINE_TIME;
        if (m.cipher != none) {
            // The salt sits where it sits in a reply built with a marked one.
            Msg marked = m;
            marked.md = nullptr;
            marked.authField = true;
            marked.salt = Bytes(8, 0xC3);
            const Bytes probe = build(marked);
            const size_t at = find(probe, marked.salt);
            if (at + 8 > got.size()) return {};
            m.salt.assign(got.begin() + at, got.begin() + at + 8);
        }
        return build(m);
    }
};

TEST_F(V3Test, DiscoveryIsAnsweredWithTheEngineId) {
    // An empty engine id and user, noAuthNoPriv, no bindings: what every manager sends first.
    Msg probe{.engineId = {}, .boots = 0, .time = 0, .scoped = scoped(GET, 9, {}, {})};
    const Bytes reply = answer(build(probe));
    Msg expected = probe;
    expected.engineId = ENGINE;  // the request's boots and time (0, 0) stay
    expected.scoped = report(unknownEngine, 9);
    EXPECT_EQ(hex(reply), hex(build(expected)));
}

TEST_F(V3Test, TimeWindowIsOneHundredAndFiftySecondsEitherWay) {
    struct Case { uint32_t boots, time; bool inside; };
    const Case cases[] = {
        {BOOTS, ENGINE_TIME - 150, true},  {BOOTS, ENGINE_TIME + 150, true},
        {BOOTS, ENGINE_TIME, true},        {BOOTS, ENGINE_TIME - 151, false},
        {BOOTS, ENGINE_TIME + 151, false}, {BOOTS - 1, ENGINE_TIME, false},
        {BOOTS + 1, ENGINE_TIME, false},   {0, 0, false},
    };
    for (const Case& c : cases) {
        Msg m = md5auth(getSysDescr());
        m.boots = c.boots;
        m.time = c.time;
        const Bytes reply = answer(build(m));
        // Inside: the Response, with the local boots and time. Outside: a signed Report that
        // tells the manager the local boots and time, without the priv flag.
        const Bytes expected = c.inside ? expectedReply(m, sysDescrAnswer(), reply)
                                        : expectedReply(m, report(notInTimeWindow, 77), reply);
        EXPECT_EQ(hex(reply), hex(expected)) << "boots " << c.boots << " time " << c.time;
    }
}

TEST_F(V3Test, ACapturedRequestReplayedLaterIsRefused) {
    const Msg request = md5auth(getSysDescr());
    const Bytes captured = build(request);
    Bytes reply = answer(captured);
    EXPECT_EQ(hex(reply), hex(expectedReply(request, sysDescrAnswer(), reply))) << "fresh";
    uptimeNow += 200;
    reply = answer(captured);
    Msg told = request;
    told.time = ENGINE_TIME + 200;  // the engine's time now, for the manager to resync
    told.scoped = report(notInTimeWindow, 77);
    EXPECT_EQ(hex(reply), hex(build(told))) << "200 s later";
}

TEST_F(V3Test, ReportsThatTheManagerCannotCheckGoOutUnsigned) {
    struct Case { const char* what; Msg request; Kind kind; int32_t requestId; };
    Msg unknown = md5auth(getSysDescr());
    unknown.user = "nobody";
    Msg badDigest = md5auth(getSysDescr());
    badDigest.md = nullptr;
    badDigest.authField = true;  // twelve zero octets
    Msg wrongKey = md5auth(getSysDescr());
    wrongKey.key = SHA_KEY;
    Msg shortField = md5auth(getSysDescr());
    shortField.md = nullptr;  // an empty digest field is no signature at all
    Msg belowLevel = md5auth(getSysDescr());
    belowLevel.user = "shaaes";  // authNoPriv for an authPriv user
    Msg noPassword = md5auth(getSysDescr());
    noPassword.user = "secure";  // level 1 but no password: nothing to check against
    Msg sha256Short = sha256(getSysDescr());
    sha256Short.macLen = 12;  // HMAC-96 is not what SHA-256 users sign with
    Msg privOnly{.flags = PRIV | REPORTABLE, .user = "md5auth", .scoped = getSysDescr()};
    Msg wrongPriv = shaaes(getSysDescr());
    Msg encryptedWrongly = wrongPriv;
    encryptedWrongly.key = Bytes(SHA_KEY.rbegin(), SHA_KEY.rend());
    wrongPriv.scoped = crypt(encryptedWrongly, getSysDescr(), true);  // garbage once decrypted
    Msg desWrongPriv = md5des(getSysDescr());
    desWrongPriv.salt = fromHex("0000000599999999");
    const Case cases[] = {
        {"unknown user", unknown, unknownUser, 77},
        {"digest of zeros", badDigest, wrongDigest, 77},
        {"digest with another key", wrongKey, wrongDigest, 77},
        {"empty digest field", shortField, wrongDigest, 77},
        {"SHA-256 digest cut to 12 octets", sha256Short, wrongDigest, 77},
        {"level below the user's", belowLevel, unsupportedSecLevel, 77},
        {"user without a password", noPassword, unsupportedSecLevel, 77},
        // priv without auth is noAuthNoPriv, below this user's level
        {"priv-only flags", privOnly, unsupportedSecLevel, 77},
    };
    for (const Case& c : cases) {
        const Bytes reply = answer(build(c.request));
        Msg expected{.msgId = c.request.msgId, .flags = REPORTABLE, .user = c.request.user,
                     .scoped = report(c.kind, c.requestId)};
        EXPECT_EQ(hex(reply), hex(build(expected))) << c.what;
    }
}

TEST_F(V3Test, AnUndecryptableScopedPduIsADecryptionError) {
    // The right keys for the digest, the wrong ones (or a wrong salt) for the scoped PDU;
    // the request-id is unreadable, so the report says 0.
    Msg sha = shaaes(getSysDescr());
    sha.key = Bytes(SHA_KEY.rbegin(), SHA_KEY.rend());
    Msg garbled = shaaes(getSysDescr());
    garbled.scoped = crypt(sha, getSysDescr(), true);
    garbled.cipher = none;
    garbled.scoped = tlv(0x04, garbled.scoped);
    Msg notBlocks = md5des(getSysDescr());
    notBlocks.cipher = none;
    notBlocks.scoped = tlv(0x04, Bytes(13, 0x42));  // DES takes whole blocks only
    for (const Msg& request : {garbled, notBlocks}) {
        const Bytes reply = answer(build(request));
        Msg expected{.msgId = request.msgId, .flags = REPORTABLE, .user = request.user,
                     .scoped = report(decryptionError, 0)};
        EXPECT_EQ(hex(reply), hex(build(expected))) << request.user;
    }
}

TEST_F(V3Test, PrivOnlyFlagsAreNoAuthNoPriv) {
    Msg m{.flags = PRIV | REPORTABLE, .user = "open", .scoped = getSysDescr()};
    const Bytes reply = answer(build(m));
    Msg expected = m;
    expected.flags = REPORTABLE;  // the reply claims no privacy it does not have
    expected.scoped = sysDescrAnswer();
    EXPECT_EQ(hex(reply), hex(build(expected)));
}

TEST_F(V3Test, RequestsAreAnsweredAtTheirOwnLevel) {
    for (Msg m : {md5auth(getSysDescr()), sha256(getSysDescr()), shaaes(getSysDescr()),
                  md5des(getSysDescr()), sha512aes(getSysDescr())}) {
        const Bytes reply = answer(build(m));
        const Bytes expected = expectedReply(m, sysDescrAnswer(), reply);
        EXPECT_EQ(hex(reply), hex(expected)) << m.user;
    }
}

TEST_F(V3Test, TheManagersMaxSizeBoundsTheReply) {
    constexpr int TOO_BIG = 1;
    // Shrinking msgMaxSize octet by octet: every answer fits it, and is either the Response
    // or tooBig with no bindings. A signed reply may fill it exactly; an encrypted one keeps
    // an allowance for the cipher's padding and the wider length, of at most 16 octets.
    struct Case { Msg request; size_t allowance; };
    for (const Case& c : {Case{md5auth(getSysDescr()), 0}, Case{md5des(getSysDescr()), 16}}) {
        size_t smallestFull = 0, fullSize = 0;
        for (uint32_t max = 200; max >= 100; --max) {
            Msg m = c.request;
            m.maxSize = max;
            const Bytes reply = answer(build(m));
            ASSERT_LE(reply.size(), max);
            const Bytes full = expectedReply(m, sysDescrAnswer(), reply);
            if (reply == full) {
                smallestFull = max;
                fullSize = reply.size();
                continue;
            }
            EXPECT_EQ(hex(reply), hex(expectedReply(m, scoped(RESPONSE, 77, {}, ENGINE, TOO_BIG), reply)))
                << max;
            break;
        }
        ASSERT_NE(smallestFull, 0u);
        EXPECT_LE(smallestFull - fullSize, c.allowance) << c.request.user;
    }
}

TEST_F(V3Test, RepliesNeverReuseASalt) {
    const Bytes a = answer(build(shaaes(getSysDescr())));
    const Bytes b = answer(build(shaaes(getSysDescr())));
    ASSERT_EQ(a.size(), b.size());
    EXPECT_NE(a, b);
}

TEST_F(V3Test, MalformedHeadersAreDropped) {
    const auto header = [](const Bytes& flags, int model) {
        return seq({integer(3), seq({integer(1), integer(65507), tlv(0x04, flags), integer(model)}),
                    tlv(0x04, seq({tlv(0x04, ENGINE), integer(0), integer(0), octets("open"),
                                   octets(""), octets("")})),
                    getSysDescr()});
    };
    const Bytes whole = build(md5auth(getSysDescr()));
    struct Case { const char* what; Bytes request; };
    const Case cases[] = {
        {"cut short", Bytes(whole.begin(), whole.begin() + 30)},
        {"empty msgFlags", header({}, 3)},
        {"another security model", header({REPORTABLE}, 2)},
        {"security parameters not a string",
         seq({integer(3), seq({integer(1), integer(65507), tlv(0x04, {REPORTABLE}), integer(3)}),
              integer(5), getSysDescr()})},
    };
    for (const Case& c : cases) EXPECT_TRUE(answer(c.request).empty()) << c.what;
    // The same header with a well-formed, known user is answered: the cases above fail for
    // what they change, not for something else.
    EXPECT_FALSE(answer(header({REPORTABLE}, 3)).empty());
}

}  // namespace
}  // namespace reqtest
