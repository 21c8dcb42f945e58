#include "mib/scalar_leaf.h"

#include <memory>

#include "mib/data_provider.h"
#include "mib/packer.h"
#include "mib/set_value_check.h"
#include "request/context.h"

namespace snmp {

namespace {

constexpr uint32_t INSTANCE = 0;

// The binding: answered name, then the packer's value for the record.
void writeBinding(Context& c, const OID& name, Packer* packer, const Data* d) {
    c.out.startSeq(tag::SEQUENCE);
    c.out.addOID(name, tag::OBJECT_ID);
    packer->pack(c, d);
    c.out.endSeq();
}

// Writes the .0 instance; false when the provider has no record right now.
bool answerInstance(Context& c, Packer* packer, DataProvider* provider) {
    std::unique_ptr<Data> d;
    if (provider) {
        d.reset(provider->get());
        if (!d) return false;
    }
    c.branchOid += INSTANCE;
    writeBinding(c, c.branchOid, packer, d.get());
    ++c.bindingIndex;
    return true;
}

}  // namespace

bool ScalarLeaf::get(Context& c) {
    // Any other suffix names an instance this object does not have (noSuchInstance).
    if (c.suffix.size() != 1 || c.suffix[0] != INSTANCE) return false;
    if (!answerInstance(c, packer, provider)) return false;
    if (c.nonRepeaters > 0) --c.nonRepeaters;
    return true;
}

bool ScalarLeaf::getNext(Context& c) {
    // Only a name above the instance (the object's own OID) has .0 as its successor; .0 and
    // anything below it are followed by a later branch, as is a leaf without data.
    if (!c.suffix.empty()) return false;
    return answerInstance(c, packer, provider);
}

bool ScalarLeaf::set(Context& c) {
    switch (c.setPhase) {
        case SetPhase::validate:
            return validateSet(c);
        case SetPhase::commit:
            return commitSet(c);
        case SetPhase::undo:
            return undoSet(c);
    }
    return false;
}

bool ScalarLeaf::validateSet(Context& c) {
    if (!provider || !provider->writable()) {
        c.errorStatus = status::NOT_WRITABLE;
        return false;
    }
    if (const uint32_t s = checkSetValue(*packer, c.in)) {
        c.errorStatus = s;
        return false;
    }
    if (c.setSuffix.size() != 1 || c.setSuffix[0] != INSTANCE) {
        c.errorStatus = status::NO_CREATION;
        return false;
    }
    return true;
}

bool ScalarLeaf::commitSet(Context& c) {
    // Two fresh records: one to change, one kept to put the value back if a later binding
    // of the same request fails.
    std::unique_ptr<Data> before(provider->get()), after(provider->get());
    if (!before || !after) {
        c.errorStatus = status::COMMIT_FAILED;
        return false;
    }
    packer->unpack(after.get(), c);
    if (!provider->set(after.get())) {
        c.errorStatus = status::COMMIT_FAILED;
        return false;
    }
    c.undoRecord = std::move(before);
    ++c.bindingIndex;
    return true;
}

bool ScalarLeaf::undoSet(Context& c) {
    if (!c.undoRecord || !provider->set(c.undoRecord.get())) {
        c.errorStatus = status::UNDO_FAILED;
        return false;
    }
    return true;
}

}  // namespace snmp
