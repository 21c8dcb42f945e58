// ScalarLeaf: one scalar object, the registered OID with the instance arc 0. It asks its
// provider for a fresh record on every operation; constant leaves have no provider.
#pragma once

#include "mib/branch.h"

namespace snmp {

class ScalarLeaf : public Branch {
public:
    ScalarLeaf(const OID& oid, Packer* packer, DataProvider* provider)
        : Branch(oid), packer(packer), provider(provider) {}

    bool get(Context& c) override;
    bool getNext(Context& c) override;
    // Follows the Set pass in Context::setPhase: validate checks the instance, that the
    // object is writable and the value's type and length; commit writes it and keeps the
    // record it replaced in Context::undoRecord; undo writes that record back.
    bool set(Context& c) override;

    Packer* packer;          // never null
    DataProvider* provider;  // null for constants

private:
    bool validateSet(Context& c);
    bool commitSet(Context& c);
    bool undoSet(Context& c);
};

}  // namespace snmp
