#include "security/community_keep.h"

#include <string>

#include "platform/bus.h"

namespace snmp {

CommunityKeep* communityKeep = nullptr;

bool engineReady() { return communityKeep && communityKeep->engineIdSet(); }

CommunityKeep::CommunityKeep() : lm::AMap(COMMUNITIES_STORE, 5) { communityKeep = this; }

CommunityKeep::~CommunityKeep() {
    if (communityKeep == this) communityKeep = nullptr;
}

bool CommunityKeep::init() {
    bool ok = AMap::init();  // refuses (with its own line) an unusable store
    if (items().empty()) {
        // The default record: written once, from then on an ordinary stored record.
        auto* item = new Item;
        allocator().request(0);
        item->id = 0;
        item->name = "public";
        item->readAccess = true;
        item->writeAccess = false;
        item->securityLevel = 0;
        item->setConfig(lm::message(), 0);  // no addresses: any IPv4 source
        insert(item);
    }
    return ok;
}

Item* CommunityKeep::find(const std::string& name) const {
    for (const auto& [id, item] : items()) {
        auto* record = static_cast<Item*>(item);
        if (record->name == name) return record;
    }
    return nullptr;
}

Item* CommunityKeep::record(uint32_t id) const { return static_cast<Item*>(item(id)); }

void CommunityKeep::regenerateKeys() {
    if (engineId_.empty()) return;
    for (const auto& [id, item] : items()) static_cast<Item*>(item)->regenerateKeys(engineId_);
}

void CommunityKeep::setEngineId(Octets id) {
    engineId_ = std::move(id);
    engineIdSet_ = true;
    regenerateKeys();
}

lm::message CommunityKeep::doAdd(lm::AMapItem* item) { return doSet(nullptr, item); }

lm::message CommunityKeep::doSet(lm::AMapItem* existing, lm::AMapItem* incoming) {
    const std::string& name = static_cast<Item*>(incoming)->name;
    if (name.size() > MAX_NAME_OCTETS)
        return lm::errorMsg(
            "community name longer than " + std::to_string(MAX_NAME_OCTETS) + " octets",
            lm::err::REFUSED);
    for (const auto& [id, item] : items()) {
        if (existing && id == existing->id) continue;
        if (static_cast<Item*>(item)->name == name)
            return lm::errorMsg("community with the same name already exists!", lm::err::REFUSED);
    }
    return lm::message();
}

lm::message CommunityKeep::doRemove(lm::AMapItem* item) {
    if (item->id == 0) return lm::errorMsg("can not remove default community", lm::err::REFUSED);
    return lm::message();
}

}  // namespace snmp
