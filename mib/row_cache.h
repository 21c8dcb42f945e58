// The rows one request has fetched from a table. The engine asks a table for one instance
// at a time (each binding, each GetBulk repetition); the cache lets one bus query serve a
// page of them. Pages are kept for the request that fetched them only.
//
// A page answers only the columns it was fetched for: a table whose columns are fields of
// the service's objects asks for the fields of the columns the request needs, and a row
// fetched without a column's field must never answer that column.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mib/data.h"
#include "wire/oid.h"

namespace snmp {

class Table;

// What one fetch asks the service for: the columns its rows can answer and the bus fields
// those columns and the row's index are read from. whole: every field, every column.
struct FetchPlan {
    bool whole = true;
    std::vector<unsigned> columns;  // ascending, when not whole
    std::vector<uint32_t> fields;   // field numbers, ascending, when not whole
};

// Works out the plan of a fetch for a column; the cache asks only when it must fetch.
// andLater: the request's walk has already run to the table's end in one column, so the
// columns after this one are likely to be asked too.
class FetchPlanner {
public:
    virtual void plan(unsigned column, bool andLater, FetchPlan& out) = 0;

protected:
    ~FetchPlanner() = default;
};

class RowCache {
public:
    // Forgets every page when serial names another request than the cached one.
    void beginRequest(uint64_t serial);

    // The row whose index suffix is exactly index, with column's value, or null (also when
    // the service answers another row than the one asked).
    const Data* row(Table& table, const OID& index, unsigned column, FetchPlanner& planner);

    // The row with the smallest index greater than after (fromStart: the first row of the
    // table), with column's value, fetching pageSize rows at a time; null past the last row.
    // *index receives the row's index suffix. Rows the service returns out of place are
    // never answered.
    const Data* next(Table& table, const OID& after, bool fromStart, unsigned pageSize,
                     unsigned column, FetchPlanner& planner, OID* index);

private:
    // A row's index lives in its page's arcs, not in an OID of its own: one block less per
    // row to allocate and free.
    struct Row {
        uint32_t at;      // the index's first arc in Page::arcs
        uint32_t length;  // its number of arcs
        const Data* data;
    };
    struct Page {
        bool range = false;      // fetched as "rows after from" (or from the start)
        bool fromStart = false;
        OID from;
        bool complete = false;   // nothing follows the last row
        bool whole = true;       // every field: answers every column
        std::vector<unsigned> columns;  // else the columns it answers, ascending
        std::vector<unsigned int> arcs;  // the rows' indexes
        std::vector<Row> rows;   // sorted by index
        std::unique_ptr<VData> owner;
        mutable size_t last = 0;  // the row a walk was last given from this page

        bool answers(unsigned column) const;
        // Negative, zero or positive as the row's index sorts before, with or after index.
        int compare(const Row& row, const OID& index) const;
        bool less(const Row& a, const Row& b) const;
    };

    // Asks the table within the plan's field selection; fetch(table) returns the rows.
    template <class Fetch>
    Page& fetchPage(Table& table, unsigned column, bool andLater, FetchPlanner& planner,
                    Fetch fetch);
    const Data* successorIn(const Page& page, const OID& after, bool fromStart, OID* index,
                            bool* known) const;

    std::vector<Page> pages_;
    uint64_t serial_ = 0;
    FetchPlan plan_;  // the last fetch's, kept to reuse its capacity
};

}  // namespace snmp
