// Whole datagrams through createReply: header, community check, dispatch of every PDU type
// over a small MIB of constant and provider-backed scalars, and reply encoding.
#include <cstdlib>
#include <iostream>
#include <string>

#include "mib/branch.h"
#include "mib/data_provider.h"
#include "mib/packers.h"
#include "request/context.h"
#include "request/create_reply.h"
#include "security/community_keep.h"
#include "wire/out_stream.h"

namespace {

struct Record : snmp::Data {
    std::string text = "noc";
    unsigned number = 7;
};

class Memory : public snmp::SingleProvider {
public:
    snmp::Data* getData() override { return new Record(stored); }
    bool setData(snmp::Data* d) override {
        stored = *static_cast<Record*>(d);
        return true;
    }
    Record stored;
};

void setUp() {
    char tmpl[] = "/tmp/lumo-fuzz-XXXXXX";
    setenv("LUMO_ROOT", mkdtemp(tmpl), 1);
    std::cerr.setstate(std::ios::failbit);
    auto* keep = new snmp::CommunityKeep;
    keep->init();
    auto* writer = new snmp::Item;  // "private" may write, from anywhere
    writer->name = "private";
    writer->writeAccess = true;
    lm::IPPrefix6 any;
    lm::IPPrefix6::parse("0.0.0.0/0", any);
    writer->addresses = {any};
    writer->id = 1;
    keep->allocator().request(1);
    keep->insert(writer);
    using snmp::OID;
    snmp::addScalarConstStringLeaf(OID("1.3.6.1.2.1.1.1"), "lumo", 0x04);
    snmp::addScalarConstOIDLeaf(OID("1.3.6.1.2.1.1.2"), OID("1.3.6.1.4.1.47392.1"), 0x06);
    auto* memory = new Memory;
    snmp::addScalarLeaf(OID("1.3.6.1.2.1.1.4"), new snmp::DataStringPacker(&Record::text, 0x04), memory);
    snmp::addScalarLeaf(OID("1.3.6.1.2.1.1.7"), new snmp::DataNumPacker(&Record::number, 0x02), memory);
    snmp::addScalarConstNumLeaf(OID("1.3.6.1.4.1.99.1"), 5, 0x41);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool ready = (setUp(), true);
    (void)ready;
    std::cout.setstate(std::ios::failbit);  // the reader's diagnostics
    std::cerr.setstate(std::ios::failbit);
    snmp::OutStream out;
    snmp::Context ctx(data, static_cast<unsigned>(size), out);
    lm::IPAddr6 peer = lm::IPAddr6::fromIPv4(0x0100007F);
    snmp::createReply(ctx, peer);
    return 0;
}
