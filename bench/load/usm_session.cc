#include "bench/load/usm_session.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace load {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t FLAG_AUTH = 0x01, FLAG_PRIV = 0x02, FLAG_REPORTABLE = 0x04;
constexpr size_t MAC_SIZE = 12;  // HMAC-96
constexpr size_t HMAC_BLOCK = 64;
constexpr uint32_t MAX_SIZE = 65507;
constexpr uint32_t PROBE_ID = 1;

void tlv(Bytes& out, uint8_t tag, const Bytes& body) {
    out.push_back(tag);
    const size_t n = body.size();
    if (n < 0x80) {
        out.push_back(static_cast<uint8_t>(n));
    } else if (n < 0x100) {
        out.push_back(0x81);
        out.push_back(static_cast<uint8_t>(n));
    } else {
        out.push_back(0x82);
        out.push_back(static_cast<uint8_t>(n >> 8));
        out.push_back(static_cast<uint8_t>(n));
    }
    out.insert(out.end(), body.begin(), body.end());
}

// INTEGER in four content octets (values below 2^31 only), or in five for the rest.
void integer(Bytes& out, uint32_t v) {
    Bytes b{static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
    if (b[0] & 0x80) b.insert(b.begin(), 0);
    tlv(out, 0x02, b);
}

// The RFC 3414 password-to-key transform and its localisation.
Bytes localizedKey(const std::string& password, const Bytes& engineId, const EVP_MD* md) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    EVP_DigestInit_ex(ctx, md, nullptr);
    uint8_t chunk[64];
    for (size_t done = 0; done < 1048576; done += sizeof chunk) {
        for (size_t j = 0; j < sizeof chunk; ++j) chunk[j] = static_cast<uint8_t>(password[(done + j) % password.size()]);
        EVP_DigestUpdate(ctx, chunk, sizeof chunk);
    }
    uint8_t key[EVP_MAX_MD_SIZE];
    unsigned n = 0;
    EVP_DigestFinal_ex(ctx, key, &n);
    EVP_DigestInit_ex(ctx, md, nullptr);
    EVP_DigestUpdate(ctx, key, n);
    EVP_DigestUpdate(ctx, engineId.data(), engineId.size());
    EVP_DigestUpdate(ctx, key, n);
    uint8_t local[EVP_MAX_MD_SIZE];
    EVP_DigestFinal_ex(ctx, local, &n);
    EVP_MD_CTX_free(ctx);
    return Bytes(local, local + n);
}

// Reads one TLV header; false past the end.
bool header(const uint8_t*& p, const uint8_t* end, uint8_t& tag, size_t& len) {
    if (end - p < 2) return false;
    tag = *p++;
    const uint8_t first = *p++;
    len = first;
    if (first & 0x80) {
        int n = first & 0x7F;
        if (n == 0 || n > 2 || end - p < n) return false;
        len = 0;
        while (n-- > 0) len = (len << 8) | *p++;
    }
    return static_cast<size_t>(end - p) >= len;
}

uint32_t number(const uint8_t* p, size_t len) {
    uint32_t v = 0;
    for (size_t i = 0; i < len; ++i) v = (v << 8) | p[i];
    return v;
}

// The authoritative engine id, boots and time of a v3 reply.
bool readEngine(const Bytes& reply, Bytes& id, uint32_t& boots, uint32_t& time) {
    const uint8_t* p = reply.data();
    const uint8_t* end = p + reply.size();
    uint8_t tag;
    size_t len;
    if (!header(p, end, tag, len) || tag != 0x30) return false;
    for (int skip = 0; skip < 2; ++skip) {  // version, msgGlobalData
        if (!header(p, end, tag, len)) return false;
        p += len;
    }
    if (!header(p, end, tag, len) || tag != 0x04) return false;     // msgSecurityParameters
    if (!header(p, end, tag, len) || tag != 0x30) return false;
    if (!header(p, end, tag, len) || tag != 0x04) return false;
    id.assign(p, p + len);
    p += len;
    if (!header(p, end, tag, len) || tag != 0x02) return false;
    boots = number(p, len);
    p += len;
    if (!header(p, end, tag, len) || tag != 0x02) return false;
    time = number(p, len);
    return true;
}

}  // namespace

UsmSession::UsmSession(const UsmOptions& options, const EncodedRequest& request)
    : options_(options) {
    // The community-based encoding: message, version, community, then the PDU.
    const uint8_t* p = request.bytes.data();
    const uint8_t* end = p + request.bytes.size();
    uint8_t tag = 0;
    size_t len = 0;
    header(p, end, tag, len);
    for (int skip = 0; skip < 2; ++skip) {
        header(p, end, tag, len);
        p += len;
    }
    const size_t start = static_cast<size_t>(p - request.bytes.data());
    pdu_.assign(p, end);
    idOffset_ = request.idOffset - start;
    if (options_.auth == "md5") md_ = EVP_md5();
    if (options_.auth == "sha") md_ = EVP_sha1();
}

UsmSession::~UsmSession() {
    EVP_MD_CTX_free(inner_);
    EVP_MD_CTX_free(outer_);
    EVP_MD_CTX_free(work_);
    EVP_CIPHER_CTX_free(cipher_);
}

bool UsmSession::exchange(int fd, unsigned timeoutMs, const Bytes& request, Bytes& reply) {
    if (send(fd, request.data(), request.size(), 0) < 0) return false;
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(timeoutMs)) != 1) return false;
    reply.resize(65536);
    const ssize_t n = recv(fd, reply.data(), reply.size(), 0);
    if (n <= 0) return false;
    reply.resize(static_cast<size_t>(n));
    return true;
}

bool UsmSession::discover(int fd, unsigned timeoutMs, std::string& error) {
    Bytes reply;
    uint32_t boots = 0, time = 0;
    if (!exchange(fd, timeoutMs, message(PROBE_ID, {}, 0, 0, false), reply) ||
        !readEngine(reply, engineId_, boots, time)) {
        error = "no answer to the SNMPv3 discovery probe";
        return false;
    }
    if (md_) {
        const Bytes key = localizedKey(options_.authPassword, engineId_, md_);
        uint8_t pads[2][HMAC_BLOCK];
        for (size_t i = 0; i < HMAC_BLOCK; ++i) {
            const uint8_t b = i < key.size() ? key[i] : 0;
            pads[0][i] = b ^ 0x36;
            pads[1][i] = b ^ 0x5C;
        }
        inner_ = EVP_MD_CTX_new();
        outer_ = EVP_MD_CTX_new();
        work_ = EVP_MD_CTX_new();
        EVP_DigestInit_ex(inner_, md_, nullptr);
        EVP_DigestUpdate(inner_, pads[0], HMAC_BLOCK);
        EVP_DigestInit_ex(outer_, md_, nullptr);
        EVP_DigestUpdate(outer_, pads[1], HMAC_BLOCK);
        if (options_.priv == "aes") {
            privKey_ = localizedKey(options_.privPassword, engineId_, md_);
            cipher_ = EVP_CIPHER_CTX_new();
            EVP_CipherInit_ex(cipher_, EVP_aes_128_cfb128(), nullptr, privKey_.data(), nullptr, 1);
        }
        // The engine's clock: an authenticated probe with boots and time 0 earns a signed
        // notInTimeWindow report that carries them (or, in the window, a Response).
        timeAt_ = std::chrono::steady_clock::now();
        if (!exchange(fd, timeoutMs, message(PROBE_ID, engineId_, 0, 0, true), reply) ||
            !readEngine(reply, engineId_, boots, time)) {
            error = "no answer to the SNMPv3 time probe";
            return false;
        }
    }
    boots_ = boots;
    time_ = time;
    timeAt_ = std::chrono::steady_clock::now();
    salt_ = static_cast<uint64_t>(timeAt_.time_since_epoch().count());
    return true;
}

void UsmSession::encode(uint32_t id, Bytes& out) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now() - timeAt_);
    out = message(id, engineId_, boots_, time_ + static_cast<uint32_t>(elapsed.count()), true);
}

Bytes UsmSession::message(uint32_t id, const Bytes& engineId, uint32_t boots, uint32_t time,
                          bool secure) {
    const bool auth = secure && md_;
    const bool priv = auth && cipher_;
    Bytes pdu = pdu_;
    for (int i = 0; i < 4; ++i) pdu[idOffset_ + i] = static_cast<uint8_t>(id >> (24 - 8 * i));
    if (!secure) {  // the discovery probe: a Get of nothing
        pdu.clear();
        Bytes body;
        integer(body, id);
        body.insert(body.end(), {0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x00});
        tlv(pdu, 0xA0, body);
    }
    Bytes scopedBody;
    tlv(scopedBody, 0x04, engineId);
    tlv(scopedBody, 0x04, {});
    scopedBody.insert(scopedBody.end(), pdu.begin(), pdu.end());
    Bytes scoped;
    tlv(scoped, 0x30, scopedBody);

    Bytes salt;
    if (priv) {
        const uint64_t s = salt_++;
        for (int i = 0; i < 8; ++i) salt.push_back(static_cast<uint8_t>(s >> (56 - 8 * i)));
        uint8_t iv[16];
        for (int i = 0; i < 4; ++i) iv[i] = static_cast<uint8_t>(boots >> (24 - 8 * i));
        for (int i = 0; i < 4; ++i) iv[4 + i] = static_cast<uint8_t>(time >> (24 - 8 * i));
        std::copy(salt.begin(), salt.end(), iv + 8);
        EVP_CipherInit_ex(cipher_, nullptr, nullptr, nullptr, iv, 1);
        Bytes encrypted(scoped.size());
        int n = 0;
        EVP_CipherUpdate(cipher_, encrypted.data(), &n, scoped.data(), static_cast<int>(scoped.size()));
        scoped.clear();
        tlv(scoped, 0x04, encrypted);
    }

    Bytes usmBody;
    tlv(usmBody, 0x04, engineId);
    integer(usmBody, boots);
    integer(usmBody, time);
    tlv(usmBody, 0x04, Bytes(options_.user.begin(), options_.user.end()));
    tlv(usmBody, 0x04, Bytes(auth ? MAC_SIZE : 0, 0));
    const size_t macFromEnd = usmBody.size();  // the field's end, counted in usmBody
    tlv(usmBody, 0x04, salt);
    Bytes usm;
    tlv(usm, 0x30, usmBody);

    Bytes global;
    integer(global, id);
    integer(global, MAX_SIZE);
    const uint8_t flags = FLAG_REPORTABLE | (auth ? FLAG_AUTH : 0) | (priv ? FLAG_PRIV : 0);
    tlv(global, 0x04, {flags});
    integer(global, 3);

    Bytes body{0x02, 0x01, 0x03};
    tlv(body, 0x30, global);
    tlv(body, 0x04, usm);
    const size_t usmEnd = body.size();
    body.insert(body.end(), scoped.begin(), scoped.end());
    Bytes msg;
    tlv(msg, 0x30, body);
    if (auth) {
        // The digest field ends where usmBody's salt TLV starts, inside the two headers.
        const size_t usmBodyStart = msg.size() - body.size() + usmEnd - usmBody.size();
        const size_t at = usmBodyStart + macFromEnd - MAC_SIZE;
        uint8_t inner[EVP_MAX_MD_SIZE], outer[EVP_MAX_MD_SIZE];
        unsigned n = 0;
        EVP_MD_CTX_copy_ex(work_, inner_);
        EVP_DigestUpdate(work_, msg.data(), msg.size());
        EVP_DigestFinal_ex(work_, inner, &n);
        EVP_MD_CTX_copy_ex(work_, outer_);
        EVP_DigestUpdate(work_, inner, n);
        EVP_DigestFinal_ex(work_, outer, &n);
        std::copy_n(outer, MAC_SIZE, msg.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return msg;
}

}  // namespace load
