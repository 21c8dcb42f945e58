#include "request/context.h"

namespace snmp {

uint32_t Context::v3counters[6] = {};

Context::Context(const unsigned char* data, unsigned len, OutStream& o)
    : in(data, len), out(o) {}

Context::~Context() = default;

bool Context::processSeqStart() {
    if (in.enterSeq() < 0) return false;
    if (!in.getOID(&requestName)) return false;
    suffix = requestName;
    return true;
}

bool Context::processSeqEnd() {
    in.exitSeq();
    return true;
}

void Context::processAddError(unsigned char tag) {
    out.addOID(requestName, 0x06);
    out.addNull(tag);
}

void Context::addEndOfMibView(const OID& name) {
    while (repetitionsLeft != 0) {
        out.startSeq(0x30);
        out.addOID(name, 0x06);
        out.addNull(0x82);
        out.endSeq();
        --repetitionsLeft;
    }
}

}  // namespace snmp
