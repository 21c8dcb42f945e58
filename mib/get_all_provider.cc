#include "mib/get_all_provider.h"

#include <algorithm>
#include <memory>

#include "mib/field_selection.h"
#include "mib/service_query.h"
#include "mib/table.h"
#include "platform/bus.h"
#include "request/logs.h"

namespace snmp {

namespace {

// The start of a pass, as the paging contract places it: a position when an earlier reply
// gave one, else the row's object id (standard key); the key fields otherwise.
void placeStart(const Key& key, const MapTable& table, lm::message& req) {
    if (!table.hasStdKey()) {
        if (!key.message.empty()) req.setMsg(lm::key::NESTED_KEY, key.message);
        return;
    }
    lm::message start;
    if (key.position != Key::UNSET) {
        start.setU32(lm::key::START, key.position);
    } else if (key.id != Key::UNSET) {
        start.setU32(lm::key::OBJECT_ID, key.id);
    }
    if (start.empty()) return;
    if (table.nestedStdKey) {
        req.setMsg(lm::key::NESTED_KEY, std::move(start));
    } else {
        for (uint32_t k : start.keys()) req.setU32(k, start.getU32(k));
    }
}

// Where an object stands in the service's list, read before a builder may take its fields.
struct Placement {
    uint32_t id;
    uint32_t position;
};

Placement placementOf(const lm::message& object) {
    return {object.getU32(lm::key::OBJECT_ID, Key::UNSET), object.getU32(lm::key::POSITION, Key::UNSET)};
}

// Whether an object lies at or before the row a walk starts after, so it is not part of
// the walk. Standard keys compare ids, which is also what puts a page that a service
// served out of order right; other keys can only recognise the named row itself.
bool atOrBeforeStart(const Key& start, bool stdKey, Placement at) {
    return start.skipFirst && stdKey && start.id != Key::UNSET && at.id != Key::UNSET &&
           at.id <= start.id;
}

bool isStartRow(const Key& start, const MapTable& table, const Data* row) {
    if (!start.skipFirst || table.hasStdKey() || !row) return false;
    lm::message rowKey;
    table.addKeyToMessage(row, rowKey);
    return rowKey == start.message;
}

// Moves the working key to the row just taken. Standard keys keep the highest id seen,
// so a page served in another order still moves the walk forward.
void advance(Key& work, const MapTable& table, Placement at, const Data* row,
             const std::vector<uint32_t>& path) {
    if (table.hasStdKey()) {
        if (at.id == Key::UNSET) return;
        if (work.id == Key::UNSET || at.id >= work.id) {
            work.id = at.id;
            work.position = at.position;
        }
        return;
    }
    if (!row) {
        LLOG(dlog) << "unable to update key for " << (path.empty() ? 0u : path[0]) << std::endl;
        return;
    }
    LLOG(dlog) << "update key" << std::endl;
    table.addKeyToMessage(row, work.message);
}

void destroyFrom(VData& rows, size_t from) {
    for (size_t i = from; i < rows.rows.size(); ++i) delete rows.rows[i];
    rows.rows.resize(from);
}

}  // namespace

GetAllProvider::GetAllProvider(RowBuilder rowBuilder, std::vector<uint32_t> path,
                               uint32_t parameter) {
    setSource(std::move(rowBuilder), std::move(path), parameter);
}

GetAllProvider::GetAllProvider(ListBuilder listBuilder, std::vector<uint32_t> path,
                               uint32_t parameter) {
    setSource(std::move(listBuilder), std::move(path), parameter);
}

void GetAllProvider::setSource(RowBuilder rowBuilder, std::vector<uint32_t> path,
                               uint32_t parameter) {
    source = Source{std::move(path), nullptr, std::move(rowBuilder), parameter, 0, nullptr};
}

void GetAllProvider::setSource(ListBuilder listBuilder, std::vector<uint32_t> path,
                               uint32_t parameter) {
    source = Source{std::move(path), std::move(listBuilder), nullptr, parameter, 0, nullptr};
}

VData* GetAllProvider::getData(const Key& key, const MapTable* table, unsigned n) {
    return getData(key, table, source, n, nullptr);
}

VData* GetAllProvider::getFirst(unsigned n, const MapTable* table) {
    return getFirst(n, table, source, nullptr);
}

VData* GetAllProvider::getFirst(unsigned n, const MapTable* table, Source& src, VData* result) {
    LLOG(dlog) << "get first: " << n << std::endl;
    return getData(Key(), table, src, n, result);
}

VData* GetAllProvider::getData(const Key& key, const MapTable* table, Source& src, unsigned n,
                               VData* result) {
    std::unique_ptr<VData> created;
    if (!result) {
        created = std::make_unique<VData>();
        result = created.get();
    }
    const unsigned want = n ? n : 1;
    unsigned added = 0;
    Key work = key;
    uint32_t lastContinuation = Key::UNSET;
    const std::vector<uint32_t>* fields = FieldSelection::current();
    // Every pass that goes on has taken at least one row, so a walk needs at most want
    // passes; the bound holds off a service that keeps answering without progress.
    for (unsigned pass = 0; pass <= want && added < want; ++pass) {
        const Key passStart = work;
        lm::message req;
        req.setCommand(lm::cmd::GET_ALL);
        req.setU32(lm::key::FLAGS, src.parameter);
        // What is still wanted, and one more on the first pass from a named row, which the
        // service sends back first.
        const bool startRowComes = pass == 0 && key.skipFirst;
        req.setU32(lm::key::WANT, want - added + (startRowComes ? 1 : 0));
        if (fields) req.setU32Array(lm::key::FIELDS, *fields);
        placeStart(work, *table, req);
        lm::message reply = queryService(src.path, req);
        if (lm::isError(reply)) {
            if (lm::getErrorCode(reply) == lm::err::NO_OBJECT && !key.empty()) {
                LLOG(dlog) << "bad key" << std::endl;
                return nullptr;  // created (if any) goes with this scope
            }
            break;  // any other failure ends the walk with what it gathered
        }
        std::vector<lm::message>* objects = reply.findMsgArray(lm::key::OBJECTS);
        if (!objects) break;
        const bool stdKey = table->hasStdKey();
        // The whole page is taken, even past what was wanted: a service that serves a page
        // in another order must not lose its lowest rows to the cut.
        for (lm::message& object : *objects) {
            const Placement at = placementOf(object);
            if (atOrBeforeStart(passStart, stdKey, at)) {
                LLOG(dlog) << "skip first" << std::endl;
                continue;
            }
            const size_t before = result->size();
            Data* keyRow = nullptr;
            if (src.listBuilder) {
                src.listBuilder(object, *result);
                if (result->size() > before) keyRow = result->rows.back();
            } else if (src.rowBuilder) {
                keyRow = src.rowBuilder(object, *result);
                if (keyRow) result->rows.push_back(keyRow);
            }
            if (isStartRow(passStart, *table, keyRow)) {
                LLOG(dlog) << "skip first" << std::endl;
                destroyFrom(*result, before);
                continue;
            }
            advance(work, *table, at, keyRow, src.path);
            added += static_cast<unsigned>(result->size() - before);
            LLOG(dlog) << "added: " << added << std::endl;
        }
        if (added >= want || !reply.hasU32(lm::key::START)) break;  // enough, or the list ended
        // The next pass goes on where the service says its list continues, still dropping
        // rows at or before the start. A page with nothing new (a service that pages short
        // may send the start row alone) is not the end; the same continuation twice
        // without anything new is a service that does not move, and ends the walk.
        const uint32_t next = reply.getU32(lm::key::START);
        if (work == passStart && next == lastContinuation) break;
        work.position = next;
        lastContinuation = next;
        work.skipFirst = true;
    }
    created.release();
    return result;
}

bool GetAllProvider::setData(Data* row, MapTable*) { return write(source, row); }

bool GetAllProvider::getCountCMD(unsigned& count) {
    count = 0;
    return countOf(source, count);
}

bool GetAllProvider::countOf(const Source& src, unsigned& count) {
    lm::message req;
    req.setCommand(lm::cmd::COUNT);
    const lm::message reply = queryService(src.path, req);
    if (lm::isError(reply) || !reply.hasU32(lm::key::COUNT)) {
        LLOG(dlog) << "getCount err: " << lm::getError(reply) << std::endl;
        return false;
    }
    count += reply.getU32(lm::key::COUNT);
    return true;
}

bool GetAllProvider::write(const Source& src, Data* row) {
    if (!row) return false;
    lm::message req;
    req.setCommand(lm::cmd::OBJECT_SET);
    row->toMessage(req);
    return !lm::isError(queryService(src.path, req));
}

void GetAllMultiProvider::insert(Source s) {
    auto at = std::upper_bound(sources.begin(), sources.end(), s.mask,
                               [](uint32_t mask, const Source& o) { return mask < o.mask; });
    sources.insert(at, std::move(s));
}

void GetAllMultiProvider::addSource(ListBuilder listBuilder, std::vector<uint32_t> path,
                                    uint32_t parameter, uint32_t mask) {
    Source s;
    s.listBuilder = std::move(listBuilder);
    s.path = std::move(path);
    s.parameter = parameter;
    s.mask = mask;
    insert(std::move(s));
}

void GetAllMultiProvider::addSource(LocalSource localSource, uint32_t mask) {
    Source s;
    s.localSource = std::move(localSource);
    s.mask = mask;
    insert(std::move(s));
}

// The first n rows over all sources in mask order. A source that runs short hands on to
// the next one for the rows still missing.
VData* GetAllMultiProvider::getFirst(unsigned n, const MapTable* table) {
    auto result = std::make_unique<VData>();
    const size_t want = n ? n : 1;
    for (Source& src : sources) {
        if (src.localSource) {
            src.localSource(nullptr, static_cast<unsigned>(want - result->size()), result.get(),
                            nullptr);
        } else {
            GetAllProvider::getFirst(static_cast<unsigned>(want - result->size()), table, src,
                                     result.get());
        }
        if (result->size() >= want) break;
    }
    return result.release();
}

// Rows after key: the source whose mask the key's id carries goes on from the key, every
// later source from its first object. An empty key (id all ones) selects every source.
VData* GetAllMultiProvider::getData(const Key& key, const MapTable* table, unsigned n) {
    auto result = std::make_unique<VData>();
    const size_t want = n ? n : 1;
    Key work = key;
    for (Source& src : sources) {
        if ((work.id & src.mask) != src.mask) continue;
        const unsigned left = static_cast<unsigned>(want - result->size());
        if (src.localSource) {
            src.localSource(&work, n ? left : 0, result.get(), nullptr);
        } else {
            Key k = work;
            if (!k.empty() && k.id != Key::UNSET) k.id &= ~src.mask;
            // A refused key leaves the rows already gathered in result.
            GetAllProvider::getData(k, table, src, n ? left : 0, result.get());
        }
        if (n == 0 || result->size() >= want) break;
        work = Key();
    }
    return result.release();
}

bool GetAllMultiProvider::setData(Data* row, MapTable*) {
    bool written = false;
    for (Source& src : sources) {
        if (src.localSource) {
            src.localSource(nullptr, 0, nullptr, row);
        } else {
            written = write(src, row) || written;
        }
    }
    return written;
}

bool GetAllMultiProvider::getCountCMD(unsigned& count) {
    count = 0;
    for (const Source& src : sources) {
        if (src.localSource) continue;
        if (!countOf(src, count)) return false;
    }
    return true;
}

}  // namespace snmp
