#include "wire/in_stream.h"

#include <algorithm>
#include <limits>
#include <ostream>

#include "platform/log.h"

namespace snmp {

lm::lstream& wireLog() {
    static lm::lstream stream("wire");
    return stream;
}

namespace {

constexpr int kNoLength = -1;  // getLen failed (it printed whatever there was to print)
constexpr int kOverflow = -2;  // contents run past the buffer; the caller names the field

constexpr size_t REQUEST_DEPTH = 8;

void say(const char* text) { LLOG(wireLog()) << "SNMP InStream: " << text << std::endl; }

}  // namespace

InStream::InStream(const unsigned char* data, unsigned len) {
    buf_.assign(data, data + len);
    // A request nests message, PDU, binding list and binding (an SNMPv3 one two more):
    // room for them all at once, rather than the stack growing three times per request.
    seqEnds_.reserve(REQUEST_DEPTH);
}

int InStream::getLen() {
    int32_t len = 0;
    return readLength(len) ? len : -1;
}

bool InStream::readLength(int32_t& len) {
    const size_t size = buf_.size();
    if (pos_ >= size) return false;
    const unsigned char b = buf_[pos_];
    if (!(b & 0x80)) {
        ++pos_;
        len = b;
        return true;
    }
    const unsigned n = b & 0x7F;
    if (n == 0) {
        say("we don't support indefinite lengths");
        return false;
    }
    if (n >= 5) {
        say("we can't support data lengths that long");
        return false;
    }
    ++pos_;
    if (size - pos_ < n) {
        say("malformed in getLen");
        return false;
    }
    uint32_t v = 0;
    for (unsigned i = 0; i < n; ++i) v = (v << 8) | buf_[pos_ + i];
    pos_ += n;
    len = static_cast<int32_t>(v);  // 0x80000000 and up come back negative: a failure
    return true;
}

int InStream::contentLen(int* declared) {
    if (pos_ < buf_.size()) ++pos_;  // the type octet, unchecked
    int32_t len = 0;
    if (!readLength(len)) return kNoLength;
    if (declared) *declared = len;
    if (len < 0 || static_cast<size_t>(len) > buf_.size() - pos_) return kOverflow;
    return len;
}

int InStream::enterSeq() {
    const int len = contentLen();
    if (len < 0) return -1;
    seqEnds_.push_back(pos_ + static_cast<size_t>(len));
    return len;
}

void InStream::exitSeq() {
    if (seqEnds_.empty()) {
        say("exitSeq when seqEndp is empty!");
        return;
    }
    pos_ = seqEnds_.back();
    seqEnds_.pop_back();
}

void InStream::saveSeq(StreamPos& saved) const {
    saved.pos = pos_;
    saved.seqEnds = seqEnds_;
}

void InStream::restoreSeq(const StreamPos& saved) {
    pos_ = saved.pos;
    seqEnds_ = saved.seqEnds;
}

void InStream::load(const unsigned char* data, unsigned len) {
    buf_.assign(data, data + len);
    buf2_.clear();
    securityLevel_ = 0;
    pos_ = 0;
    seqEnds_.clear();
    version_ = 0;
    versionRead_ = false;
}

void InStream::reset() {
    seqEnds_.clear();
    pos_ = 0;
}

int InStream::getVersion() {
    if (!versionRead_) {
        versionRead_ = true;
        unsigned int v = 0;
        // A message whose outer sequence does not fit the datagram is not read further.
        if (enterSeq() < 0 || !getInt(&v)) {
            version_ = -1;
        } else {
            version_ = static_cast<int32_t>(v);
        }
    }
    return version_;
}

bool InStream::getInt(unsigned int* out) {
    const int len = contentLen();
    if (len == kNoLength) return false;
    if (len == kOverflow) {
        say("get int overflow of message");
        return false;
    }
    const unsigned char* p = buf_.data() + pos_;
    uint32_t v = 0;
    if (len == 0) {
        v = 0;  // accepted leniently
    } else if (len <= 4) {
        v = (p[0] & 0x80) ? 0xFFFFFFFFu : 0u;
        for (int i = 0; i < len; ++i) v = (v << 8) | p[i];
    } else if (len == 5) {
        if (p[0] != 0) {
            say("I don't support such large integers 2");
            return false;
        }
        for (int i = 1; i < 5; ++i) v = (v << 8) | p[i];
    } else {
        say("I don't support such large integers");
        return false;
    }
    pos_ += static_cast<size_t>(len);
    *out = v;
    return true;
}

bool InStream::get64(unsigned long long* out) {
    const int len = contentLen();
    if (len == kNoLength) return false;
    if (len == kOverflow) {
        say("get 64 overflow of message");
        return false;
    }
    if (len > 8) {
        // Nine octets with a 00 lead (values from 2^63 up) are refused too; kept so.
        say("invalig counter64 size");
        return false;
    }
    unsigned long long v = 0;
    for (int i = 0; i < len; ++i) v = (v << 8) | buf_[pos_ + static_cast<size_t>(i)];
    pos_ += static_cast<size_t>(len);
    *out = v;
    return true;
}

bool InStream::getString(std::string* out) {
    const int len = contentLen();
    if (len == kNoLength) return false;
    if (len == kOverflow) {
        say("get string overflow of message");
        return false;
    }
    const char* p = reinterpret_cast<const char*>(buf_.data()) + pos_;
    out->assign(p, static_cast<size_t>(len));
    pos_ += static_cast<size_t>(len);
    return true;
}

int InStream::getStringBuf(unsigned char*& out) {
    const int len = contentLen();
    if (len == kNoLength) return 0;
    if (len == kOverflow) {
        say("get string overflow of message");
        return 0;
    }
    out = buf_.data() + pos_;
    pos_ += static_cast<size_t>(len);
    return len;
}

bool InStream::getOID(OID* out) {
    int declared = 0;
    const int len = contentLen(&declared);
    if (len == kNoLength) return false;
    if (len == kOverflow) {
        // The offset follows the text directly; the sign of a bogus length shows as is.
        LLOG(wireLog()) << "SNMP InStream: get oid overflow of message" << pos_ << ' '
                        << declared << ' ' << buf_.size() << std::endl;
        return false;
    }
    if (len == 0) {
        out->arcs().assign({0u, 0u});
        return true;
    }
    // First pass: find where the identifier ends, count its sub-identifiers and check that
    // each fits its arcs, so the output is touched only on success and keeps its capacity.
    // A last sub-identifier that runs past the declared length goes on into the following
    // octets, up to the buffer end.
    const unsigned char* const base = buf_.data();
    const size_t size = buf_.size();
    constexpr uint64_t maxArc = std::numeric_limits<unsigned int>::max();
    size_t p = pos_;
    long remaining = len;
    size_t subids = 0;
    while (remaining > 0) {
        // An arc is 32 bits; the first sub-identifier also carries the root arc (2.x is 80 + x).
        const uint64_t limit = subids == 0 ? maxArc + LAST_ROOT_ARC * ROOT_ARC_SPAN : maxArc;
        uint64_t v = 0;  // stays below 2^40: checked against limit after every octet
        for (;;) {
            if (p >= size) {
                pos_ = p;
                say("malformed oid");
                return false;
            }
            const unsigned char o = base[p++];
            --remaining;
            v = (v << SUBID_SHIFT) | (o & SUBID_BITS);
            if (v > limit) {
                pos_ = p;
                say("malformed oid");
                return false;
            }
            if (!(o & SUBID_MORE)) break;
        }
        ++subids;
    }
    OID::Arcs& a = out->arcs();
    a.resize(subids + 1);
    size_t q = pos_;
    for (size_t i = 0; i < subids; ++i) {
        uint64_t v = 0;
        unsigned char o;
        do {
            o = base[q++];
            v = (v << SUBID_SHIFT) | (o & SUBID_BITS);
        } while (o & SUBID_MORE);
        if (i == 0) {
            const uint64_t root = std::min<uint64_t>(v / ROOT_ARC_SPAN, LAST_ROOT_ARC);
            a[0] = static_cast<unsigned int>(root);
            a[1] = static_cast<unsigned int>(v - root * ROOT_ARC_SPAN);
        } else {
            a[i + 1] = static_cast<unsigned int>(v);
        }
    }
    pos_ = q;
    return true;
}

bool InStream::getBits(std::vector<unsigned char>* out) {
    const int len = contentLen();
    if (len == kNoLength) return false;
    if (len == kOverflow) {
        say("get bits overflow of message");
        return false;
    }
    if (len < 1 || buf_[pos_] >= 8) {
        say("Invalid bitstring");
        return false;
    }
    out->assign(buf_.begin() + static_cast<std::ptrdiff_t>(pos_),
                buf_.begin() + static_cast<std::ptrdiff_t>(pos_) + len);
    pos_ += static_cast<size_t>(len);
    return true;
}

bool InStream::getNull() {
    const int len = contentLen();
    if (len == kNoLength) return false;
    if (len != 0) {
        say("malformed null");
        return false;
    }
    return true;
}

}  // namespace snmp
