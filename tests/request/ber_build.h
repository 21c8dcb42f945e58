// A tiny, independent BER builder for request and expected-reply bytes in tests, so the
// agent's writer is never checked against itself.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace bertest {

using Bytes = std::vector<uint8_t>;

inline Bytes tlv(uint8_t tag, const Bytes& body) {
    Bytes out{tag};
    size_t n = body.size();
    if (n < 128) {
        out.push_back(static_cast<uint8_t>(n));
    } else if (n < 256) {
        out.push_back(0x81);
        out.push_back(static_cast<uint8_t>(n));
    } else {
        out.push_back(0x82);
        out.push_back(static_cast<uint8_t>(n >> 8));
        out.push_back(static_cast<uint8_t>(n));
    }
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

inline Bytes cat(const std::vector<Bytes>& parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline Bytes seq(const std::vector<Bytes>& parts, uint8_t tag = 0x30) { return tlv(tag, cat(parts)); }

// Minimal two's-complement INTEGER (or an unsigned application type when tag != 2).
inline Bytes integer(int64_t v, uint8_t tag = 0x02) {
    Bytes body;
    for (int shift = 32; shift >= 0; shift -= 8) body.push_back(static_cast<uint8_t>(v >> shift));
    while (body.size() > 1 && ((body[0] == 0 && !(body[1] & 0x80)) ||
                               (body[0] == 0xFF && (body[1] & 0x80))))
        body.erase(body.begin());
    return tlv(tag, body);
}

inline Bytes octets(const std::string& s, uint8_t tag = 0x04) { return tlv(tag, Bytes(s.begin(), s.end())); }
inline Bytes null(uint8_t tag = 0x05) { return Bytes{tag, 0}; }

inline Bytes oid(const std::string& dotted) {
    std::vector<uint32_t> arcs;
    std::stringstream ss(dotted[0] == '.' ? dotted.substr(1) : dotted);
    std::string part;
    while (std::getline(ss, part, '.')) arcs.push_back(static_cast<uint32_t>(std::stoul(part)));
    Bytes body{static_cast<uint8_t>(arcs[0] * 40 + arcs[1])};
    for (size_t i = 2; i < arcs.size(); ++i) {
        uint32_t a = arcs[i];
        Bytes groups{static_cast<uint8_t>(a & 0x7F)};
        for (a >>= 7; a; a >>= 7) groups.insert(groups.begin(), static_cast<uint8_t>(0x80 | (a & 0x7F)));
        body.insert(body.end(), groups.begin(), groups.end());
    }
    return tlv(0x06, body);
}

inline Bytes vb(const std::string& name, const Bytes& value) { return seq({oid(name), value}); }

// A whole community-based message.
inline Bytes message(int version, const std::string& community, uint8_t pdu, int32_t requestId,
                     int64_t f2, int64_t f3, const std::vector<Bytes>& bindings) {
    Bytes list = tlv(0x30, cat(bindings));
    return seq({integer(version), octets(community),
                tlv(pdu, cat({integer(requestId), integer(f2), integer(f3), list}))});
}

inline std::string hex(const Bytes& b) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (uint8_t x : b) {
        out += digits[x >> 4];
        out += digits[x & 15];
        out += ' ';
    }
    return out;
}

}  // namespace bertest
