#include "bench/load/snmp_request.h"

namespace load {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t MAX_DATAGRAM = 65507;  // largest UDP payload over IPv4

void appendLength(Bytes& out, size_t len) {
    if (len < 0x80) {
        out.push_back(static_cast<uint8_t>(len));
        return;
    }
    uint8_t octets[4];
    int n = 0;
    for (size_t v = len; v != 0; v >>= 8) octets[n++] = static_cast<uint8_t>(v);
    out.push_back(static_cast<uint8_t>(0x80 | n));
    while (n > 0) out.push_back(octets[--n]);
}

// tag, length, content; returns the number of octets in front of the content.
size_t appendTlv(Bytes& out, uint8_t tag, const Bytes& content) {
    const size_t start = out.size();
    out.push_back(tag);
    appendLength(out, content.size());
    const size_t head = out.size() - start;
    out.insert(out.end(), content.begin(), content.end());
    return head;
}

// Shortest two's complement form of a non-negative value.
Bytes integerContent(uint32_t value) {
    Bytes b;
    for (int shift = 24; shift > 0; shift -= 8) {
        const uint8_t octet = static_cast<uint8_t>(value >> shift);
        const uint8_t next = static_cast<uint8_t>(value >> (shift - 8));
        if (!b.empty() || octet != 0 || (next & 0x80)) b.push_back(octet);
    }
    if (!b.empty() && (b.front() & 0x80)) b.insert(b.begin(), 0);
    b.push_back(static_cast<uint8_t>(value));
    return b;
}

Bytes oidContent(const std::vector<uint32_t>& arcs) {
    Bytes b;
    auto base128 = [&b](uint32_t v) {
        uint8_t groups[5];
        int n = 0;
        do {
            groups[n++] = static_cast<uint8_t>(v & 0x7F);
            v >>= 7;
        } while (v != 0);
        while (n > 1) b.push_back(groups[--n] | 0x80);
        b.push_back(groups[0]);
    };
    base128(arcs[0] * 40 + arcs[1]);
    for (size_t i = 2; i < arcs.size(); ++i) base128(arcs[i]);
    return b;
}

// Reader over one TLV level; every step checks what is left.
struct Cursor {
    const uint8_t* p;
    const uint8_t* end;

    bool header(uint8_t& tag, size_t& len) {
        if (end - p < 2) return false;
        tag = *p++;
        uint8_t first = *p++;
        if (first < 0x80) {
            len = first;
        } else {
            int n = first & 0x7F;
            if (n == 0 || n > 4 || end - p < n) return false;
            len = 0;
            while (n-- > 0) len = (len << 8) | *p++;
        }
        return static_cast<size_t>(end - p) >= len;
    }
    bool integer(uint32_t& value) {
        uint8_t tag;
        size_t len;
        if (!header(tag, len) || tag != 0x02 || len == 0 || len > 5) return false;
        if (len == 5 && *p != 0) return false;
        uint64_t v = (*p & 0x80) ? ~uint64_t{0} : 0;  // sign-extend, then keep 32 bits
        for (size_t i = 0; i < len; ++i) v = (v << 8) | p[i];
        p += len;
        value = static_cast<uint32_t>(v);
        return true;
    }
    bool skip(uint8_t wanted) {
        uint8_t tag;
        size_t len;
        if (!header(tag, len) || tag != wanted) return false;
        p += len;
        return true;
    }
};

// Counts the bindings after error-status: error-index, then a sequence of name/value
// sequences. Leaves both counts 0 unless the whole list reads.
void countBindings(Cursor c, ReplyHead& head) {
    uint32_t errorIndex;
    uint8_t tag;
    size_t len;
    if (!c.integer(errorIndex) || !c.header(tag, len) || tag != 0x30) return;
    c.end = c.p + len;
    uint32_t bindings = 0;
    uint32_t exceptions = 0;
    while (c.p != c.end) {
        if (!c.header(tag, len) || tag != 0x30) return;
        Cursor binding{c.p, c.p + len};
        c.p += len;
        uint8_t valueTag;
        size_t valueLen;
        if (!binding.skip(0x06) || !binding.header(valueTag, valueLen)) return;
        binding.p += valueLen;
        if (binding.p != binding.end) return;
        ++bindings;
        if (valueTag >= 0x80 && valueTag <= 0x82) ++exceptions;
    }
    head.bindings = bindings;
    head.exceptions = exceptions;
}

}  // namespace

bool parseOid(const std::string& text, std::vector<uint32_t>& arcs) {
    arcs.clear();
    size_t i = text.size() > 0 && text[0] == '.' ? 1 : 0;
    if (i >= text.size()) return false;
    while (i < text.size()) {
        uint64_t v = 0;
        size_t digits = 0;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            v = v * 10 + static_cast<uint64_t>(text[i++] - '0');
            if (v > 0xFFFFFFFFu) return false;
            ++digits;
        }
        if (digits == 0) return false;
        arcs.push_back(static_cast<uint32_t>(v));
        if (i < text.size()) {
            if (text[i] != '.' || i + 1 == text.size()) return false;
            ++i;
        }
    }
    if (arcs.size() < 2 || arcs[0] > 2) return false;
    return arcs[0] == 2 ? arcs[1] <= 0xFFFFFFFFu - 80 : arcs[1] < 40;
}

bool encodeRequest(const RequestSpec& spec, EncodedRequest& out, std::string& error) {
    if (spec.oids.empty()) {
        error = "no OID to ask for";
        return false;
    }
    Bytes bindings;
    for (const std::string& text : spec.oids) {
        std::vector<uint32_t> arcs;
        if (!parseOid(text, arcs)) {
            error = "not an OID: " + text;
            return false;
        }
        Bytes binding;
        appendTlv(binding, 0x06, oidContent(arcs));
        binding.push_back(0x05);  // NULL value
        binding.push_back(0x00);
        appendTlv(bindings, 0x30, binding);
    }

    const bool bulk = spec.op == Operation::GetBulk;
    Bytes pdu = {0x02, 0x04, 0, 0, 0, 0};  // request-id, patched per request
    appendTlv(pdu, 0x02, integerContent(bulk ? spec.nonRepeaters : 0));
    appendTlv(pdu, 0x02, integerContent(bulk ? spec.maxRepetitions : 0));
    appendTlv(pdu, 0x30, bindings);

    Bytes message;
    appendTlv(message, 0x02, integerContent(static_cast<uint32_t>(spec.version)));
    appendTlv(message, 0x04, Bytes(spec.community.begin(), spec.community.end()));
    const uint8_t tag = bulk ? 0xA5 : spec.op == Operation::GetNext ? 0xA1 : 0xA0;
    appendTlv(message, tag, pdu);
    const size_t idInMessage = message.size() - pdu.size() + 2;  // past "02 04"

    out.bytes.clear();
    const size_t messageHead = appendTlv(out.bytes, 0x30, message);
    out.idOffset = messageHead + idInMessage;
    if (out.bytes.size() > MAX_DATAGRAM) {
        error = "request does not fit a datagram";
        return false;
    }
    return true;
}

void patchRequestId(uint8_t* datagram, size_t idOffset, uint32_t id) {
    datagram[idOffset] = static_cast<uint8_t>(id >> 24);
    datagram[idOffset + 1] = static_cast<uint8_t>(id >> 16);
    datagram[idOffset + 2] = static_cast<uint8_t>(id >> 8);
    datagram[idOffset + 3] = static_cast<uint8_t>(id);
}

bool readReplyHead(const uint8_t* data, size_t len, ReplyHead& out) {
    Cursor c{data, data + len};
    uint8_t tag;
    size_t n;
    if (!c.header(tag, n) || tag != 0x30) return false;
    c.end = c.p + n;
    uint32_t version;
    if (!c.integer(version)) return false;
    ReplyHead head;
    if (version == 3) {
        // msgID stands for the request-id (the generator sets both alike): an encrypted
        // reply shows nothing else, and its PDU tag stays 0.
        if (!c.header(tag, n) || tag != 0x30) return false;
        Cursor global{c.p, c.p + n};
        c.p += n;
        if (!global.integer(head.requestId) || !c.skip(0x04)) return false;
        if (!c.header(tag, n)) return false;
        if (tag == 0x04) {
            out = head;
            return true;
        }
        if (tag != 0x30) return false;
        c.end = c.p + n;
        if (!c.skip(0x04) || !c.skip(0x04)) return false;
        if (!c.header(tag, n) || (tag & 0xE0) != 0xA0) return false;
        c.end = c.p + n;
        uint32_t requestId = 0;
        head.pduTag = tag;
        if (!c.integer(requestId) || !c.integer(head.errorStatus)) return false;
        out = head;
        return true;
    }
    if (!c.skip(0x04)) return false;
    if (!c.header(tag, n) || (tag & 0xE0) != 0xA0) return false;
    c.end = c.p + n;
    head.pduTag = tag;
    if (!c.integer(head.requestId) || !c.integer(head.errorStatus)) return false;
    countBindings(c, head);
    out = head;
    return true;
}

}  // namespace load
