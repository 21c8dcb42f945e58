#include "mib/scalar_leaf.h"

#include <memory>

#include "mib/data_provider.h"
#include "mib/packer.h"
#include "request/context.h"
#include "request/operations.h"

namespace snmp {

namespace {

// The binding: answered name, then the packer's value for the record.
void writeBinding(Context& c, const OID& name, Packer* packer, const Data* d) {
    c.out.startSeq(0x30);
    c.out.addOID(name, 0x06);
    packer->pack(c, d);
    c.out.endSeq();
}

}  // namespace

bool ScalarLeaf::get(Context& c) {
    if (c.suffix.size() != 1 || c.suffix[0] != 0) return false;
    std::unique_ptr<Data> d;
    if (provider) {
        d.reset(provider->get());
        if (!d) return false;
    }
    c.branchOid += 0u;
    writeBinding(c, c.branchOid, packer, d.get());
    ++c.bindingIndex;
    if (c.nonRepeaters > 0) --c.nonRepeaters;
    return true;
}

bool ScalarLeaf::getNext(Context& c) {
    if (!c.suffix.empty()) return false;  // .0 or below: the next object is in a later branch
    std::unique_ptr<Data> d;
    if (provider) {
        d.reset(provider->get());
        if (!d) {
            if (c.repetitionsLeft == 0) c.repetitionsLeft = 1;
            if (!getNextCompletion(c)) return false;
            if (c.repetitionsLeft) c.addEndOfMibView(oid);
            return true;
        }
    }
    c.branchOid += 0u;
    writeBinding(c, c.branchOid, packer, d.get());
    ++c.bindingIndex;
    d.reset();

    if (c.repetitionsLeft > 0) {  // a GetBulk repetition carried on from an earlier branch
        --c.repetitionsLeft;
        c.branchOid = oid;
        return getNextCompletion(c);
    }
    if (c.pduType != 0xA5) return true;
    if (c.nonRepeaters > 0) {
        --c.nonRepeaters;
    } else {
        // A repeater with max-repetitions 0 still owes nothing more (the counter is 8 bits
        // wide and must not wrap to 255 repetitions).
        c.repetitionsLeft = c.maxRepetitions > 0 ? static_cast<uint8_t>(c.maxRepetitions - 1) : 0;
    }
    c.branchOid = oid;
    if (!getNextCompletion(c)) return false;
    if (c.repetitionsLeft) c.addEndOfMibView(oid);
    return true;
}

bool ScalarLeaf::set(Context& c) {
    if (!provider) return false;  // constants are not writable
    std::unique_ptr<Data> d(provider->get());
    if (!d) return false;
    packer->unpack(d.get(), c);
    provider->set(d.get());  // deliberately not consulted: the reply carries the value anyway
    writeBinding(c, c.requestName, packer, d.get());
    ++c.bindingIndex;
    return true;
}

}  // namespace snmp
