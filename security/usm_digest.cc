// HMAC of a whole SNMPv3 message from the record's precomputed pad block.
#include "platform/log.h"
#include "security/usm_crypto.h"
#include "security/usm_md_ctx.h"

namespace snmp {

namespace {
const unsigned char ZEROS[64] = {};
}

bool digestMessage(Octets& result, const unsigned char* msg, size_t msgLen, const Octets& dKey,
                   size_t authPos, size_t authLen, const EVP_MD* md) {
    initCrypto();
    result.clear();
    if (!md || dKey.size() != padBlockSize(md) || authPos > msgLen || authLen > msgLen - authPos)
        return false;
    const size_t block = dKey.size() / 2;

    EVP_MD_CTX* ctx = threadMdCtx();
    unsigned char inner[EVP_MAX_MD_SIZE];
    unsigned int innerLen = 0;
    if (!EVP_DigestInit_ex(ctx, md, nullptr)) {
        LLOG(lm::errorLog()) << "usm: digest init failed\n";
        return false;
    }
    EVP_DigestUpdate(ctx, dKey.data(), block);
    // The message as if its authentication field were zero: before, zeros, after.
    EVP_DigestUpdate(ctx, msg, authPos);
    for (size_t left = authLen; left > 0;) {
        size_t n = left < sizeof ZEROS ? left : sizeof ZEROS;
        EVP_DigestUpdate(ctx, ZEROS, n);
        left -= n;
    }
    EVP_DigestUpdate(ctx, msg + authPos + authLen, msgLen - authPos - authLen);
    EVP_DigestFinal_ex(ctx, inner, &innerLen);

    result.resize(EVP_MD_get_size(md));
    unsigned int outLen = 0;
    EVP_DigestInit_ex(ctx, md, nullptr);
    EVP_DigestUpdate(ctx, dKey.data() + block, block);
    EVP_DigestUpdate(ctx, inner, innerLen);
    if (!EVP_DigestFinal_ex(ctx, result.data(), &outLen)) {
        result.clear();
        return false;
    }
    result.resize(outLen);
    return true;
}

bool digestMessage(Octets& result, const unsigned char* msg, size_t msgLen, const Octets& dKey,
                   size_t authPos, size_t authLen, uint32_t authProtocol) {
    return digestMessage(result, msg, msgLen, dKey, authPos, authLen, digestFor(authProtocol));
}

bool digestMessage(Octets& result, const Octets& msg, const Octets& dKey, size_t authPos,
                   size_t authLen, const EVP_MD* md) {
    return digestMessage(result, msg.data(), msg.size(), dKey, authPos, authLen, md);
}

bool digestMessage(Octets& result, const Octets& msg, const Octets& dKey, size_t authPos,
                   size_t authLen, uint32_t authProtocol) {
    return digestMessage(result, msg.data(), msg.size(), dKey, authPos, authLen,
                         digestFor(authProtocol));
}

}  // namespace snmp
