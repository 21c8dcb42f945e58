#include "mib/packer.h"
#include "mib/table.h"
#include "mib/table_provider.h"
#include "platform/bus.h"
#include "request/logs.h"

namespace snmp {

MapTable::MapTable(TableProvider* p, bool nested) : provider(p), nestedStdKey(nested) {}

MapTable::~MapTable() = default;

void MapTable::addIndex(Packer* packer, unsigned key) { indexes.emplace_back(packer, key); }

bool MapTable::hasStdKey() const {
    if (indexes.empty()) {
        LLOG(lm::errorLog()) << "map table without index" << std::endl;
    }
    return indexes.size() == 1 && lm::fieldOf(indexes[0].second) == lm::fieldOf(lm::key::OBJECT_ID);
}

Key MapTable::createKey(const OID& oid, bool strict) const {
    Key key;
    if (oid.empty()) return key;
    if (hasStdKey()) {
        key.id = oid[0];
        return key;
    }
    if (!addKeyToMessage(oid, key.message)) {
        if (strict) {
            key.bad = true;
        } else {
            LLOG(dlog) << "relaxed key" << std::endl;
            key.relaxed = true;
            key.message.setBool(lm::key::PARTIAL_KEY, true);
        }
    }
    return key;
}

bool MapTable::addKeyToMessage(const OID& oid, lm::message& m) const {
    OID rest = oid;
    for (const auto& [packer, field] : indexes) {
        if (!packer->addKeyToMessage(rest, m, field)) {
            LLOG(dlog) << "incomplete key" << std::endl;
            return false;
        }
    }
    return true;
}

void MapTable::addKeyToMessage(const Data* row, lm::message& m) const {
    m.clear();
    for (const auto& [packer, field] : indexes) packer->addKeyToMessage(row, m, field);
}

OID MapTable::getKey(const Data* row) const {
    if (indexes.size() == 1) return indexes[0].first->getAsKey(row);  // no copy to join
    OID key;
    for (const auto& index : indexes) key += index.first->getAsKey(row);
    return key;
}

unsigned MapTable::count() {
    unsigned n = 0;
    return provider->getCountCMD(n) ? n : 0;
}

VData* MapTable::get(const Key& key) { return provider->getData(key, this, 0); }
VData* MapTable::getNext(const Key& key, unsigned n) { return provider->getData(key, this, n); }
VData* MapTable::getFirst(unsigned n) { return provider->getFirst(n, this); }
bool MapTable::set(const OID&, Data* row) { return provider->setData(row, this); }

}  // namespace snmp
