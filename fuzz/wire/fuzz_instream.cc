// Walks a whole received message the way request processing does, reading every value by
// its type, and checks that what was read re-encodes to the same thing.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/wire/quiet_cout.h"
#include "wire/in_stream.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {
namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

// Every identifier the reader hands out has a root arc of 0 to 2 and, below root 2, a
// second arc under 40, so the writer takes each one.
void roundTripOid(const OID& oid) {
    OutStream out;
    out.addOID(oid, tag::OBJECT_ID);
    InStream in(out.data(), static_cast<unsigned>(out.size()));
    OID back;
    check(in.getOID(&back) && back == oid && in.atEnd());
}

void roundTripInt(unsigned int v) {
    OutStream out;
    out.add(v, 0x41);
    InStream in(out.data(), static_cast<unsigned>(out.size()));
    unsigned int back = 0;
    check(in.getInt(&back) && back == v);
}

// One value of any type; false when the reader gave up.
bool walkValue(InStream& in, int depth) {
    const unsigned char type = in.getType();
    switch (type) {
        case 0x02:
        case 0x40:
        case 0x41:
        case 0x42:
        case 0x43:
        case 0x47: {
            unsigned int v;
            if (!in.getInt(&v)) return false;
            roundTripInt(v);
            return true;
        }
        case 0x46: {
            unsigned long long v;
            return in.get64(&v);
        }
        case 0x04:
        case 0x44: {
            std::string s;
            return in.getString(&s);
        }
        case 0x05:
        case 0x80:
        case 0x81:
        case 0x82:
            return in.getNull();
        case 0x06: {
            OID oid;
            if (!in.getOID(&oid)) return false;
            roundTripOid(oid);
            return true;
        }
        case 0x03: {
            std::vector<unsigned char> bits;
            return in.getBits(&bits);
        }
        case 0x30:
        case 0xA0:
        case 0xA1:
        case 0xA2:
        case 0xA3:
        case 0xA4:
        case 0xA5:
        case 0xA6:
        case 0xA7:
        case 0xA8: {
            if (depth > 32 || in.enterSeq() < 0) return false;
            while (!in.atEnd()) {
                if (!walkValue(in, depth + 1)) return false;
            }
            in.exitSeq();
            return true;
        }
        default: {
            unsigned char* p = nullptr;
            const size_t before = in.position();
            in.getStringBuf(p);
            return in.position() > before;
        }
    }
}

// The binding list: each binding a sequence of a name and a value. Walked twice from a
// saved position, as GetBulk does.
void walkBindings(InStream& in) {
    if (in.enterSeq() < 0) return;
    InStream::StreamPos start;
    in.saveSeq(start);
    for (int pass = 0; pass < 2; ++pass) {
        in.restoreSeq(start);
        while (!in.atEnd()) {
            const size_t depth = in.depth();
            if (in.enterSeq() < 0) return;
            OID name;
            if (!in.getOID(&name)) return;
            roundTripOid(name);
            walkValue(in, 0);
            while (in.depth() > depth) in.exitSeq();  // also skips what walkValue left
        }
    }
    in.exitSeq();
}

void walkPdu(InStream& in) {
    in.getType();
    if (in.enterSeq() < 0) return;
    unsigned int id, second, third;
    if (!in.getInt(&id) || !in.getInt(&second) || !in.getInt(&third)) return;
    walkBindings(in);
    in.exitSeq();
}

void walkV3(InStream& in) {
    if (in.enterSeq() < 0) return;
    unsigned int msgId, maxSize, model;
    std::string flags;
    if (!in.getInt(&msgId) || !in.getInt(&maxSize) || !in.getString(&flags) ||
        !in.getInt(&model))
        return;
    in.exitSeq();
    std::string usm;
    if (!in.getString(&usm)) return;
    InStream sec(reinterpret_cast<const unsigned char*>(usm.data()),
                 static_cast<unsigned>(usm.size()));
    walkValue(sec, 0);
    if (in.getType() == 0x04) {  // an encrypted scoped PDU
        std::string encrypted;
        in.getString(&encrypted);
        return;
    }
    if (in.enterSeq() < 0) return;
    std::string contextEngine, contextName;
    if (!in.getString(&contextEngine) || !in.getString(&contextName)) return;
    walkPdu(in);
}

}  // namespace
}  // namespace snmp

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    snmp::fuzz::silenceCout();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace snmp;
    {
        InStream in(data, static_cast<unsigned>(size));
        const int version = in.getVersion();
        if (version == 3) {
            walkV3(in);
        } else if (version >= 0) {
            std::string community;
            if (in.getString(&community)) walkPdu(in);
        }
        in.reset();
        check(in.position() == 0 && in.depth() == 0);
    }
    {
        // The same octets as a bare run of values, whatever their types.
        InStream in(data, static_cast<unsigned>(size));
        while (!in.atEnd() && walkValue(in, 0)) {
        }
    }
    return 0;
}
