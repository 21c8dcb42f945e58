// Binary encoding of lm::message, shared by the bus and the stores.
//
//   message  := version(1 octet = 1) fields
//   fields   := { key(u32 LE) value }            runs to the end of its range
//   value    := bool 1 octet (0/1) | u32 4 | u64 8 | ip6 16
//             | string/raw: u32 length + octets
//             | msg: u32 length + fields
//             | arrays: u32 count + elements (strings and messages length-prefixed)
//
// decode() treats its input as hostile: every length is checked against what is left
// of the enclosing range before anything is read or reserved.
#include <cstdio>
#include <cstring>

#include "platform/message.h"
#include "platform/message_field.h"

#include <algorithm>

namespace lm {

namespace {

constexpr uint8_t CODEC_VERSION = 1;

using Field = message::Field;

void putU32(bytes& out, uint32_t v) {
    uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    out.insert(out.end(), b, b + 4);
}

void putU64(bytes& out, uint64_t v) {
    putU32(out, uint32_t(v));
    putU32(out, uint32_t(v >> 32));
}

void patchU32(bytes& out, size_t at, uint32_t v) {
    out[at] = uint8_t(v);
    out[at + 1] = uint8_t(v >> 8);
    out[at + 2] = uint8_t(v >> 16);
    out[at + 3] = uint8_t(v >> 24);
}

void putBlob(bytes& out, const void* p, size_t n) {
    putU32(out, uint32_t(n));
    const auto* b = static_cast<const uint8_t*>(p);
    out.insert(out.end(), b, b + n);
}

void encodeFields(const message& m, bytes& out);

void encodeNested(const message& m, bytes& out) {
    size_t at = out.size();
    putU32(out, 0);
    encodeFields(m, out);
    patchU32(out, at, uint32_t(out.size() - at - 4));
}

void encodeFields(const message& m, bytes& out) {
    for (const Field& f : Field::list(m)) {
        putU32(out, f.key);
        switch (typeOf(f.key)) {
        case KT_BOOL: out.push_back(std::get<bool>(f.value) ? 1 : 0); break;
        case KT_U32: putU32(out, std::get<uint32_t>(f.value)); break;
        case KT_U64: putU64(out, std::get<uint64_t>(f.value)); break;
        case KT_IP6: {
            const auto& a = std::get<IPAddr6>(f.value);
            out.insert(out.end(), a.addr, a.addr + 16);
            break;
        }
        case KT_STRING: {
            const auto& s = std::get<std::string>(f.value);
            putBlob(out, s.data(), s.size());
            break;
        }
        case KT_RAW: {
            const auto& r = std::get<bytes>(f.value);
            putBlob(out, r.data(), r.size());
            break;
        }
        case KT_MSG: encodeNested(std::get<std::vector<message>>(f.value).front(), out); break;
        case KT_U32_ARRAY: {
            const auto& v = std::get<std::vector<uint32_t>>(f.value);
            putU32(out, uint32_t(v.size()));
            for (uint32_t x : v) putU32(out, x);
            break;
        }
        case KT_STRING_ARRAY: {
            const auto& v = std::get<std::vector<std::string>>(f.value);
            putU32(out, uint32_t(v.size()));
            for (const auto& s : v) putBlob(out, s.data(), s.size());
            break;
        }
        case KT_MSG_ARRAY: {
            const auto& v = std::get<std::vector<message>>(f.value);
            putU32(out, uint32_t(v.size()));
            for (const auto& e : v) encodeNested(e, out);
            break;
        }
        default: break;  // setters only create the types above
        }
    }
}

class Decoder {
public:
    Decoder(const uint8_t* data, size_t len) : base_(data), end_(data + len) {}

    bool run(message& out, std::string& why) {
        if (base_ == end_) return fail("empty input", why);
        if (size_t(end_ - base_) > MAX_ENCODED_SIZE) return fail("larger than the size limit", why);
        p_ = base_;
        if (*p_ != CODEC_VERSION) {
            why = "unsupported version " + std::to_string(*p_);
            return false;
        }
        ++p_;
        if (!fields(end_, out, 0)) return fail(nullptr, why);
        return true;
    }

private:
    bool fail(const char* what, std::string& why) {
        if (what) error_ = what;
        why = error_ + " at offset " + std::to_string(p_ - base_);
        return false;
    }
    bool bad(std::string what) {
        error_ = std::move(what);
        return false;
    }
    static std::string hex(uint32_t v) {
        char b[16];
        snprintf(b, sizeof b, "0x%08X", v);
        return b;
    }

    size_t left(const uint8_t* end) const { return size_t(end - p_); }

    bool u32(const uint8_t* end, uint32_t& v) {
        if (left(end) < 4) return bad("truncated");
        v = uint32_t(p_[0]) | uint32_t(p_[1]) << 8 | uint32_t(p_[2]) << 16 | uint32_t(p_[3]) << 24;
        p_ += 4;
        return true;
    }

    // A length or count field followed by at least n * unit octets.
    bool sized(const uint8_t* end, uint32_t& n, size_t unit, uint32_t key) {
        if (!u32(end, n)) return false;
        if (n > left(end) / unit)
            return bad((unit == 1 ? "length " : "count ") + std::to_string(n) +
                       " exceeds the remaining bytes in " + hex(key));
        return true;
    }

    bool blob(const uint8_t* end, uint32_t key, const uint8_t*& at, uint32_t& n) {
        if (!sized(end, n, 1, key)) return false;
        at = p_;
        p_ += n;
        return true;
    }

    bool nested(const uint8_t* end, uint32_t key, message& m, unsigned depth) {
        if (depth + 1 > MAX_DEPTH) return bad("nesting deeper than " + std::to_string(MAX_DEPTH));
        uint32_t n;
        if (!sized(end, n, 1, key)) return false;
        return fields(p_ + n, m, depth + 1);
    }

    bool fields(const uint8_t* end, message& m, unsigned depth) {
        auto& list = Field::list(m);
        // Five octets is the smallest field; the cap keeps a hostile length from
        // reserving much before any field has been read.
        list.reserve(std::min<size_t>(left(end) / 5, 32));
        while (p_ < end) {
            uint32_t key;
            if (!u32(end, key)) return false;
            list.emplace_back().key = key;  // filled in place; out is cleared on failure
            if (!value(end, list.back(), depth)) return false;
        }
        return unique(list);
    }

    bool value(const uint8_t* end, Field& f, unsigned depth) {
        const uint32_t key = f.key;
        switch (typeOf(key)) {
        case KT_BOOL:
            if (left(end) < 1) return bad("truncated");
            if (*p_ > 1) return bad("bool octet " + std::to_string(*p_) + " in " + hex(key));
            f.value = *p_++ == 1;
            return true;
        case KT_U32: {
            uint32_t v;
            if (!u32(end, v)) return false;
            f.value = v;
            return true;
        }
        case KT_U64: {
            uint32_t lo, hi;
            if (!u32(end, lo) || !u32(end, hi)) return false;
            f.value = uint64_t(hi) << 32 | lo;
            return true;
        }
        case KT_IP6: {
            if (left(end) < 16) return bad("truncated");
            IPAddr6 a;
            memcpy(a.addr, p_, 16);
            p_ += 16;
            f.value = a;
            return true;
        }
        case KT_STRING: {
            const uint8_t* at;
            uint32_t n;
            if (!blob(end, key, at, n)) return false;
            f.value = std::string(reinterpret_cast<const char*>(at), n);
            return true;
        }
        case KT_RAW: {
            const uint8_t* at;
            uint32_t n;
            if (!blob(end, key, at, n)) return false;
            f.value = bytes(at, at + n);
            return true;
        }
        case KT_MSG: {
            std::vector<message> one(1);
            if (!nested(end, key, one.front(), depth)) return false;
            f.value = std::move(one);
            return true;
        }
        case KT_U32_ARRAY: {
            uint32_t n;
            if (!sized(end, n, 4, key)) return false;
            std::vector<uint32_t> v(n);
            for (auto& x : v) u32(end, x);  // cannot fail: n * 4 octets were checked
            f.value = std::move(v);
            return true;
        }
        case KT_STRING_ARRAY: {
            uint32_t n;
            if (!sized(end, n, 4, key)) return false;
            std::vector<std::string> v;
            v.reserve(n);
            for (uint32_t i = 0; i < n; ++i) {
                const uint8_t* at;
                uint32_t len;
                if (!blob(end, key, at, len)) return false;
                v.emplace_back(reinterpret_cast<const char*>(at), len);
            }
            f.value = std::move(v);
            return true;
        }
        case KT_MSG_ARRAY: {
            uint32_t n;
            if (!sized(end, n, 4, key)) return false;
            std::vector<message> v(n);
            for (auto& e : v)
                if (!nested(end, key, e, depth)) return false;
            f.value = std::move(v);
            return true;
        }
        default: return bad("unknown type in key " + hex(key));
        }
    }

    // The same typed key twice would make equality and lookups ambiguous. Objects of a few
    // dozen fields are checked pair by pair: cheaper than sorting a copy of their keys.
    static constexpr size_t QUADRATIC_UNIQUE_LIMIT = 32;
    bool unique(const std::vector<Field>& list) {
        if (list.size() < 2) return true;
        if (list.size() <= QUADRATIC_UNIQUE_LIMIT) {
            for (size_t i = 1; i < list.size(); ++i)
                for (size_t j = 0; j < i; ++j)
                    if (list[i].key == list[j].key) return bad("duplicate key " + hex(list[i].key));
            return true;
        }
        std::vector<uint32_t> keys;
        keys.reserve(list.size());
        for (const auto& f : list) keys.push_back(f.key);
        std::sort(keys.begin(), keys.end());
        auto dup = std::adjacent_find(keys.begin(), keys.end());
        if (dup != keys.end()) return bad("duplicate key " + hex(*dup));
        return true;
    }

    const uint8_t* base_;
    const uint8_t* end_;
    const uint8_t* p_ = nullptr;
    std::string error_;
};

}  // namespace

void message::encode(bytes& out) const {
    out.push_back(CODEC_VERSION);
    encodeFields(*this, out);
}

bytes message::encode() const {
    bytes out;
    out.reserve(64 + fields_.size() * 12);
    encode(out);
    return out;
}

bool message::decode(const uint8_t* data, size_t len, message& out, std::string* error) {
    out.clear();
    std::string why;
    if (Decoder(data, len).run(out, why)) return true;
    out.clear();
    if (error) *error = "message: " + why;
    return false;
}

}  // namespace lm
