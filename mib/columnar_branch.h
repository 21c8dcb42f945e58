// ColumnarBranch: one conceptual SNMP table under its entry OID. A name below it is the
// column number followed by the row's index suffix; rows come from the branch's Table,
// values from one packer per column. Every operation answers one instance: the rows a
// request fetches are kept for the rest of that request, so several columns of a row, or
// the repetitions of a GetBulk, cost one bus query per page of rows.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "mib/branch.h"
#include "mib/row_cache.h"

namespace snmp {

class Table;

class ColumnarBranch : public Branch {
public:
    ColumnarBranch(const OID& oid, Table* table) : Branch(oid), table(table) {}

    bool get(Context& c) override;
    // The walk is column by column: every row of a column, then the next column's first
    // row, then nothing (the engine goes on in the next branch).
    bool getNext(Context& c) override;
    bool set(Context& c) override;
    ~ColumnarBranch() override;

    // Inserts a column or replaces its packer. A read-only column answers Set with
    // notWritable before anything is written. A replaced column forgets its fields.
    void addLeaf(unsigned column, Packer* packer, bool writable = true);

    // For tables whose rows are the service's objects read field by field (declareTable):
    // the bus fields a column's value is read from, and those the row's index is read
    // from. Once the index's are set, a query for rows whose columns all have theirs asks
    // the service for those fields alone; a column without them asks for whole objects.
    void setColumnFields(unsigned column, std::vector<uint32_t> fields);
    void setIndexFields(std::vector<uint32_t> fields);

    std::map<unsigned, Packer*> columns;
    Table* table;

private:
    bool writeInstance(Context& c, unsigned column, Packer* packer, const OID& index,
                       const Data* row);
    bool validateSet(Context& c, Packer* packer, const OID& index);
    bool commitSet(Context& c, Packer* packer, const OID& index);
    bool undoSet(Context& c, const OID& index);

    class Planner;

    std::set<unsigned> readOnly_;
    RowCache cache_;
    OID after_;  // per call, kept to reuse their capacity: the index a walk goes on after,
    OID index_;  // the index of the row answered
    std::map<unsigned, std::vector<uint32_t>> columnFields_;
    std::vector<uint32_t> indexFields_;
    bool readsFields_ = false;  // setIndexFields was called
};

}  // namespace snmp
