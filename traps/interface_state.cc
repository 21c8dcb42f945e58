#include "traps/interface_state.h"

#include "platform/looper.h"
#include "platform/services.h"

namespace snmp {

namespace {

constexpr uint32_t FILTER_TYPE_FLAGS = lm::service::iface::TYPE_FLAGS;
constexpr uint32_t FILTER_EXCLUDED = 0x08010011;  // type flags a subscriber does not want

const lm::Path& interfaceService() {
    static const lm::Path path{lm::service::INTERFACES_PROGRAM, lm::service::INTERFACES_HANDLER};
    return path;
}

}  // namespace

std::map<uint32_t, uint32_t> ifStateMap;

lm::message notifyFilterMsg() {
    lm::message filter;
    filter.setU32(FILTER_TYPE_FLAGS, 0);
    filter.setU32(FILTER_EXCLUDED, lm::service::iface::INTERNAL);
    return filter;
}

void interfaceSubscribe() {
    if (lm::Looper* looper = lm::Looper::current())
        looper->subscribe(interfaceService(), lm::service::LINK_NOTIFICATION, notifyFilterMsg());
}

void interfaceUnSubscribe() {
    if (lm::Looper* looper = lm::Looper::current())
        looper->unsubscribe(interfaceService(), lm::service::LINK_NOTIFICATION, notifyFilterMsg());
}

}  // namespace snmp
