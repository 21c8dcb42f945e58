#include <memory>

#include "mib/table.h"
#include "request/logs.h"

namespace snmp {

namespace {

// Row numbers are kept in 8 bits: larger first arcs wrap.
uint8_t rowNumberOf(const OID& oid) { return static_cast<uint8_t>(oid.empty() ? 0 : oid[0]); }

}  // namespace

StaticMuxTable::~StaticMuxTable() = default;

void StaticMuxTable::addProvider(const OID& oid, DataProvider* provider) { providers[oid] = provider; }

Key StaticMuxTable::createKey(const OID& oid, bool) const {
    Key key;
    if (!oid.empty()) key.id = oid[0];
    return key;
}

OID StaticMuxTable::getKey(const Data* row) const {
    return OID(static_cast<const MuxData*>(row)->rowNumber);
}

unsigned StaticMuxTable::count() { return static_cast<unsigned>(providers.size()); }

VData* StaticMuxTable::get(const Key& key) {
    auto it = providers.find(OID(key.id));
    if (it == providers.end()) return nullptr;
    Data* record = it->second->get();
    if (!record) return nullptr;
    auto rows = std::make_unique<VData>();
    static_cast<MuxData*>(record)->rowNumber = rowNumberOf(it->first);
    rows->rows.push_back(record);
    return rows.release();
}

VData* StaticMuxTable::rowsFrom(std::map<OID, DataProvider*>::iterator it, unsigned n) {
    auto rows = std::make_unique<VData>();
    for (; it != providers.end() && rows->size() < n; ++it) {
        Data* record = it->second->get();
        if (!record) continue;  // a row without data right now is left out of the walk
        static_cast<MuxData*>(record)->rowNumber = rowNumberOf(it->first);
        rows->rows.push_back(record);
    }
    return rows.release();
}

VData* StaticMuxTable::getFirst(unsigned n) { return rowsFrom(providers.begin(), n); }

VData* StaticMuxTable::getNext(const Key& key, unsigned n) {
    return rowsFrom(key.empty() ? providers.begin() : providers.upper_bound(OID(key.id)), n);
}

bool StaticMuxTable::set(const OID& oid, Data* row) {
    auto it = providers.find(oid);
    return it != providers.end() && it->second->set(row);
}

}  // namespace snmp
