// Privacy: DES-CBC and AES-128-CFB of the scoped PDU, and the salt of a reply.
#include <sys/random.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/log.h"
#include "security/usm_crypto.h"

namespace snmp {

namespace {

constexpr size_t SALT_SIZE = 8;
constexpr size_t KEY_SIZE = 16;  // DES: 8 key + 8 pre-IV bytes; AES-128: the key

void putU32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

void putU64(unsigned char* p, uint64_t v) {
    putU32(p, static_cast<uint32_t>(v >> 32));
    putU32(p + 4, static_cast<uint32_t>(v));
}

// Where a salt counter starts: unpredictable, so that two boots of the engine (or two
// agents) do not walk the same salts. The clock stands in only if the kernel cannot answer.
uint64_t randomStart() {
    uint64_t v = 0;
    if (getrandom(&v, sizeof v, 0) != static_cast<ssize_t>(sizeof v))
        v = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
            static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    return v;
}

// Counters rather than random draws: within one boot of the engine no salt comes twice
// (64 bits for AES, RFC 3826; 32 bits after the boots for DES, RFC 3414).
uint64_t nextAesSalt() {
    static uint64_t next = randomStart();
    return next++;
}

uint32_t nextDesSalt() {
    static uint32_t next = static_cast<uint32_t>(randomStart());
    return next++;
}

}  // namespace

bool cryptMessage(const V3Info& info, const Octets& key, const unsigned char* in,
                  unsigned char* out, size_t len, uint32_t privProtocol, bool encrypt) {
    const EVP_CIPHER* cipher = cipherFor(privProtocol);
    const Octets& salt = info.msgPrivacyParameters;
    unsigned char iv[EVP_MAX_IV_LENGTH] = {};
    // Keys shorter than 16 bytes are refused for AES too (it would read past the key);
    // derived keys are always 16 or 20 bytes.
    if (key.size() < KEY_SIZE || salt.size() < SALT_SIZE || len > INT_MAX) return false;

    if (cipher == EVP_des_cbc()) {
        for (size_t i = 0; i < 8; ++i) iv[i] = key[8 + i] ^ salt[i];
    } else if (cipher == EVP_aes_128_cfb128()) {
        putU32(iv, info.msgAuthoritativeEngineBoots);
        putU32(iv + 4, info.msgAuthoritativeEngineTime);
        std::memcpy(iv + 8, salt.data(), SALT_SIZE);
    } else {
        LLOG(lm::errorLog()) << "unknown cipher" << std::endl;
        std::abort();
    }

    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    if (!ctx) return false;
    bool ok = EVP_CipherInit_ex(ctx, cipher, nullptr, key.data(), iv, encrypt ? 1 : 0) == 1;
    // There is no final call, so padding would only make DES decryption hold back the
    // last block of the plaintext; turned off, every complete block comes out.
    if (ok) EVP_CIPHER_CTX_set_padding(ctx, 0);
    int outLen = 0;
    if (ok && len > 0)
        ok = EVP_CipherUpdate(ctx, out, &outLen, in, static_cast<int>(len)) == 1;
    EVP_CIPHER_CTX_free(ctx);
    return ok;
}

void preparePrivParam(uint32_t privProtocol, V3Info& info) {
    Octets& salt = info.msgPrivacyParameters;
    salt.assign(SALT_SIZE, 0);
    if (privProtocol == 0) {  // DES: engine boots, then the 32-bit counter
        putU32(salt.data(), info.msgAuthoritativeEngineBoots);
        putU32(salt.data() + 4, nextDesSalt());
    } else {  // AES (every other number selects it): the 64-bit counter
        putU64(salt.data(), nextAesSalt());
    }
}

}  // namespace snmp
