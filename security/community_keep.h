// CommunityKeep: the bus object map (handler ID_COMMUNITIES) of community / user records,
// persisted in "/lumo/store/snmp-communities". On top of lm::AMap it keeps the agent's rules:
// a default record "public" with id 0 that always exists and cannot be removed, unique
// names, and keys localised to the agent's engine id.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/amap.h"
#include "platform/message.h"
#include "security/item.h"
#include "wire/v3info.h"

namespace snmp {

constexpr const char* COMMUNITIES_STORE = "/lumo/store/snmp-communities";
// The longest name a record may have: the size of a DisplayString, so that every name can
// be shown and typed by a manager. Adds and renames beyond it are refused.
constexpr size_t MAX_NAME_OCTETS = 255;

class CommunityKeep : public lm::AMap {
public:
    // Registers itself as snmp::communityKeep (and unregisters on destruction).
    CommunityKeep();
    ~CommunityKeep() override;

    // Loads the stored records; writes the default "public" record when the store is empty.
    // False (one line logged) when the store is unusable.
    bool init();

    // First record in ascending id whose name equals name exactly; null when none.
    Item* find(const std::string& name) const;
    Item* record(uint32_t id) const;  // null when absent

    // Re-derives every record's keys; nothing while the engine id is empty.
    void regenerateKeys();

    // The local engine id. Setting it (even to the same value) rebuilds every record's keys.
    void setEngineId(Octets id);
    const Octets& engineId() const { return engineId_; }
    bool engineIdSet() const { return engineIdSet_; }

    // Object-map hooks: an empty reply accepts, lm::errorMsg(text, 0xFE0006) refuses (a name
    // already used by another record, a name longer than MAX_NAME_OCTETS, removing id 0).
    lm::message doAdd(lm::AMapItem* item) override;
    lm::message doSet(lm::AMapItem* existing, lm::AMapItem* incoming) override;
    lm::message doRemove(lm::AMapItem* item) override;

protected:
    lm::AMapItem* create() override { return new Item; }

private:
    Octets engineId_;
    bool engineIdSet_ = false;
};

// The process's CommunityKeep; null until the agent makes it.
extern CommunityKeep* communityKeep;

// True once the agent exists and has set its engine id: record changes derive keys from then on.
bool engineReady();

}  // namespace snmp
