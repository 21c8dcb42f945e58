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
class Table;
class ColumnarBranch;

class Branch {
public:
    explicit Branch(const OID& o) : oid(o) {}
    OID oid;
    // get: the instance c.suffix names below oid; true when it was written to the reply.
    // false answers noSuchInstance (c.missing may say noSuchObject instead) or, with
    // c.errorStatus set, fails the request with that status.
    virtual bool get(Context& c) = 0;
    // getNext: the first instance after oid + c.suffix (an empty suffix asks for the first
    // instance of all); one binding per call. false: nothing follows inside this node.
    virtual bool getNext(Context& c) = 0;
    // set: called once per pass of the Set (c.setPhase: validate, commit, undo) with the
    // instance arcs in c.setSuffix; false fails the request with c.errorStatus. Nothing is
    // written to the reply, which echoes the request.
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
// A table under its entry OID; add its columns with ColumnarBranch::addLeaf.
ColumnarBranch* addColumnarBranch(const OID& oid, Table* table);

}  // namespace snmp
