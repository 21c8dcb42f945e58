#include "request/local_engine.h"

#include "platform/util.h"

namespace snmp {

uint32_t LocalEngine::engineTime() const {
    return (uptime ? uptime() : lm::getUptime()) - info.startUptime;
}

LocalEngine& localEngine() {
    static LocalEngine engine;
    return engine;
}

}  // namespace snmp
