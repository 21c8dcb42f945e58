#include "wire/out_stream.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <ostream>

#include "platform/log.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// Only the program itself can ask for these, so they are faults, logged as errors.
void say(const char* text) { LLOG(lm::errorLog()) << "SNMP OutStream: " << text << std::endl; }

// A 32-bit value of either signedness takes at most a 00 lead and four octets.
constexpr size_t kMaxIntOctets = 5;

// Minimal two's complement contents of v (127 is 7f, 128 is 00 80, -128 is 80, -129 is
// ff 7f): the first octet goes while its bits and the next octet's top bit all match.
inline size_t intContents(int64_t v, unsigned char* out) {
    size_t n = kMaxIntOctets;
    while (n > 1) {
        const int64_t top9 = v >> (8 * n - 9);
        if (top9 != 0 && top9 != -1) break;
        --n;
    }
    for (size_t i = n; i-- > 0;) *out++ = static_cast<unsigned char>(v >> (8 * i));
    return n;
}

// Names up to this many arcs are encoded on the stack first (SNMP allows 128).
constexpr size_t STACK_ENCODED_ARCS = 128;

// Octets of one sub-identifier in base 128 (up to 5 for the 33 bits of 2.x).
inline size_t subidOctets(uint64_t v) {
    size_t n = 1;
    while (v >> (SUBID_SHIFT * n)) ++n;
    return n;
}

// Writes v in base 128 at out, most significant group first; returns the octet after it.
inline unsigned char* putSubid(uint64_t v, unsigned char* out) {
    for (size_t g = subidOctets(v); g-- > 0;) {
        unsigned char o = static_cast<unsigned char>((v >> (SUBID_SHIFT * g)) & SUBID_BITS);
        if (g != 0) o |= SUBID_MORE;
        *out++ = o;
    }
    return out;
}

// Octets a close adds after the placeholder for contents of len octets: 81 n or 82 hi lo.
// None from 65,536 up either: endSeq refuses those and leaves the placeholder.
size_t lengthWidening(size_t len) {
    if (len < 128 || len >= 65536) return 0;
    return len < 256 ? 1 : 2;
}

}  // namespace

OutStream::OutStream() {
    buf_.reserve(1500);  // one Ethernet frame's worth covers nearly every reply
    seqStarts_.reserve(8);
}

void OutStream::addLen(unsigned int n) {
    if (n < 128) {
        buf_.push_back(static_cast<unsigned char>(n));
    } else if (n < 256) {
        buf_.push_back(0x81);
        buf_.push_back(static_cast<unsigned char>(n));
    } else {
        // No wider form: 65,536 and up come out truncated, as they always have.
        buf_.push_back(0x82);
        buf_.push_back(static_cast<unsigned char>(n >> 8));
        buf_.push_back(static_cast<unsigned char>(n));
    }
}

void OutStream::add(unsigned int v, unsigned char tag) {
    // INTEGER is signed; every other tag with a 32-bit value (Counter32, Gauge32, TimeTicks,
    // IpAddress...) is unsigned, so a 00 lead keeps a value with its top bit set positive.
    const int64_t value = tag == tag::INTEGER ? int64_t{static_cast<int32_t>(v)} : int64_t{v};
    unsigned char field[2 + kMaxIntOctets];
    const size_t n = intContents(value, field + 2);
    field[0] = tag;
    field[1] = static_cast<unsigned char>(n);
    buf_.insert(buf_.end(), field, field + 2 + n);
}

void OutStream::add(unsigned long long v, unsigned char tag) {
    buf_.push_back(tag);
    unsigned n = 8;
    if (v >> 63) {
        buf_.push_back(9);
        buf_.push_back(0);
    } else {
        while (n > 1 && (v >> (8 * n - 9)) == 0) --n;
        buf_.push_back(static_cast<unsigned char>(n));
    }
    for (unsigned i = n; i-- > 0;) buf_.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

void OutStream::add(const unsigned char* p, unsigned int n, unsigned char tag) {
    buf_.push_back(tag);
    addLen(n);
    buf_.insert(buf_.end(), p, p + n);
}

void OutStream::add(const std::string& s, unsigned char tag) {
    add(reinterpret_cast<const unsigned char*>(s.data()), static_cast<unsigned int>(s.size()),
        tag);
}

void OutStream::addBits(const unsigned char* p, unsigned int n, unsigned char tag) {
    if (n == 0 || p[0] >= 8) {
        say("building invalid bitstring");
        return;
    }
    add(p, n, tag);
}

void OutStream::addNull(unsigned char tag) {
    buf_.push_back(tag);
    buf_.push_back(0);
}

void OutStream::addOID(const OID& oid, unsigned char tag) {
    if (oid.size() < 2) {
        say("cannot encode OID shorter that 2");
        return;
    }
    if (oid[0] > LAST_ROOT_ARC || (oid[0] < LAST_ROOT_ARC && oid[1] >= ROOT_ARC_SPAN)) {
        say("encoding invalid OID");
        return;
    }
    const uint64_t first = uint64_t{oid[0]} * ROOT_ARC_SPAN + oid[1];
    // Names of usual length are encoded in one pass on the stack (an arc takes at most 5
    // octets, the first 10) and appended; arcs below 128, nearly all, are one octet.
    if (oid.size() <= STACK_ENCODED_ARCS) {
        unsigned char encoded[10 + 5 * STACK_ENCODED_ARCS];
        unsigned char* out = putSubid(first, encoded);
        for (size_t i = 2; i < oid.size(); ++i) {
            const unsigned int arc = oid[i];
            if (arc <= SUBID_BITS) {
                *out++ = static_cast<unsigned char>(arc);
            } else {
                out = putSubid(arc, out);
            }
        }
        add(encoded, static_cast<unsigned int>(out - encoded), tag);
        return;
    }
    // Longer ones straight into the message: size the contents first, then fill them in.
    size_t len = subidOctets(first);
    for (size_t i = 2; i < oid.size(); ++i) len += subidOctets(oid[i]);
    buf_.push_back(tag);
    addLen(static_cast<unsigned int>(len));
    const size_t at = buf_.size();
    buf_.resize(at + len);
    unsigned char* out = putSubid(first, buf_.data() + at);
    for (size_t i = 2; i < oid.size(); ++i) out = putSubid(oid[i], out);
}

void OutStream::startSeq(unsigned char tag) {
    buf_.push_back(tag);
    buf_.push_back(0);  // placeholder, patched by endSeq
    seqStarts_.push_back(buf_.size());
}

void OutStream::endSeq() {
    if (seqStarts_.empty()) {
        say("no sequence");
        return;
    }
    const size_t o = seqStarts_.back();
    seqStarts_.pop_back();
    const size_t len = buf_.size() - o;
    if (len >= 65536) {
        say("sequence too long");
        return;
    }
    const size_t k = lengthWidening(len);
    if (k == 0) {
        buf_[o - 1] = static_cast<unsigned char>(len);
        return;
    }
    buf_[o - 1] = static_cast<unsigned char>(0x80 | k);  // long form: count of length octets
    const unsigned char ins[2] = {static_cast<unsigned char>(len >> 8),
                                  static_cast<unsigned char>(len)};
    buf_.insert(buf_.begin() + static_cast<std::ptrdiff_t>(o), ins + 2 - k, ins + 2);
    shiftOffsets(o, static_cast<std::ptrdiff_t>(k));
}

size_t OutStream::closedSize() const {
    size_t size = buf_.size();
    // Innermost first: each close's widening is part of the contents of the one around it.
    for (size_t i = seqStarts_.size(); i-- > 0;) size += lengthWidening(size - seqStarts_[i]);
    return size;
}

void OutStream::shiftOffsets(size_t from, std::ptrdiff_t delta) {
    const auto shift = [&](size_t& at) {
        if (at >= from) at = static_cast<size_t>(static_cast<std::ptrdiff_t>(at) + delta);
    };
    for (size_t& start : seqStarts_) shift(start);
    if (authMark_ != 0) shift(authMark_);
    if (scopedPduMark_ != 0) shift(scopedPduMark_);
    if (errorStatus_.at != ErrorField::npos) shift(errorStatus_.at);
    if (errorIndex_.at != ErrorField::npos) shift(errorIndex_.at);
}

void OutStream::setErrorField(ErrorField& field, uint32_t value) {
    if (field.at == ErrorField::npos) {
        field = {buf_.size(), seqStarts_.size()};
        const unsigned char zero[] = {tag::INTEGER, 1, 0};
        buf_.insert(buf_.end(), zero, zero + sizeof zero);
    }
    // Only a direct edit of the buffer can have cut the field; there is nothing to patch.
    if (field.at + 2 > buf_.size() || field.at + 2 + buf_[field.at + 1] > buf_.size()) return;
    unsigned char enc[2 + kMaxIntOctets];
    const size_t n = intContents(int64_t{value}, enc + 2);
    enc[0] = tag::INTEGER;
    enc[1] = static_cast<unsigned char>(n);
    const size_t oldSize = 2 + size_t{buf_[field.at + 1]};
    const size_t newSize = 2 + n;
    const auto at = buf_.begin() + static_cast<std::ptrdiff_t>(field.at);
    if (newSize != oldSize) {
        // The lengths of closed sequences around the field are final and would be wrong.
        size_t around = 0;
        for (size_t start : seqStarts_) around += start <= field.at;
        if (around < field.depth) {
            say("error field resized after its sequence was closed");
            return;
        }
        const size_t end = field.at + oldSize;
        if (newSize > oldSize) {
            buf_.insert(at + static_cast<std::ptrdiff_t>(oldSize), newSize - oldSize, 0);
        } else {
            buf_.erase(at + static_cast<std::ptrdiff_t>(newSize),
                       at + static_cast<std::ptrdiff_t>(oldSize));
        }
        shiftOffsets(end, static_cast<std::ptrdiff_t>(newSize) -
                              static_cast<std::ptrdiff_t>(oldSize));
    }
    std::copy(enc, enc + newSize, buf_.begin() + static_cast<std::ptrdiff_t>(field.at));
}

void OutStream::addErrorStatus(uint32_t status) { setErrorField(errorStatus_, status); }

void OutStream::addErrorIndex(uint32_t index) { setErrorField(errorIndex_, index); }

void OutStream::addByType(const std::string& text, unsigned char type) {
    switch (type) {
        case 0x06:
            addOID(OID(text), 0x06);
            break;
        case 0x04:
            add(text, 0x04);
            break;
        case 0x05:
            addNull(0x05);
            break;
        case 0x40:
            // Written by the integer rule: minimal, with a 00 lead from 128.0.0.0 up.
            add(static_cast<unsigned int>(ntohl(inet_addr(text.c_str()))), 0x40);
            break;
        case 0x02:
        case 0x41:
        case 0x43:
        case 0x47:
            // atoi's result, without its undefined behaviour on out-of-range text.
            add(static_cast<unsigned int>(
                    static_cast<int>(std::strtol(text.c_str(), nullptr, 10))),
                type);
            break;
        default:
            break;  // Gauge32, Opaque, Counter64 and the rest: the binding keeps its name only
    }
}

void OutStream::addVarBind(const VariableBinding& vb) {
    startSeq(0x30);
    addOID(vb.name, 0x06);
    addByType(vb.value, static_cast<unsigned char>(vb.type));
    endSeq();
}

void OutStream::truncate(size_t n) {
    if (n >= buf_.size()) return;
    // A field cut anywhere is forgotten: the next call writes it afresh.
    for (ErrorField* f : {&errorStatus_, &errorIndex_}) {
        if (f->at != ErrorField::npos && (f->at + 2 > n || f->at + 2 + buf_[f->at + 1] > n)) {
            *f = ErrorField();
        }
    }
    buf_.resize(n);
    while (!seqStarts_.empty() && seqStarts_.back() > n) seqStarts_.pop_back();
    if (authMark_ > n) authMark_ = 0;
    if (scopedPduMark_ > n) scopedPduMark_ = 0;
}

OutStream::Snapshot OutStream::snapshot() const {
    return Snapshot{buf_, seqStarts_, authMark_, scopedPduMark_, errorStatus_, errorIndex_};
}

void OutStream::restore(const Snapshot& s) {
    buf_ = s.buf;
    seqStarts_ = s.seqStarts;
    authMark_ = s.authMark;
    scopedPduMark_ = s.scopedPduMark;
    errorStatus_ = s.errorStatus;
    errorIndex_ = s.errorIndex;
}

}  // namespace snmp
