#include "mib/row_cache.h"

#include <algorithm>

#include "mib/field_selection.h"
#include "mib/table.h"
#include "request/logs.h"

namespace snmp {

namespace {

// OID order over arcs: unsigned arc by arc, a prefix before its extensions.
int compareArcs(const unsigned int* a, size_t na, const unsigned int* b, size_t nb) {
    const size_t n = std::min(na, nb);
    for (size_t i = 0; i < n; ++i)
        if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    if (na == nb) return 0;
    return na < nb ? -1 : 1;
}

}  // namespace

int RowCache::Page::compare(const Row& row, const OID& index) const {
    return compareArcs(arcs.data() + row.at, row.length, index.data(), index.size());
}

bool RowCache::Page::less(const Row& a, const Row& b) const {
    return compareArcs(arcs.data() + a.at, a.length, arcs.data() + b.at, b.length) < 0;
}

void RowCache::beginRequest(uint64_t serial) {
    if (serial == serial_) return;
    serial_ = serial;
    pages_.clear();
}

bool RowCache::Page::answers(unsigned column) const {
    return whole || std::binary_search(columns.begin(), columns.end(), column);
}

template <class Fetch>
RowCache::Page& RowCache::fetchPage(Table& table, unsigned column, bool andLater,
                                    FetchPlanner& planner, Fetch fetch) {
    planner.plan(column, andLater, plan_);
    VData* rows;
    {
        const FieldSelection selection(plan_.whole ? nullptr : &plan_.fields);
        rows = fetch(table);
    }
    Page& page = pages_.emplace_back();
    page.owner.reset(rows);
    page.whole = plan_.whole;
    if (!plan_.whole) page.columns = plan_.columns;
    if (rows) {
        page.rows.reserve(rows->size());
        page.arcs.reserve(rows->size());  // one arc a row for the usual index
        for (const Data* d : rows->rows) {
            if (!d) continue;
            const OID index = table.getKey(d);
            page.rows.push_back({static_cast<uint32_t>(page.arcs.size()),
                                 static_cast<uint32_t>(index.size()), d});
            page.arcs.insert(page.arcs.end(), index.begin(), index.end());
        }
    }
    // Services send their pages in order; a sort is for those that do not.
    const auto byIndex = [&page](const Row& a, const Row& b) { return page.less(a, b); };
    if (!std::is_sorted(page.rows.begin(), page.rows.end(), byIndex))
        std::stable_sort(page.rows.begin(), page.rows.end(), byIndex);
    return page;
}

const Data* RowCache::row(Table& table, const OID& index, unsigned column, FetchPlanner& planner) {
    for (const Page& page : pages_) {
        if (!page.answers(column)) continue;
        for (const Row& r : page.rows)
            if (page.compare(r, index) == 0) return r.data;
    }
    const Key key = table.createKey(index, true);
    if (key.bad || key.empty()) return nullptr;
    const Page& page =
        fetchPage(table, column, false, planner, [&key](Table& t) { return t.get(key); });
    for (const Row& r : page.rows)
        if (page.compare(r, index) == 0) return r.data;
    return nullptr;  // no such row, or the service answered another one
}

// The successor of after within a page that covers it; *known is false when the page
// cannot tell (after lies beyond what it holds).
const Data* RowCache::successorIn(const Page& page, const OID& after, bool fromStart, OID* index,
                                  bool* known) const {
    *known = false;
    if (!page.range) return nullptr;
    if (!page.fromStart && (fromStart || after < page.from)) return nullptr;
    auto it = page.rows.begin();
    if (!fromStart) {
        // A walk asks for the row after the one it was given last: tried before a search.
        const size_t last = page.last;
        if (last + 1 < page.rows.size() && page.compare(page.rows[last], after) == 0 &&
            page.compare(page.rows[last + 1], after) > 0) {
            it += static_cast<std::ptrdiff_t>(last + 1);
        } else {
            it = std::upper_bound(
                page.rows.begin(), page.rows.end(), after,
                [&page](const OID& a, const Row& r) { return page.compare(r, a) > 0; });
        }
    }
    if (it != page.rows.end()) {
        page.last = static_cast<size_t>(it - page.rows.begin());
        *known = true;
        const auto first = page.arcs.begin() + it->at;
        index->arcs().assign(first, first + it->length);
        return it->data;
    }
    *known = page.complete;
    return nullptr;
}

const Data* RowCache::next(Table& table, const OID& after, bool fromStart, unsigned pageSize,
                           unsigned column, FetchPlanner& planner, OID* index) {
    bool known = false;
    for (const Page& page : pages_) {
        if (!page.answers(column)) continue;
        const Data* d = successorIn(page, after, fromStart, index, &known);
        if (known) return d;
    }
    Key key;
    if (!fromStart) {
        key = table.createKey(after, false);
        if (key.bad) return nullptr;
        if (!key.empty() && !key.relaxed) key.skipFirst = true;  // the named row is not wanted
    }
    // A walk that starts a column after running to the table's end in another one in this
    // request (a GetBulk over a table of few rows) will likely run through the next ones
    // too: one fetch for them all instead of one a column.
    const bool andLater = fromStart && std::any_of(pages_.begin(), pages_.end(), [](const Page& p) {
                              return p.range && p.complete;
                          });
    size_t fetched = 0;
    Page& page = fetchPage(table, column, andLater, planner, [&](Table& t) {
        VData* rows = fromStart ? t.getFirst(pageSize) : t.getNext(key, pageSize);
        fetched = rows ? rows->size() : 0;
        return rows;
    });
    page.range = true;
    page.fromStart = fromStart;
    page.from = after;
    // Rows at or before the name asked are the service's mistake: never answered.
    if (!fromStart) {
        const auto firstAfter = std::upper_bound(
            page.rows.begin(), page.rows.end(), after,
            [&page](const OID& a, const Row& r) { return page.compare(r, a) > 0; });
        if (firstAfter != page.rows.begin()) {
            LLOG(dlog) << "table: " << (firstAfter - page.rows.begin())
                       << " row(s) at or before the name asked" << std::endl;
        }
        page.rows.erase(page.rows.begin(), firstAfter);
    }
    // A short page ends the table; so does a full one with nothing past the name, rather
    // than ask the same again.
    page.complete = fetched < pageSize || page.rows.empty();
    const Data* d = successorIn(page, after, fromStart, index, &known);
    return d;
}

}  // namespace snmp
