// Common base of the BER reader and writer: the octet buffer of one message and the
// message's security level (0 noAuthNoPriv, 1 authNoPriv, 2 authPriv).
#pragma once

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace snmp {

class UberStream {
public:
    using Buffer = std::vector<unsigned char>;

    // Whole buffer as lower-case hex octets, each followed by a space, sixteen to a line.
    void dump(std::ostream& os) const;

    Buffer& buffer() { return buf_; }
    const Buffer& buffer() const { return buf_; }

    int securityLevel() const { return securityLevel_; }
    void setSecurityLevel(int level) { securityLevel_ = level; }

protected:
    UberStream() = default;
    ~UberStream() = default;

    Buffer buf_;
    int securityLevel_ = 0;
};

}  // namespace snmp
