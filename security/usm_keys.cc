// Password to key, localisation and the HMAC pad block.
#include <cstdlib>
#include <memory>

#include "platform/log.h"
#include "security/usm_crypto.h"
#include "security/usm_md_ctx.h"

namespace snmp {

EVP_MD_CTX* threadMdCtx() {
    struct Free {
        void operator()(EVP_MD_CTX* c) const { EVP_MD_CTX_free(c); }
    };
    thread_local std::unique_ptr<EVP_MD_CTX, Free> ctx(EVP_MD_CTX_new());
    if (!ctx) {
        LLOG(lm::errorLog()) << "usm: out of memory for a digest context\n";
        std::abort();
    }
    return ctx.get();
}

namespace {

constexpr size_t PASSWORD_STREAM = 1u << 20;  // bytes of repeated password fed to the digest

Octets finish(EVP_MD_CTX* ctx, const EVP_MD* md) {
    Octets out(EVP_MD_get_size(md));
    unsigned int n = 0;
    if (!EVP_DigestFinal_ex(ctx, out.data(), &n)) {
        LLOG(lm::errorLog()) << "usm: digest failed\n";
        return {};
    }
    out.resize(n);
    return out;
}

}  // namespace

Octets passwordToAKey(const std::string& password, const EVP_MD* md) {
    initCrypto();
    if (password.empty() || !md) return {};
    // The stream is the password repeated end to end; feeding it from a block holding a
    // whole number of copies keeps the repetition seamless across updates and needs far
    // fewer calls than 64-byte chunks while digesting the same bytes.
    std::string block;
    size_t copies = (4096 + password.size() - 1) / password.size();
    block.reserve(copies * password.size());
    for (size_t i = 0; i < copies; ++i) block += password;

    EVP_MD_CTX* ctx = threadMdCtx();
    if (!EVP_DigestInit_ex(ctx, md, nullptr)) {
        LLOG(lm::errorLog()) << "usm: digest init failed\n";
        return {};
    }
    for (size_t left = PASSWORD_STREAM; left > 0;) {
        size_t n = left < block.size() ? left : block.size();
        EVP_DigestUpdate(ctx, block.data(), n);
        left -= n;
    }
    return finish(ctx, md);
}

Octets passwordToAKey(const std::string& password, uint32_t authProtocol) {
    return passwordToAKey(password, digestFor(authProtocol));
}

Octets aKeyToBKey(const Octets& aKey, const Octets& engineId, const EVP_MD* md) {
    initCrypto();
    if (!md) return {};
    EVP_MD_CTX* ctx = threadMdCtx();
    if (!EVP_DigestInit_ex(ctx, md, nullptr)) {
        LLOG(lm::errorLog()) << "usm: digest init failed\n";
        return {};
    }
    EVP_DigestUpdate(ctx, aKey.data(), aKey.size());
    EVP_DigestUpdate(ctx, engineId.data(), engineId.size());
    EVP_DigestUpdate(ctx, aKey.data(), aKey.size());
    return finish(ctx, md);
}

Octets aKeyToBKey(const Octets& aKey, const Octets& engineId, uint32_t authProtocol) {
    return aKeyToBKey(aKey, engineId, digestFor(authProtocol));
}

Octets bKeyToDKey(const Octets& bKey, const EVP_MD* md) {
    const size_t block = padBlockSize(md) / 2;
    Octets pads(2 * block);
    for (size_t i = 0; i < block; ++i) {
        unsigned char b = i < bKey.size() ? bKey[i] : 0;
        pads[i] = b ^ 0x36;
        pads[block + i] = b ^ 0x5C;
    }
    return pads;
}

Octets bKeyToDKey(const Octets& bKey, uint32_t authProtocol) {
    return bKeyToDKey(bKey, digestFor(authProtocol));
}

}  // namespace snmp
