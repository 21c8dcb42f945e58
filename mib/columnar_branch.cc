#include "mib/columnar_branch.h"

#include <algorithm>
#include <memory>

#include "mib/packer.h"
#include "mib/set_value_check.h"
#include "mib/table.h"
#include "platform/message.h"
#include "request/binding_list.h"
#include "request/context.h"

namespace snmp {

namespace {

// The suffix below the column arc: the row's index.
OID indexOf(const OID& suffix) {
    return suffix.size() > 1 ? OID(&suffix.arcs()[1], &suffix.arcs()[0] + suffix.size()) : OID();
}

// The same into out, which keeps its capacity.
void indexInto(const OID& suffix, OID& out) {
    if (suffix.size() > 1) {
        out.arcs().assign(suffix.arcs().begin() + 1, suffix.arcs().end());
    } else {
        out.clear();
    }
}

// The row of rows whose index is exactly index, or null.
Data* rowWithIndex(Table& table, VData* rows, const OID& index) {
    if (!rows) return nullptr;
    for (Data* d : rows->rows)
        if (d && table.getKey(d) == index) return d;
    return nullptr;
}

}  // namespace

// What a fetch asks for: the column being answered and every column the request's bindings
// will ask of this table (a Get's columns, where a GetNext or a GetBulk repeater stands),
// so that one query serves them all, with their fields and the index's; and, once the walk
// has run to the table's end in this request, every later column too. Whole objects when
// one of those columns has no fields of its own, or the table declared none.
class ColumnarBranch::Planner : public FetchPlanner {
public:
    Planner(const ColumnarBranch& branch, const Context& c) : branch_(branch), c_(c) {}

    void plan(unsigned column, bool andLater, FetchPlan& out) override {
        out.whole = true;
        out.columns.clear();
        out.fields.clear();
        if (!branch_.readsFields_ || !add(column, out)) return;
        if (andLater) {
            for (auto it = branch_.columns.upper_bound(column); it != branch_.columns.end(); ++it)
                if (!add(it->first, out)) return;
        }
        const OID& entry = branch_.oid;
        if (const BindingList* list = c_.bindings) {
            for (size_t i = 0; i < list->size(); ++i) {
                const OID& name = (*list)[i].name;
                if (!name.startsWith(entry)) continue;
                const auto at = name.size() > entry.size()
                                    ? branch_.columns.lower_bound(name[entry.size()])
                                    : branch_.columns.begin();
                if (at != branch_.columns.end() && !add(at->first, out)) return;
            }
        }
        out.fields.insert(out.fields.end(), branch_.indexFields_.begin(),
                          branch_.indexFields_.end());
        std::sort(out.fields.begin(), out.fields.end());
        out.fields.erase(std::unique(out.fields.begin(), out.fields.end()), out.fields.end());
        out.whole = false;
    }

private:
    // False when the column has no fields: the fetch must then take whole objects.
    bool add(unsigned column, FetchPlan& out) const {
        const auto fields = branch_.columnFields_.find(column);
        if (fields == branch_.columnFields_.end()) return false;
        const auto at = std::lower_bound(out.columns.begin(), out.columns.end(), column);
        if (at != out.columns.end() && *at == column) return true;
        out.columns.insert(at, column);
        out.fields.insert(out.fields.end(), fields->second.begin(), fields->second.end());
        return true;
    }

    const ColumnarBranch& branch_;
    const Context& c_;
};

ColumnarBranch::~ColumnarBranch() = default;

void ColumnarBranch::setColumnFields(unsigned column, std::vector<uint32_t> fields) {
    for (uint32_t& f : fields) f = lm::fieldOf(f);
    columnFields_[column] = std::move(fields);
}

void ColumnarBranch::setIndexFields(std::vector<uint32_t> fields) {
    for (uint32_t& f : fields) f = lm::fieldOf(f);
    indexFields_ = std::move(fields);
    readsFields_ = true;
}

void ColumnarBranch::addLeaf(unsigned column, Packer* packer, bool writable) {
    columns[column] = packer;
    columnFields_.erase(column);  // the new packer may read other fields
    if (writable) {
        readOnly_.erase(column);
    } else {
        readOnly_.insert(column);
    }
}

// The name is built in Context::answered and noted there with the value's tag, so that the
// engine need not read the binding back.
bool ColumnarBranch::writeInstance(Context& c, unsigned column, Packer* packer, const OID& index,
                                   const Data* row) {
    OID& name = c.answered;
    name = oid;
    name += column;
    name += index;
    c.out.startSeq(tag::SEQUENCE);
    c.out.addOID(name, tag::OBJECT_ID);
    const size_t valueAt = c.out.size();
    packer->pack(c, row);
    if (c.out.size() > valueAt) {
        c.answeredTag = c.out.data()[valueAt];
        c.answeredNoted = true;
    }
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
    Planner planner(*this, c);
    const Data* row = cache_.row(*table, index, column->first, planner);
    if (!row) return false;  // noSuchInstance
    return writeInstance(c, column->first, column->second, index, row);
}

bool ColumnarBranch::getNext(Context& c) {
    cache_.beginRequest(c.serial);
    const unsigned pageSize = std::max(c.maxRepetitions, 1u);
    auto column = columns.begin();
    after_.clear();
    bool withinColumn = false;
    if (!c.suffix.empty()) {
        column = columns.lower_bound(c.suffix[0]);
        if (column != columns.end() && column->first == c.suffix[0] && c.suffix.size() > 1) {
            indexInto(c.suffix, after_);
            withinColumn = true;
        }
    }
    Planner planner(*this, c);
    for (; column != columns.end(); ++column, withinColumn = false) {
        const Data* row =
            cache_.next(*table, after_, !withinColumn, pageSize, column->first, planner, &index_);
        if (row) return writeInstance(c, column->first, column->second, index_, row);
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
    Planner planner(*this, c);
    if (!cache_.row(*table, index, c.setSuffix[0], planner)) {
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
