// The streams' user-based security steps: checking and decrypting a request, encrypting
// and signing its reply.
#include <algorithm>
#include <ostream>

#include "platform/log.h"
#include "security/item.h"
#include "security/usm_crypto.h"
#include "wire/in_stream.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

constexpr size_t DES_BLOCK = 8;
constexpr unsigned char DES_FILLER = 0x05;

// Compares every octet whatever the first difference, so the time taken tells nothing
// about how much of a forged digest was right.
bool sameOctets(const unsigned char* a, const unsigned char* b, size_t n) {
    unsigned char diff = 0;
    for (size_t i = 0; i < n; ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

void toLocalEngine(V3Info& info, uint32_t engineTime, const V3ServerInfo& server) {
    info.msgAuthoritativeEngineBoots = server.engineBoots;
    info.msgAuthoritativeEngineTime = engineTime;
}

}  // namespace

int InStream::decryptAndCheckSignature(V3Info& info, uint32_t engineTime, const Item& item,
                                       const V3ServerInfo& server) {
    // The digest covers the message exactly as received, before anything is decrypted. A
    // field of any length but the protocol's (12 octets for HMAC-96) is a wrong digest.
    Octets mac;
    const Octets& got = info.msgAuthenticationParameters;
    const size_t size = authParamSize(item.authProtocol);
    if (size == 0 || got.size() != size ||
        !digestMessage(mac, buf_, item.authKey, info.authPosition, got.size(),
                       item.authProtocol) ||
        mac.size() < size || !sameOctets(mac.data(), got.data(), size)) {
        toLocalEngine(info, engineTime, server);
        return V3_WRONG_DIGEST;
    }

    if (securityLevel_ == 2) {
        // The request's boots and time are still in info: the AES IV is made of them.
        if (getType() != tag::OCTET_STRING) return V3_DECRYPTION_ERROR;
        const int len = contentLen();
        if (len < 0) return V3_DECRYPTION_ERROR;
        const size_t start = pos_;
        const size_t n = static_cast<size_t>(len);
        if (item.privProtocol == 0 && n % DES_BLOCK != 0) return V3_DECRYPTION_ERROR;
        buf2_.assign(buf_.begin(), buf_.begin() + static_cast<std::ptrdiff_t>(start));
        buf2_.resize(start + n);
        if (!cryptMessage(info, item.privKey, buf_.data() + start, buf2_.data() + start, n,
                          item.privProtocol, false))
            return V3_DECRYPTION_ERROR;
        // Read on in the plaintext; the received octets stay in buf2_.
        std::swap(buf_, buf2_);
        pos_ = start;
        for (size_t& end : seqEnds_) end = std::min(end, buf_.size());
    }
    // A plaintext that is no scoped PDU: the keys did not match the manager's. Sent in
    // plain text, it is just malformed.
    if (!readScopedPduHeader(info)) return securityLevel_ == 2 ? V3_DECRYPTION_ERROR : V3_MALFORMED;

    toLocalEngine(info, engineTime, server);
    if (securityLevel_ == 2) preparePrivParam(item.privProtocol, info);
    return V3_ACCEPTED;
}

bool OutStream::cryptPacket(const V3Info* info, const Octets& privKey, uint32_t privProtocol) {
    endSeq();  // the scoped PDU
    if (securityLevel_ < 2) return true;
    const size_t start = scopedPduMark_;
    if (start == 0 || start > buf_.size()) return false;
    // DES works in whole blocks; AES-CFB takes any length.
    if (privProtocol == 0)
        while ((buf_.size() - start) % DES_BLOCK != 0) buf_.push_back(DES_FILLER);
    const size_t n = buf_.size() - start;
    Octets encrypted(n);
    if (!cryptMessage(*info, privKey, buf_.data() + start, encrypted.data(), n, privProtocol,
                      true))
        return false;
    truncate(start);
    add(encrypted.data(), static_cast<unsigned>(n), tag::OCTET_STRING);
    return true;
}

void OutStream::signPacket(const V3Info* info, const Octets& authKey, uint32_t authProtocol) {
    if (securityLevel_ == 0) return;
    const size_t n = info->msgAuthenticationParameters.size();
    if (authMark_ == 0 || authMark_ + n > buf_.size()) return;
    std::fill_n(buf_.begin() + static_cast<std::ptrdiff_t>(authMark_), n, 0);
    Octets mac;
    if (!digestMessage(mac, buf_, authKey, authMark_, n, authProtocol)) return;
    std::copy_n(mac.begin(), std::min(n, mac.size()),
                buf_.begin() + static_cast<std::ptrdiff_t>(authMark_));
}

}  // namespace snmp
