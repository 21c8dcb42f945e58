#include "mib/packers.h"
#include "request/context.h"

namespace snmp {

void NumPacker::pack(Context& c, const Data* d) {
    c.out.add(get(d), static_cast<unsigned char>(type));
}

void NumPacker::unpack(Data* d, Context& c) {
    unsigned v = 0;
    if (c.in.getInt(&v)) set(d, v);
}

OID NumPacker::getAsKey(const Data* d) { return OID(get(d)); }

bool NumPacker::addKeyToMessage(OID& oid, lm::message& m, unsigned key) {
    OID field;
    if (!oid.popUnsigned(&field)) return false;
    unsigned v = 0;
    field.asUnsigned(&v);
    m.setU32(key, v);
    return true;
}

void NumPacker::addKeyToMessage(const Data* d, lm::message& m, unsigned key) {
    m.setU32(key, get(d));
}

void BignumPacker::pack(Context& c, const Data* d) {
    c.out.add(get(d), static_cast<unsigned char>(type));
}

void BignumPacker::unpack(Data* d, Context& c) {
    unsigned long long v = 0;
    if (c.in.get64(&v)) set(d, v);
}

}  // namespace snmp
