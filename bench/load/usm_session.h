// SNMPv3 requests for the load generator: one user of the user-based security model (HMAC
// MD5/SHA-1, optionally AES-128), the engine discovered once, then every request built,
// encrypted and signed afresh. Its own small USM on OpenSSL, not the agent's: the load must
// not share a bug with the thing it measures.
#pragma once

#include <openssl/evp.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/load/snmp_request.h"

namespace load {

struct UsmOptions {
    std::string user;
    std::string auth;  // "md5", "sha" or empty (noAuthNoPriv)
    std::string authPassword;
    std::string priv;  // "aes" or empty
    std::string privPassword;
};

class UsmSession {
public:
    // request: the community-based encoding of the wanted PDU (encodeRequest); its PDU is
    // carried in every v3 message.
    UsmSession(const UsmOptions& options, const EncodedRequest& request);
    ~UsmSession();
    UsmSession(const UsmSession&) = delete;
    UsmSession& operator=(const UsmSession&) = delete;

    // Learns the engine id (a discovery probe) and, for an authenticated user, the engine's
    // boots and time (a probe with boots and time 0), then derives the keys. fd is a
    // connected UDP socket; false with a reason when the engine does not answer.
    bool discover(int fd, unsigned timeoutMs, std::string& error);

    // The whole datagram of the request whose msgID and request-id are id.
    void encode(uint32_t id, std::vector<uint8_t>& out);

private:
    std::vector<uint8_t> message(uint32_t id, const std::vector<uint8_t>& engineId,
                                 uint32_t boots, uint32_t time, bool secure);
    bool exchange(int fd, unsigned timeoutMs, const std::vector<uint8_t>& request,
                  std::vector<uint8_t>& reply);

    UsmOptions options_;
    std::vector<uint8_t> pdu_;  // the PDU; request-id at idOffset_
    size_t idOffset_ = 0;
    const EVP_MD* md_ = nullptr;
    EVP_MD_CTX* inner_ = nullptr;  // HMAC: the pads already digested
    EVP_MD_CTX* outer_ = nullptr;
    EVP_MD_CTX* work_ = nullptr;
    EVP_CIPHER_CTX* cipher_ = nullptr;
    std::vector<uint8_t> privKey_;
    std::vector<uint8_t> engineId_;
    uint32_t boots_ = 0;
    uint32_t time_ = 0;
    std::chrono::steady_clock::time_point timeAt_;
    uint64_t salt_ = 0;
};

}  // namespace load
