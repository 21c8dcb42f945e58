#include "mib/set_value_check.h"

#include <string>

#include "mib/packers.h"
#include "wire/in_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

constexpr size_t IPV4_OCTETS = 4, IPV6_OCTETS = 16;

// wrongEncoding when the octet string does not decode, wrongLength when its length is not
// what the packer can hold.
uint32_t octetsStatus(InStream& in, size_t minLength, size_t maxLength) {
    std::string v;
    if (!in.getString(&v)) return status::WRONG_ENCODING;
    return v.size() >= minLength && v.size() <= maxLength ? status::NO_ERROR
                                                          : status::WRONG_LENGTH;
}

bool displayable(unsigned char c) {
    constexpr unsigned char TAB = 0x09, LF = 0x0A, CR = 0x0D, SPACE = 0x20, DEL = 0x7F;
    return (c >= SPACE && c < DEL) || c == TAB || c == LF || c == CR;
}

uint32_t displayStatus(InStream& in, size_t maxLength) {
    std::string v;
    if (!in.getString(&v)) return status::WRONG_ENCODING;
    if (v.size() > maxLength) return status::WRONG_LENGTH;
    for (unsigned char c : v)
        if (!displayable(c)) return status::WRONG_VALUE;
    return status::NO_ERROR;
}

uint32_t check(const Packer& packer, InStream& in) {
    if (in.getType() != static_cast<uint8_t>(packer.type)) return status::WRONG_TYPE;
    if (auto* d = dynamic_cast<const DisplayStringPacker*>(&packer)) return displayStatus(in, d->maxLength);
    if (auto* s = dynamic_cast<const StringPacker*>(&packer))
        return s->fixedLength != 0 ? octetsStatus(in, s->fixedLength, s->fixedLength)
                                   : octetsStatus(in, 0, MAX_SET_STRING);
    if (dynamic_cast<const IPPacker*>(&packer)) return octetsStatus(in, IPV4_OCTETS, IPV4_OCTETS);
    if (dynamic_cast<const IP6Packer*>(&packer)) return octetsStatus(in, IPV6_OCTETS, IPV6_OCTETS);
    if (dynamic_cast<const NumPacker*>(&packer)) {
        unsigned v = 0;
        return in.getInt(&v) ? status::NO_ERROR : status::WRONG_ENCODING;
    }
    if (dynamic_cast<const BignumPacker*>(&packer)) {
        unsigned long long v = 0;
        return in.get64(&v) ? status::NO_ERROR : status::WRONG_ENCODING;
    }
    if (dynamic_cast<const OIDPacker*>(&packer)) {
        OID v;
        return in.getOID(&v) ? status::NO_ERROR : status::WRONG_ENCODING;
    }
    return status::NO_ERROR;  // a packer of a plug-in's own family decides in unpack
}

}  // namespace

uint32_t checkSetValue(const Packer& packer, InStream& in) {
    InStream::StreamPos saved;
    in.saveSeq(saved);
    const uint32_t result = check(packer, in);
    in.restoreSeq(saved);
    return result;
}

}  // namespace snmp
