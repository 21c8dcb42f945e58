#include "mib/row_cache.h"

#include <algorithm>

#include "mib/field_selection.h"
#include "mib/table.h"
#include "request/logs.h"

namespace snmp {

void RowCache::beginRequest(uint64_t serial) {
    if (serial == serial_) return;
    serial_ = serial;
    pages_.clear();
}

bool RowCache::Page::answers(unsigned column) const {
    return whole || std::binary_search(columns.begin(), columns.end(), column);
}

template <class Fetch>
RowCache::Page& RowCache::fetchPage(Table& table, unsigned column, FetchPlanner& planner,
                                    Fetch fetch) {
    planner.plan(column, plan_);
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
        for (const Data* d : rows->rows)
            if (d) page.rows.push_back({table.getKey(d), d});
    }
    // Services send their pages in order; a sort is for those that do not.
    const auto byIndex = [](const Row& a, const Row& b) { return a.index < b.index; };
    if (!std::is_sorted(page.rows.begin(), page.rows.end(), byIndex))
        std::stable_sort(page.rows.begin(), page.rows.end(), byIndex);
    return page;
}

const Data* RowCache::row(Table& table, const OID& index, unsigned column, FetchPlanner& planner) {
    for (const Page& page : pages_) {
        if (!page.answers(column)) continue;
        for (const Row& r : page.rows)
            if (r.index == index) return r.data;
    }
    const Key key = table.createKey(index, true);
    if (key.bad || key.empty()) return nullptr;
    const Page& page = fetchPage(table, column, planner, [&key](Table& t) { return t.get(key); });
    for (const Row& r : page.rows)
        if (r.index == index) return r.data;
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
        if (last + 1 < page.rows.size() && page.rows[last].index == after &&
            after < page.rows[last + 1].index) {
            it += static_cast<std::ptrdiff_t>(last + 1);
        } else {
            it = std::upper_bound(page.rows.begin(), page.rows.end(), after,
                                  [](const OID& a, const Row& r) { return a < r.index; });
        }
    }
    if (it != page.rows.end()) {
        page.last = static_cast<size_t>(it - page.rows.begin());
        *known = true;
        *index = it->index;
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
    size_t fetched = 0;
    Page& page = fetchPage(table, column, planner, [&](Table& t) {
        VData* rows = fromStart ? t.getFirst(pageSize) : t.getNext(key, pageSize);
        fetched = rows ? rows->size() : 0;
        return rows;
    });
    page.range = true;
    page.fromStart = fromStart;
    page.from = after;
    // Rows at or before the name asked are the service's mistake: never answered.
    if (!fromStart) {
        const auto firstAfter =
            std::upper_bound(page.rows.begin(), page.rows.end(), after,
                             [](const OID& a, const Row& r) { return a < r.index; });
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
