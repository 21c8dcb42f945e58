#include "mib/branch.h"
#include "mib/columnar_branch.h"
#include "mib/packers.h"
#include "mib/scalar_leaf.h"
#include "platform/log.h"

namespace snmp {

Branch::~Branch() = default;

BranchMap& branchMap() {
    static BranchMap* map = new BranchMap;  // lives for the process, like every node in it
    return *map;
}

namespace {

// One line per registered branch, for whoever debugs a module's registration.
lm::lstream& mibLog() {
    static lm::lstream stream("mib");
    return stream;
}

}  // namespace

Branch*& addBranch(const OID& oid) {
    BranchMap& map = branchMap();
    auto it = map.lower_bound(oid);
    if (it != map.end() && !(oid < it->first)) {
        LLOG(lm::warningLog()) << "replacing branch (dup): " << oid << std::endl;
        return it->second;
    }
    LLOG(mibLog()) << "addBranch " << oid << std::endl;
    return map.emplace_hint(it, oid, nullptr)->second;
}

// A duplicate registration overwrites the slot and leaves the earlier node alive.
void addScalarLeaf(const OID& oid, Packer* packer, DataProvider* provider) {
    Branch*& slot = addBranch(oid);
    slot = new ScalarLeaf(oid, packer, provider);
}

void addScalarConstNumLeaf(const OID& oid, int value, unsigned type) {
    Branch*& slot = addBranch(oid);
    Packer* packer = new ConstNumPacker(static_cast<unsigned>(value), type);
    slot = new ScalarLeaf(oid, packer, nullptr);
}

void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned type) {
    Branch*& slot = addBranch(oid);
    Packer* packer = new ConstOIDPacker(value, type);
    slot = new ScalarLeaf(oid, packer, nullptr);
}

void addScalarConstStringLeaf(const OID& oid, const std::string& value, unsigned type) {
    Branch*& slot = addBranch(oid);
    Packer* packer = new ConstStringPacker(value, type, 0);
    slot = new ScalarLeaf(oid, packer, nullptr);
}

ColumnarBranch* addColumnarBranch(const OID& oid, Table* table) {
    Branch*& slot = addBranch(oid);
    auto* branch = new ColumnarBranch(oid, table);
    slot = branch;
    return branch;
}

}  // namespace snmp
