#include "traps/interface_state.h"

#include <algorithm>

#include "platform/bus.h"
#include "platform/looper.h"
#include "request/logs.h"
#include "wire/snmp_codes.h"
#include "platform/services.h"

namespace snmp {

namespace {

constexpr uint32_t FILTER_TYPE_FLAGS = lm::service::iface::TYPE_FLAGS;
constexpr uint32_t FILTER_EXCLUDED = 0x08010011;  // type flags a subscriber does not want

const lm::Path& interfaceService() {
    static const lm::Path path{lm::service::INTERFACES_PROGRAM, lm::service::INTERFACES_HANDLER};
    return path;
}

const OID LINK_DOWN{1, 3, 6, 1, 6, 3, 1, 1, 5, 3};
const OID LINK_UP{1, 3, 6, 1, 6, 3, 1, 1, 5, 4};
const OID IF_INDEX{1, 3, 6, 1, 2, 1, 2, 2, 1, 1};
const OID IF_ADMIN_STATUS{1, 3, 6, 1, 2, 1, 2, 2, 1, 7};
const OID IF_OPER_STATUS{1, 3, 6, 1, 2, 1, 2, 2, 1, 8};
constexpr const char* STATUS_UP = "1";
constexpr const char* STATUS_DOWN = "2";
constexpr uint32_t EVERY_INTERFACE = 0;

VariableBinding integer(const OID& column, uint32_t index, std::string value) {
    return VariableBinding{column + index, tag::INTEGER, std::move(value)};
}

}  // namespace

std::map<uint32_t, uint32_t> ifStateMap;
std::set<uint32_t> interfaceFilter;

bool interfaceTrapMaker(const lm::message& m, TrapInfo& info) {
    namespace f = lm::service::iface;
    const std::vector<uint32_t>* sender = m.findU32Array(lm::key::SENDER);
    if (!sender || *sender != interfaceService() || !m.hasU32(f::STATUS) ||
        !m.hasU32(lm::key::OBJECT_ID))
        return false;
    const uint32_t id = m.getU32(lm::key::OBJECT_ID);
    if (!interfaceFilter.empty() && !interfaceFilter.contains(EVERY_INTERFACE) &&
        !interfaceFilter.contains(id)) {
        LLOG(dlog) << "trap filtred" << std::endl;
        return false;
    }
    const uint32_t flags = m.getU32(f::STATUS);
    const uint32_t state = flags & IF_STATE_MASK;
    auto [it, added] = ifStateMap.try_emplace(id, state);
    if (!added) {
        if (it->second == state) {
            LLOG(dlog) << "same status" << std::endl;
            return false;
        }
        it->second = state;
    }
    const bool adminUp = flags & f::STATUS_ADMIN_UP;
    const bool running = flags & f::STATUS_RUNNING;
    info.oid = running ? LINK_UP : LINK_DOWN;
    info.generic = running ? generic::LINK_UP : generic::LINK_DOWN;
    info.specific = 0;
    info.varbinds = {integer(IF_INDEX, id, std::to_string(id)),
                     integer(IF_ADMIN_STATUS, id, adminUp ? STATUS_UP : STATUS_DOWN),
                     integer(IF_OPER_STATUS, id, running ? STATUS_UP : STATUS_DOWN)};
    return true;
}

lm::message notifyFilterMsg() {
    lm::message filter;
    filter.setU32(FILTER_TYPE_FLAGS, 0);
    filter.setU32(FILTER_EXCLUDED, lm::service::iface::INTERNAL);
    return filter;
}

void interfaceSubscribe() {
    trapMakers.push_back(&interfaceTrapMaker);
    if (lm::Looper* looper = lm::Looper::current())
        looper->subscribe(interfaceService(), lm::service::LINK_NOTIFICATION, notifyFilterMsg());
}

void interfaceUnSubscribe() {
    auto it = std::find(trapMakers.begin(), trapMakers.end(), &interfaceTrapMaker);
    if (it != trapMakers.end()) trapMakers.erase(it);
    if (lm::Looper* looper = lm::Looper::current())
        looper->unsubscribe(interfaceService(), lm::service::LINK_NOTIFICATION, notifyFilterMsg());
}

}  // namespace snmp
