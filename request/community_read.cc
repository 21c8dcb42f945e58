#include "request/community_read.h"

#include "wire/in_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {

bool isCommunityRead(const unsigned char* data, size_t len) {
    static InStream* in = new InStream;  // reused: its buffer keeps its capacity
    in->load(data, static_cast<unsigned>(len));
    const int version = in->getVersion();
    if (version != version::V1 && version != version::V2C) return false;
    unsigned char* community = nullptr;
    if (in->getType() != tag::OCTET_STRING) return false;
    in->getStringBuf(community);
    switch (in->getType()) {
        case pdu::GET:
        case pdu::GET_NEXT:
            return true;
        case pdu::GET_BULK:
            return version == version::V2C;
        default:
            return false;
    }
}

}  // namespace snmp
