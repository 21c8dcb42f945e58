// One digest context per thread, reused: HMAC runs on every authenticated request.
#pragma once

#include <openssl/evp.h>

namespace snmp {

EVP_MD_CTX* threadMdCtx();  // never null (aborts when OpenSSL cannot allocate one)

}  // namespace snmp
