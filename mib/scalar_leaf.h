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
    bool set(Context& c) override;

    Packer* packer;          // never null
    DataProvider* provider;  // null for constants
};

}  // namespace snmp
