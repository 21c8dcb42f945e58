// Handler: one addressable object on the bus; commands are routed to overridable operations.
#include <iomanip>
#include <sstream>

#include "platform/bus_internal.h"

namespace lm {

namespace {

std::string hex(uint32_t v) {
    std::ostringstream os;
    os << "0x" << std::uppercase << std::hex << std::setw(6) << std::setfill('0') << v;
    return os.str();
}

constexpr uint32_t PLATFORM_PROGRAM = 1;  // receives undo records

}  // namespace

Handler::Handler() = default;
Handler::~Handler() = default;

Path Handler::path() const { return {looper_ ? looper_->programId() : 0, id_}; }

void Handler::sendCmd(message& m, uint32_t command) {
    m.setCommand(command);
    m.setU32Array(key::SENDER, path());
    if (!looper_) {
        LLOG(busLog()) << "bus: handler " << id_ << " is on no looper; command dropped" << std::endl;
        return;
    }
    looper_->send(m);
}

void Handler::sendUndo(const message&, const message& undo, const std::string& text) {
    message m;
    m.setDestination({PLATFORM_PROGRAM});
    m.setMsg(key::UNDO_MSG, undo);
    m.setString(key::UNDO_TEXT, text);
    sendCmd(m, cmd::UNDO);
}

void Handler::notifyChange(uint32_t objectId, const message& change) {
    message m = change;
    // The change is often the request itself: its routing fields mean nothing to subscribers.
    for (uint32_t k : {key::DEST, key::SENDER, key::SEQ, key::IS_REPLY, key::NO_REPLY, key::COMMAND})
        m.remove(k);
    m.setU32(key::OBJECT_ID, objectId);
    publish(cmd::CHANGED, m);
}

void Handler::publish(uint32_t notification, const message& m) {
    if (!looper_) return;
    Looper::Impl& loop = *looper_->impl_;
    for (const auto& sub : loop.subs.matching(id_, notification)) {
        if (!filterMatches(sub.filter, m)) continue;
        message n = m;
        n.remove(key::SEQ);
        n.remove(key::IS_REPLY);
        n.setCommand(notification);
        n.setU32Array(key::SENDER, path());
        n.setDestination(sub.subscriber);
        n.setBool(key::NO_REPLY, true);
        Delivery d = loop.post(n);
        if (d == Delivery::NO_PROGRAM || d == Delivery::FAILED) {
            LLOG(busLog()) << "bus: forgetting subscriber " << sub.subscriber[0] << std::endl;
            loop.subs.forget(id_, sub.subscriber);
        }
    }
}

namespace {

message subscription(const Path& publisher, uint32_t notification, const message& filter) {
    message m;
    m.setDestination(publisher);
    m.setU32(key::NOTIFICATION, notification);
    m.setMsg(key::FILTER, filter);
    return m;
}

}  // namespace

void Handler::subscribe(const Path& publisher, uint32_t notification, const message& filter) {
    message m = subscription(publisher, notification, filter);
    sendCmd(m, cmd::SUBSCRIBE);
}

void Handler::unsubscribe(const Path& publisher, uint32_t notification, const message& filter) {
    message m = subscription(publisher, notification, filter);
    sendCmd(m, cmd::UNSUBSCRIBE);
}

message Handler::cmdGet(const message& req) { return getObject(req.getU32(key::OBJECT_ID, 0)); }

message Handler::cmdSet(const message&) {
    return errorMsg("set is not supported by this object", err::BAD_REQUEST);
}

message Handler::cmdGetAll(const message&) {
    return errorMsg("get-all is not supported by this object", err::BAD_REQUEST);
}

message Handler::cmdUnknown(const message&, uint32_t command) {
    return errorMsg("unknown command " + hex(command), err::BAD_REQUEST);
}

message Handler::getObject(uint32_t id) {
    return errorMsg("no object " + std::to_string(id), err::NO_OBJECT);
}

bool Handler::filterMatches(const message&, const message&) const { return true; }

message Handler::dispatch(const message& req) {
    uint32_t command = req.command();
    switch (command) {
    case cmd::GET: return cmdGet(req);
    case cmd::SET: return cmdSet(req);
    case cmd::GET_ALL: return cmdGetAll(req);
    default: return cmdUnknown(req, command);
    }
}

}  // namespace lm
