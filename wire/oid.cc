#include "wire/oid.h"

#include <charconv>
#include <ostream>

namespace snmp {

OID::OID(const std::string& text) {
    const size_t n = text.size();
    size_t p = 0;
    while (p < n) {
        if (text[p] == '.') ++p;
        unsigned int value = 0;  // wraps silently on overflow, as it always has
        while (p < n && text[p] >= '0' && text[p] <= '9') {
            value = value * 10u + static_cast<unsigned int>(text[p] - '0');
            ++p;
        }
        if (p < n) ++p;  // the terminator goes with the arc, whatever it is
        arcs_.push_back(value);
    }
}

OID& OID::operator+=(const OID& tail) {
    arcs_.insert(arcs_.end(), tail.arcs_.begin(), tail.arcs_.end());
    return *this;
}

OID OID::operator+(const OID& tail) const {
    OID r;
    r.arcs_.reserve(arcs_.size() + tail.arcs_.size());
    r.arcs_ = arcs_;
    r += tail;
    return r;
}

OID OID::operator+(unsigned int arc) const {
    OID r;
    r.arcs_.reserve(arcs_.size() + 1);
    r.arcs_ = arcs_;
    r.arcs_.push_back(arc);
    return r;
}

bool OID::startsWith(const OID& prefix) const {
    if (prefix.arcs_.size() > arcs_.size()) return false;
    for (size_t i = 0; i < prefix.arcs_.size(); ++i) {
        if (arcs_[i] != prefix.arcs_[i]) return false;
    }
    return true;
}

void OID::dropFront(size_t n) {
    if (n >= arcs_.size()) {
        arcs_.clear();
    } else {
        arcs_.erase(arcs_.begin(), arcs_.begin() + static_cast<std::ptrdiff_t>(n));
    }
}

std::string OID::str() const {
    std::string s;
    s.reserve(arcs_.size() * 4);
    char digits[16];
    for (unsigned int arc : arcs_) {
        s.push_back('.');
        auto r = std::to_chars(digits, digits + sizeof digits, arc);
        s.append(digits, r.ptr);
    }
    return s;
}

std::ostream& operator<<(std::ostream& os, const OID& oid) {
    bool first = true;
    for (unsigned int arc : oid) {
        if (!first) os << '.';
        os << arc;
        first = false;
    }
    return os;
}

void OID::moveFront(size_t n, OID* out) {
    const auto cut = arcs_.begin() + static_cast<std::ptrdiff_t>(n);
    if (out == this) {  // popping into ourselves keeps just the field
        arcs_.erase(cut, arcs_.end());
        return;
    }
    out->arcs_.assign(arcs_.begin(), cut);
    arcs_.erase(arcs_.begin(), cut);
}

namespace {

bool allOctets(const unsigned int* first, const unsigned int* last) {
    for (; first != last; ++first) {
        if (*first >= 256) return false;
    }
    return true;
}

}  // namespace

bool OID::popOID(unsigned int count, OID* out) {
    if (arcs_.size() < count) return false;
    moveFront(count, out);
    return true;
}

bool OID::popOID(OID* out) {
    if (arcs_.empty() || arcs_[0] >= arcs_.size()) return false;
    moveFront(static_cast<size_t>(arcs_[0]) + 1, out);
    return true;
}

bool OID::popString(OID* out) {
    if (arcs_.empty() || arcs_[0] >= arcs_.size()) return false;
    const size_t len = arcs_[0];
    if (!allOctets(arcs_.data() + 1, arcs_.data() + 1 + len)) return false;
    moveFront(len + 1, out);
    return true;
}

bool OID::popString(unsigned int count, OID* out) {
    const size_t k = count < arcs_.size() ? count : arcs_.size();
    if (!allOctets(arcs_.data(), arcs_.data() + k)) return false;
    moveFront(k, out);
    return true;
}

bool OID::popIP(OID* out) {
    moveFront(arcs_.size() < 4 ? arcs_.size() : 4, out);
    return true;
}

bool OID::popIP6(OID* out) {
    moveFront(arcs_.size() < 16 ? arcs_.size() : 16, out);
    return true;
}

bool OID::popUnsigned(OID* out) {
    if (arcs_.empty()) return false;
    moveFront(1, out);
    return true;
}

bool OID::asUnsigned(unsigned int* out) const {
    if (arcs_.size() != 1) return false;
    *out = arcs_[0];
    return true;
}

bool OID::asIP(unsigned int* out) const {
    const size_t k = arcs_.size() < 4 ? arcs_.size() : 4;
    unsigned int v = 0;
    for (size_t i = 0; i < k; ++i) {
        if (arcs_[i] >= 256) return false;
        v |= arcs_[i] << (24 - 8 * i);
    }
    *out = v;  // a short address still fills from the top, but does not count
    return arcs_.size() >= 4;
}

bool OID::asIP6(lm::IPAddr6* out) const {
    *out = lm::IPAddr6();
    const size_t k = arcs_.size() < 16 ? arcs_.size() : 16;
    for (size_t i = 0; i < k; ++i) {
        if (arcs_[i] >= 256) return false;
        out->addr[i] = static_cast<uint8_t>(arcs_[i]);
    }
    return arcs_.size() >= 16;
}

bool OID::asString(std::string* out) const {
    if (arcs_.empty() || arcs_[0] >= arcs_.size()) return false;
    const size_t len = arcs_[0];
    if (!allOctets(arcs_.data() + 1, arcs_.data() + 1 + len)) return false;
    out->assign(arcs_.begin() + 1, arcs_.begin() + 1 + static_cast<std::ptrdiff_t>(len));
    return true;
}

bool OID::asString(unsigned int count, std::string* out) const {
    if (arcs_.size() < count) return false;
    if (!allOctets(arcs_.data(), arcs_.data() + count)) return false;
    out->assign(arcs_.begin(), arcs_.begin() + count);
    return arcs_.size() == count;
}

bool OID::asOID(OID* out) const {
    if (!arcs_.empty() && arcs_[0] < arcs_.size()) {
        out->arcs_.assign(arcs_.begin() + 1, arcs_.end());
    }
    return true;
}

bool OID::asOID(unsigned int count, OID* out) const {
    if (arcs_.size() != count) return false;
    *out = *this;
    return true;
}

}  // namespace snmp
