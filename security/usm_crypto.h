// User-based security cryptography: password-to-key derivation and localisation, HMAC from
// precomputed pad blocks, DES-CBC / AES-128-CFB of the scoped PDU and the reply's salt.
// Every function that takes an authentication protocol number has a twin taking the EVP
// digest itself; the number form looks it up in `methods` (an unknown number gives an empty
// key or a failed digest instead of reading past the table).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <openssl/evp.h>

#include "wire/v3info.h"

namespace snmp {

// Index 0 MD5, 1 SHA-1 (RFC 3414), 2 SHA-224, 3 SHA-256, 4 SHA-384, 5 SHA-512 (RFC 7860);
// filled by initCrypto(). Numbers stored before the SHA-2 ones existed keep their meaning.
constexpr size_t METHOD_COUNT = 6;
extern const EVP_MD* methods[METHOD_COUNT];

// The HMAC pad block of MD5, SHA-1, SHA-224 and SHA-256 (64-byte digest blocks): 64 bytes
// inner pad, then 64 bytes outer pad. SHA-384 and SHA-512 have 128-byte blocks: twice this.
constexpr size_t PAD_BLOCK_SIZE = 128;
size_t padBlockSize(const EVP_MD* md);
// The truncated HMAC that travels in msgAuthenticationParameters: 12 octets for MD5 and
// SHA-1 (HMAC-96), 16, 24, 32 and 48 for the SHA-2 protocols; 0 for an unknown number.
size_t authParamSize(uint32_t authProtocol);

// Loads the OpenSSL "legacy" (DES) and "default" providers and fills `methods`. Idempotent;
// the functions below call it themselves, the agent calls it once at start.
void initCrypto();
// methods[authProtocol], or nullptr when the number is out of range.
const EVP_MD* digestFor(uint32_t authProtocol);
// DES-CBC for 0, AES-128-CFB for every other value.
const EVP_CIPHER* cipherFor(uint32_t privProtocol);

// The password key: the digest of 1 MiB of the password repeated. Empty password -> empty key.
Octets passwordToAKey(const std::string& password, const EVP_MD* md);
Octets passwordToAKey(const std::string& password, uint32_t authProtocol);

// The localised key: digest(aKey, engineId, aKey).
Octets aKeyToBKey(const Octets& aKey, const Octets& engineId, const EVP_MD* md);
Octets aKeyToBKey(const Octets& aKey, const Octets& engineId, uint32_t authProtocol);

// The HMAC pad block of a localised key for the digest's block size (key cut at one
// block): 128 bytes, 256 for SHA-384 and SHA-512 (no digest: 128).
Octets bKeyToDKey(const Octets& bKey, const EVP_MD* md = nullptr);
Octets bKeyToDKey(const Octets& bKey, uint32_t authProtocol);

// HMAC of the whole message computed as if its authentication field [authPos, authPos +
// authLen) were zero; the message itself is not touched. result gets the full digest (16 or
// 20 bytes). False (result empty) when the field lies outside the message, the pad block is
// not 128 bytes or the digest is unknown.
bool digestMessage(Octets& result, const unsigned char* msg, size_t msgLen, const Octets& dKey,
                   size_t authPos, size_t authLen, const EVP_MD* md);
bool digestMessage(Octets& result, const unsigned char* msg, size_t msgLen, const Octets& dKey,
                   size_t authPos, size_t authLen, uint32_t authProtocol);
bool digestMessage(Octets& result, const Octets& msg, const Octets& dKey, size_t authPos,
                   size_t authLen, const EVP_MD* md);
bool digestMessage(Octets& result, const Octets& msg, const Octets& dKey, size_t authPos,
                   size_t authLen, uint32_t authProtocol);

// Encrypts or decrypts len bytes from in to out (out holds at least len bytes) with one
// cipher update. DES needs a key of 16 bytes or more, AES of 16; both need 8 bytes of
// msgPrivacyParameters. Decryption hands back every complete block. Output bytes past the
// last complete DES block are left as they were. True when the cipher accepted the data.
bool cryptMessage(const V3Info& info, const Octets& key, const unsigned char* in,
                  unsigned char* out, size_t len, uint32_t privProtocol, bool encrypt);

// Writes the reply's salt into info.msgPrivacyParameters (8 bytes): DES: engine boots
// (network order) and a 32-bit counter; AES (every number but 0): a 64-bit counter. Both
// counters start at a random value, so salts do not repeat within a boot.
void preparePrivParam(uint32_t privProtocol, V3Info& info);

}  // namespace snmp
