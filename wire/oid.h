// Object identifier: the name type of the whole agent (request and reply names, MIB
// registration points, table index suffixes, trap identifiers). A thin wrapper over the
// arc vector; ordering is lexicographic with a prefix before its extensions, which is what
// every OID-keyed map and the GetNext successor search rely on.
#pragma once

#include <compare>
#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/ipaddr.h"

namespace snmp {

// The BER form of an identifier: the first two arcs share one sub-identifier,
// first * ROOT_ARC_SPAN + second, where only under the last root arc may the second arc
// reach ROOT_ARC_SPAN (2.999 is 1079). Sub-identifiers are base 128, most significant group
// first, every group but the last with SUBID_MORE set.
constexpr unsigned int ROOT_ARC_SPAN = 40;
constexpr unsigned int LAST_ROOT_ARC = 2;
constexpr unsigned char SUBID_MORE = 0x80;
constexpr unsigned char SUBID_BITS = 0x7F;
constexpr unsigned int SUBID_SHIFT = 7;

class OID {
public:
    using Arcs = std::vector<unsigned int>;

    OID() = default;
    explicit OID(unsigned int arc) : arcs_(1, arc) {}
    OID(const unsigned int* first, const unsigned int* last) : arcs_(first, last) {}
    OID(std::initializer_list<unsigned int> arcs) : arcs_(arcs) {}
    // Dotted text, leading dot optional. Never fails: a non-digit ends an arc and is
    // swallowed, overflow wraps (so "1.x.5" is 1.0.5 and "abc" is 0.0.0).
    explicit OID(const std::string& text);

    OID& operator+=(const OID& tail);
    OID& operator+=(unsigned int arc) {
        arcs_.push_back(arc);
        return *this;
    }
    OID operator+(const OID& tail) const;
    OID operator+(unsigned int arc) const;

    // Arc access.
    size_t size() const { return arcs_.size(); }
    bool empty() const { return arcs_.empty(); }
    unsigned int operator[](size_t i) const { return arcs_[i]; }
    unsigned int& operator[](size_t i) { return arcs_[i]; }
    unsigned int back() const { return arcs_.back(); }
    const unsigned int* data() const { return arcs_.data(); }
    Arcs::const_iterator begin() const { return arcs_.begin(); }
    Arcs::const_iterator end() const { return arcs_.end(); }
    const Arcs& arcs() const { return arcs_; }
    Arcs& arcs() { return arcs_; }
    void clear() { arcs_.clear(); }
    void popBack() { arcs_.pop_back(); }
    void reserve(size_t n) { arcs_.reserve(n); }

    // True when this OID begins with every arc of prefix (an OID starts with itself).
    bool startsWith(const OID& prefix) const;
    // Removes the first n arcs (all of them when n is larger).
    void dropFront(size_t n);

    // ".1.3.6.1": every arc preceded by a dot; empty for an empty OID.
    std::string str() const;

    // Index-suffix decoding. A pop takes one field's arcs off the front of this OID into
    // *out (replacing its contents); a failed pop leaves both unchanged.
    bool popOID(unsigned int count, OID* out);  // exactly count arcs
    bool popOID(OID* out);                      // length-prefixed; the length arc travels too
    bool popString(OID* out);                   // length-prefixed, every octet arc below 256
    bool popString(unsigned int count, OID* out);  // up to count octet arcs; short is fine
    bool popIP(OID* out);                          // up to 4 arcs, never fails
    bool popIP6(OID* out);                         // up to 16 arcs, never fails
    bool popUnsigned(OID* out);                    // one arc

    // Field conversion, applied to what a pop handed out.
    bool asUnsigned(unsigned int* out) const;
    bool asIP(unsigned int* out) const;  // host order, first arc most significant
    bool asIP6(lm::IPAddr6* out) const;
    bool asString(std::string* out) const;  // length-prefixed
    bool asString(unsigned int count, std::string* out) const;
    // Length-prefixed: always true, deliberately; a malformed field leaves *out untouched.
    bool asOID(OID* out) const;
    bool asOID(unsigned int count, OID* out) const;

    bool operator==(const OID& o) const { return arcs_ == o.arcs_; }
    bool operator<(const OID& o) const { return compare(o) < 0; }
    std::strong_ordering operator<=>(const OID& o) const { return compare(o) <=> 0; }
    // Negative, zero or positive; unsigned arc order, a prefix before its extensions.
    int compare(const OID& o) const {
        const size_t n = arcs_.size() < o.arcs_.size() ? arcs_.size() : o.arcs_.size();
        const unsigned int* a = arcs_.data();
        const unsigned int* b = o.arcs_.data();
        for (size_t i = 0; i < n; ++i) {
            if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
        }
        if (arcs_.size() == o.arcs_.size()) return 0;
        return arcs_.size() < o.arcs_.size() ? -1 : 1;
    }

private:
    // Moves the first n arcs into *out (n <= size()).
    void moveFront(size_t n, OID* out);

    Arcs arcs_;
};

// "1.3.6.1": arcs separated by dots, no leading dot; nothing for an empty OID.
std::ostream& operator<<(std::ostream& os, const OID& oid);

}  // namespace snmp
