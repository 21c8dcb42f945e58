#include "tools/hostd/fixture_service.h"

#include <algorithm>
#include <cstdio>

#include "platform/message_json.h"
#include "tools/hostd/paging.h"

namespace hostd {

namespace {

uint32_t idOf(const lm::message& m) { return m.getU32(lm::key::OBJECT_ID); }

// Transport fields (0xFF00xx: destination, sender, sequence, command, ...) are not data.
bool isHeader(uint32_t key) { return (lm::fieldOf(key) >> 16) == 0xFF; }

// The request's data fields, without the header and without the object id.
lm::message dataFields(const lm::message& req) {
    lm::message m;
    for (uint32_t key : req.keys())
        if (!isHeader(key) && key != lm::key::OBJECT_ID) lm::copyField(req, key, m);
    return m;
}

lm::message noObject(const std::string& text) { return lm::errorMsg(text, lm::err::NO_OBJECT); }

}  // namespace

void FixtureService::load(const ServiceFixture& data) {
    objects_ = data.objects;
    hasObject_ = data.hasObject;
    object_ = data.object;
}

size_t FixtureService::indexOf(uint32_t id) const {
    auto it = std::lower_bound(objects_.begin(), objects_.end(), id,
                               [](const lm::message& m, uint32_t v) { return idOf(m) < v; });
    return it != objects_.end() && idOf(*it) == id ? size_t(it - objects_.begin()) : objects_.size();
}

lm::message FixtureService::handle(const lm::message& req) {
    switch (req.command()) {
    case lm::cmd::GET: return get(req);
    case lm::cmd::GET_ALL: return getAll(req);
    case lm::cmd::COUNT: {
        lm::message reply;
        reply.setU32(lm::key::COUNT, uint32_t(objects_.size()));
        return reply;
    }
    case lm::cmd::SET:
    case lm::cmd::OBJECT_SET: return set(req);
    case lm::cmd::ADD: return add(req);
    case lm::cmd::REMOVE: return remove(req);
    default: {
        char text[64];
        std::snprintf(text, sizeof text, "command 0x%X not served here", req.command());
        return lm::errorMsg(text, lm::err::BAD_REQUEST);
    }
    }
}

lm::message FixtureService::get(const lm::message& req) const {
    if (req.has(lm::key::OBJECT_ID)) {
        size_t i = indexOf(idOf(req));
        if (i == objects_.size()) return noObject("no object " + std::to_string(idOf(req)));
        return objects_[i];
    }
    if (hasObject_) return object_;
    return noObject("no object");
}

lm::message FixtureService::getAll(const lm::message& req) const {
    return pageReply(req, objects_, paging());
}

lm::message FixtureService::set(const lm::message& req) {
    lm::message change = dataFields(req);
    lm::message* target = nullptr;
    uint32_t id = 0;
    if (req.has(lm::key::OBJECT_ID)) {
        id = idOf(req);
        size_t i = indexOf(id);
        if (i == objects_.size()) return noObject("no object " + std::to_string(id));
        target = &objects_[i];
    } else if (hasObject_) {
        target = &object_;
    } else {
        return noObject("set needs an object id 0x08FE0001");
    }
    for (uint32_t key : change.keys()) lm::copyField(change, key, *target);
    if (endpoint()) endpoint()->notifyChange(id, change);
    return {};
}

lm::message FixtureService::add(const lm::message& req) {
    uint32_t id;
    if (req.has(lm::key::OBJECT_ID)) {
        id = idOf(req);
        if (indexOf(id) != objects_.size())
            return lm::errorMsg("object " + std::to_string(id) + " exists", lm::err::REFUSED);
    } else {
        id = objects_.empty() ? 1 : idOf(objects_.back()) + 1;
        if (id == 0) return lm::errorMsg("no free object id", lm::err::REFUSED);
    }
    lm::message object = dataFields(req);
    object.setU32(lm::key::OBJECT_ID, id);
    auto at = std::lower_bound(objects_.begin(), objects_.end(), id,
                               [](const lm::message& m, uint32_t v) { return idOf(m) < v; });
    objects_.insert(at, std::move(object));
    lm::message reply;
    reply.setU32(lm::key::OBJECT_ID, id);
    return reply;
}

lm::message FixtureService::remove(const lm::message& req) {
    if (!req.has(lm::key::OBJECT_ID)) return noObject("remove needs an object id 0x08FE0001");
    size_t i = indexOf(idOf(req));
    if (i == objects_.size()) return noObject("no object " + std::to_string(idOf(req)));
    objects_.erase(objects_.begin() + ptrdiff_t(i));
    return {};
}

}  // namespace hostd
