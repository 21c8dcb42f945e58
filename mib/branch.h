// The MIB registry: one ordered map from the OID at which a subtree is rooted to the node
// that answers for everything below it. Filled at start by the modules and plug-ins,
// never shrunk; nodes live for the whole process.
#pragma once

#include <map>
#include <string>

#include "wire/oid.h"

namespace snmp {

class Context;
class Packer;
class DataProvider;

class Branch {
public:
    explicit Branch(const OID& o) : oid(o) {}
    OID oid;
    // true: this node answered the binding and wrote it to the reply.
    virtual bool get(Context& c) = 0;
    virtual bool getNext(Context& c) = 0;
    virtual bool set(Context& c) = 0;
    virtual ~Branch();
};

using BranchMap = std::map<OID, Branch*>;
BranchMap& branchMap();

// Registration functions; plug-ins call these from their autorun entry.
Branch*& addBranch(const OID& oid);
void addScalarConstNumLeaf(const OID& oid, int value, unsigned type);
void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned type);
void addScalarConstStringLeaf(const OID& oid, const std::string& value, unsigned type);
void addScalarLeaf(const OID& oid, Packer* packer, DataProvider* provider);

}  // namespace snmp
