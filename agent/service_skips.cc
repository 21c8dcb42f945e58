#include "agent/service_skips.h"

#include "platform/bus.h"

namespace snmp {

bool ServiceSkips::skipping(uint32_t program, Clock::time_point now) const {
    auto it = until_.find(program);
    return it != until_.end() && now < it->second;
}

bool ServiceSkips::failed(uint32_t program, uint32_t code, Clock::time_point now) {
    std::chrono::seconds skip{0};
    if (code == lm::err::NO_PROGRAM) skip = AFTER_NO_PROGRAM;
    if (code == lm::err::TIMEOUT) skip = AFTER_TIMEOUT;
    if (skip.count() == 0) return false;  // the service answered, with an error of its own
    const bool starts = until_.find(program) == until_.end();
    until_[program] = now + skip;
    return starts;
}

bool ServiceSkips::answered(uint32_t program) { return until_.erase(program) != 0; }

}  // namespace snmp
