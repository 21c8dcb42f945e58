// Parses arbitrary text as a dotted OID and checks the text forms and the BER form agree.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "fuzz/wire/quiet_cout.h"
#include "wire/in_stream.h"
#include "wire/oid.h"
#include "wire/out_stream.h"

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    snmp::fuzz::silenceCout();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using snmp::OID;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const OID oid(text);

    const std::string dotted = oid.str();
    check(OID(dotted) == oid);
    std::ostringstream os;
    os << oid;
    check(OID(os.str()) == oid);
    check(dotted.empty() ? os.str().empty() : dotted.substr(1) == os.str());
    check(!(oid < oid) && oid == oid && (oid + 1u).startsWith(oid) && oid < oid + 0u);

    snmp::OutStream out;
    out.addOID(oid, 0x06);
    // 0.x and 1.x take a second arc below 40; 2.x takes any.
    const bool encodable = oid.size() >= 2 && (oid[0] < 2 ? oid[1] < 40 : oid[0] == 2);
    check(encodable == (out.size() > 0));
    if (encodable) {
        snmp::InStream in(out.data(), static_cast<unsigned>(out.size()));
        OID back;
        // Lengths of 65,536 and more are written truncated; the reader then stops short.
        if (out.size() < 65536) check(in.getOID(&back) && back == oid);
    }
    return 0;
}
