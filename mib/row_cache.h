// The rows one request has fetched from a table. The engine asks a table for one instance
// at a time (each binding, each GetBulk repetition); the cache lets one bus query serve a
// page of them. Pages are kept for the request that fetched them only.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mib/data.h"
#include "wire/oid.h"

namespace snmp {

class Table;

class RowCache {
public:
    // Forgets every page when serial names another request than the cached one.
    void beginRequest(uint64_t serial);

    // The row whose index suffix is exactly index, or null (also when the service answers
    // another row than the one asked).
    const Data* row(Table& table, const OID& index);

    // The row with the smallest index greater than after (fromStart: the first row of the
    // table), fetching pageSize rows at a time; null past the last row. *index receives the
    // row's index suffix. Rows the service returns out of place are never answered.
    const Data* next(Table& table, const OID& after, bool fromStart, unsigned pageSize,
                     OID* index);

private:
    struct Row {
        OID index;
        const Data* data;
    };
    struct Page {
        bool range = false;      // fetched as "rows after from" (or from the start)
        bool fromStart = false;
        OID from;
        bool complete = false;   // nothing follows the last row
        std::vector<Row> rows;   // sorted by index
        std::unique_ptr<VData> owner;
    };

    Page& keep(VData* rows, Table& table);
    const Data* successorIn(const Page& page, const OID& after, bool fromStart, OID* index,
                            bool* known) const;

    std::vector<Page> pages_;
    uint64_t serial_ = 0;
};

}  // namespace snmp
