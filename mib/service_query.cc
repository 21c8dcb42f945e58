#include "mib/service_query.h"

#include "platform/bus.h"
#include "platform/looper.h"

namespace snmp {

lm::message queryService(const std::vector<uint32_t>& path, lm::message& request) {
    lm::Looper* looper = lm::Looper::current();
    if (!looper) return lm::failedMsg("no looper to reach the bus");
    request.setU32Array(lm::key::DEST, path);
    return looper->exchangeMessage(request, PROVIDER_TIMEOUT_MS);
}

}  // namespace snmp
