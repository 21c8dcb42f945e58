// AMap: an object map over a store. The hooks see every change before it is made; a refusal
// leaves both memory and store untouched.

#include "platform/amap.h"

#include "platform/log.h"

namespace lm {

namespace {

constexpr unsigned DEFAULT_FLAGS = 5;   // what the platform's tools ask for
constexpr uint32_t DEFAULT_PAGE = 100;  // objects per get-all reply when the request names none
constexpr uint32_t NO_ID = 0xFFFFFFFF;

message missingId() { return errorMsg("object id missing", err::BAD_REQUEST); }
message noObject(uint32_t id) { return errorMsg("no object " + std::to_string(id), err::NO_OBJECT); }

}  // namespace

AMapItem::~AMapItem() = default;

AMap::AMap(const std::string& storePath, unsigned storeFlags) : store_(storePath, storeFlags) {}

AMap::~AMap() {
    for (auto& [id, item] : items_) delete item;
}

bool AMap::init() {
    if (!store_.isOpen()) {
        LLOG(errorLog()) << "object map: store " << store_.filePath() << " is unusable"
                         << std::endl;
        return false;
    }
    for (uint32_t record : store_.records()) {
        message stored;
        if (!store_.get(record, stored)) continue;
        AMapItem* item = create();
        item->id = record;
        item->setConfig(stored, 0);
        alloc_.request(record);
        delete items_[record];
        items_[record] = item;
    }
    return true;
}

AMapItem* AMap::item(uint32_t id) const {
    auto it = items_.find(id);
    return it == items_.end() ? nullptr : it->second;
}

namespace {

bool persist(Store& store, const AMapItem& item) {
    if (!item.isStorable()) return !store.has(item.id) || store.remove(item.id);
    message config;
    item.getConfig(config, DEFAULT_FLAGS);
    return store.put(item.id, config);
}

}  // namespace

bool AMap::insert(AMapItem* newItem) {
    // Kept in memory even when the write fails, so that a default object still serves.
    bool stored = persist(store_, *newItem);
    AMapItem*& slot = items_[newItem->id];
    if (slot != newItem) delete slot;
    slot = newItem;
    return stored;
}

message AMap::describe(uint32_t id, unsigned flags) const {
    AMapItem* found = item(id);
    if (!found || !found->isVisible()) return noObject(id);
    message out;
    found->getConfig(out, flags);
    out.setU32(key::OBJECT_ID, id);
    return out;
}

message AMap::getObject(uint32_t id) { return describe(id, DEFAULT_FLAGS); }

message AMap::cmdGet(const message& req) {
    return describe(req.getU32(key::OBJECT_ID, 0), req.getU32(key::FLAGS, DEFAULT_FLAGS));
}

message AMap::cmdSet(const message& req) { return change(req); }

message AMap::cmdGetAll(const message& req) {
    // Positions count the visible objects in id order; START names the first one wanted and
    // comes back as the continuation when objects remain after the page.
    uint32_t want = req.getU32(key::WANT, 0);
    if (want == 0) want = DEFAULT_PAGE;
    uint32_t start = req.getU32(key::START, 0);
    unsigned flags = req.getU32(key::FLAGS, DEFAULT_FLAGS);
    std::vector<message> objects;
    uint32_t position = 0;
    bool more = false;
    for (const auto& [id, it] : items_) {
        if (!it->isVisible()) continue;
        if (position >= start) {
            if (objects.size() == want) {
                more = true;
                break;
            }
            message obj;
            it->getConfig(obj, flags);
            obj.setU32(key::OBJECT_ID, id);
            obj.setU32(key::POSITION, position);
            objects.push_back(std::move(obj));
        }
        ++position;
    }
    message reply;
    reply.setMsgArray(key::OBJECTS, std::move(objects));
    if (more) reply.setU32(key::START, position);
    return reply;
}

message AMap::cmdUnknown(const message& req, uint32_t command) {
    switch (command) {
    case cmd::ADD: return add(req);
    case cmd::REMOVE: return removeObject(req);
    case cmd::OBJECT_SET: return change(req);
    case cmd::COUNT: {
        uint32_t n = 0;
        for (const auto& [id, it] : items_) n += it->isVisible() ? 1 : 0;
        message reply;
        reply.setU32(key::COUNT, n);
        return reply;
    }
    default: return Handler::cmdUnknown(req, command);
    }
}

message AMap::doAdd(AMapItem*) { return message(); }
message AMap::doSet(AMapItem*, AMapItem*) { return message(); }
message AMap::doRemove(AMapItem*) { return message(); }

message AMap::add(const message& req) {
    std::unique_ptr<AMapItem> fresh(create());
    fresh->setConfig(req, 0);
    message verdict = doAdd(fresh.get());
    if (isError(verdict)) return verdict;
    uint32_t id = NO_ID;
    if (req.hasU32(key::OBJECT_ID) && alloc_.request(req.getU32(key::OBJECT_ID)))
        id = req.getU32(key::OBJECT_ID);
    else
        id = alloc_.alloc();
    if (id == NO_ID) return errorMsg("no free object id", err::FAILED);
    fresh->id = id;
    if (!persist(store_, *fresh)) {
        alloc_.free(id);
        return errorMsg("cannot store object " + std::to_string(id), err::FAILED);
    }
    items_[id] = fresh.release();
    message reply;
    reply.setU32(key::OBJECT_ID, id);
    return reply;
}

message AMap::change(const message& req) {
    if (!req.hasU32(key::OBJECT_ID)) return missingId();
    uint32_t id = req.getU32(key::OBJECT_ID);
    AMapItem* existing = item(id);
    if (!existing) return noObject(id);
    std::unique_ptr<AMapItem> incoming(existing->clone());
    incoming->id = id;
    incoming->setConfig(req, 0);
    message verdict = doSet(existing, incoming.get());
    if (isError(verdict)) return verdict;
    if (!persist(store_, *incoming)) return errorMsg("cannot store object " + std::to_string(id), err::FAILED);
    items_[id] = incoming.release();
    delete existing;
    return message();
}

message AMap::removeObject(const message& req) {
    if (!req.hasU32(key::OBJECT_ID)) return missingId();
    uint32_t id = req.getU32(key::OBJECT_ID);
    AMapItem* existing = item(id);
    if (!existing) return noObject(id);
    message verdict = doRemove(existing);
    if (isError(verdict)) return verdict;
    if (store_.has(id) && !store_.remove(id))
        return errorMsg("cannot remove stored object " + std::to_string(id), err::FAILED);
    items_.erase(id);
    alloc_.free(id);
    delete existing;
    return message();
}

}  // namespace lm
