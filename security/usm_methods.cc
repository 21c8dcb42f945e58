// The digest table and the OpenSSL providers the agent needs.
#include <openssl/provider.h>

#include "platform/log.h"
#include "security/usm_crypto.h"

namespace snmp {

const EVP_MD* methods[METHOD_COUNT] = {};

// Held for the life of the process (OpenSSL unloads them at exit). External linkage on
// purpose: the optimiser may not drop the stores, so leak checkers still see them as roots.
OSSL_PROVIDER* legacyProvider = nullptr;
OSSL_PROVIDER* defaultProvider = nullptr;

void initCrypto() {
    // A function-local static runs once even if tests touch it from several threads.
    static const bool done = [] {
        // DES lives in the legacy provider; loading any provider explicitly stops OpenSSL
        // from loading the default one on its own, so both are loaded here.
        legacyProvider = OSSL_PROVIDER_load(nullptr, "legacy");
        if (!legacyProvider) {
            LLOG(lm::warningLog())
                << "usm: cannot load the OpenSSL legacy provider, DES privacy will fail\n";
        }
        defaultProvider = OSSL_PROVIDER_load(nullptr, "default");
        if (!defaultProvider) {
            LLOG(lm::errorLog()) << "usm: cannot load the OpenSSL default provider\n";
        }
        methods[0] = EVP_md5();
        methods[1] = EVP_sha1();
        methods[2] = EVP_sha224();
        methods[3] = EVP_sha256();
        methods[4] = EVP_sha384();
        methods[5] = EVP_sha512();
        return true;
    }();
    (void)done;
}

const EVP_MD* digestFor(uint32_t authProtocol) {
    initCrypto();
    return authProtocol < METHOD_COUNT ? methods[authProtocol] : nullptr;
}

size_t padBlockSize(const EVP_MD* md) {
    return md ? 2 * static_cast<size_t>(EVP_MD_get_block_size(md)) : PAD_BLOCK_SIZE;
}

size_t authParamSize(uint32_t authProtocol) {
    static const size_t sizes[METHOD_COUNT] = {12, 12, 16, 24, 32, 48};
    return authProtocol < METHOD_COUNT ? sizes[authProtocol] : 0;
}

const EVP_CIPHER* cipherFor(uint32_t privProtocol) {
    initCrypto();
    return privProtocol == 0 ? EVP_des_cbc() : EVP_aes_128_cfb128();
}

}  // namespace snmp
