#include "mib/columnar_branch.h"

#include <algorithm>
#include <memory>

#include "mib/packer.h"
#include "mib/set_value_check.h"
#include "mib/table.h"
#include "request/context.h"

namespace snmp {

namespace {

// The suffix below the column arc: the row's index.
OID indexOf(const OID& suffix) {
    return suffix.size() > 1 ? OID(&suffix.arcs()[1], &suffix.arcs()[0] + suffix.size()) : OID();
}

// The row of rows whose index is exactly index, or null.
Data* rowWithIndex(Table& table, VData* rows, const OID& index) {
    if (!rows) return nullptr;
    for (Data* d : rows->rows)
        if (d && table.getKey(d) == index) return d;
    return nullptr;
}

}  // namespace

ColumnarBranch::~ColumnarBranch() = default;

void ColumnarBranch::addLeaf(unsigned column, Packer* packer, bool writable) {
    columns[column] = packer;
    if (writable) {
        readOnly_.erase(column);
    } else {
        readOnly_.insert(column);
    }
}

bool ColumnarBranch::writeInstance(Context& c, unsigned column, Packer* packer, const OID& index,
                                   const Data* row) {
    scratch_ = oid;
    scratch_ += column;
    scratch_ += index;
    c.out.startSeq(tag::SEQUENCE);
    c.out.addOID(scratch_, tag::OBJECT_ID);
    packer->pack(c, row);
    c.out.endSeq();
    ++c.bindingIndex;
    return true;
}

bool ColumnarBranch::get(Context& c) {
    cache_.beginRequest(c.serial);
    const auto column = c.suffix.empty() ? columns.end() : columns.find(c.suffix[0]);
    if (column == columns.end()) {
        c.missing = tag::NO_SUCH_OBJECT;  // the entry itself, or a column the table has not
        return false;
    }
    const OID index = indexOf(c.suffix);
    const Data* row = cache_.row(*table, index);
    if (!row) return false;  // noSuchInstance
    return writeInstance(c, column->first, column->second, index, row);
}

bool ColumnarBranch::getNext(Context& c) {
    cache_.beginRequest(c.serial);
    const unsigned pageSize = std::max(c.maxRepetitions, 1u);
    auto column = columns.begin();
    OID after;
    bool withinColumn = false;
    if (!c.suffix.empty()) {
        column = columns.lower_bound(c.suffix[0]);
        if (column != columns.end() && column->first == c.suffix[0] && c.suffix.size() > 1) {
            after = indexOf(c.suffix);
            withinColumn = true;
        }
    }
    OID index;
    for (; column != columns.end(); ++column, withinColumn = false) {
        const Data* row = cache_.next(*table, after, !withinColumn, pageSize, &index);
        if (row) return writeInstance(c, column->first, column->second, index, row);
        if (!withinColumn) return false;  // the table has no rows at all
    }
    return false;
}

bool ColumnarBranch::set(Context& c) {
    const auto column = c.setSuffix.empty() ? columns.end() : columns.find(c.setSuffix[0]);
    if (column == columns.end() || readOnly_.count(column->first)) {
        c.errorStatus = status::NOT_WRITABLE;
        return false;
    }
    const OID index = indexOf(OID(c.setSuffix.data(), c.setSuffix.data() + c.setSuffix.size()));
    switch (c.setPhase) {
        case SetPhase::validate:
            return validateSet(c, column->second, index);
        case SetPhase::commit:
            return commitSet(c, column->second, index);
        case SetPhase::undo:
            return undoSet(c, index);
    }
    return false;
}

bool ColumnarBranch::validateSet(Context& c, Packer* packer, const OID& index) {
    cache_.beginRequest(c.serial);
    if (const uint32_t s = checkSetValue(*packer, c.in)) {
        c.errorStatus = s;
        return false;
    }
    if (!cache_.row(*table, index)) {
        c.errorStatus = status::NO_CREATION;  // rows are the services' to create
        return false;
    }
    return true;
}

bool ColumnarBranch::commitSet(Context& c, Packer* packer, const OID& index) {
    // Fresh rows: one to change, one kept to put the value back if a later binding fails.
    const Key key = table->createKey(index, true);
    std::unique_ptr<VData> before(table->get(key)), after(table->get(key));
    Data* row = rowWithIndex(*table, after.get(), index);
    if (!rowWithIndex(*table, before.get(), index) || !row) {
        c.errorStatus = status::COMMIT_FAILED;
        return false;
    }
    packer->unpack(row, c);
    if (!table->set(index, row)) {
        c.errorStatus = status::COMMIT_FAILED;
        return false;
    }
    c.undoRecord = std::move(before);
    return true;
}

bool ColumnarBranch::undoSet(Context& c, const OID& index) {
    Data* row = rowWithIndex(*table, static_cast<VData*>(c.undoRecord.get()), index);
    if (!row || !table->set(index, row)) {
        c.errorStatus = status::UNDO_FAILED;
        return false;
    }
    return true;
}

}  // namespace snmp
