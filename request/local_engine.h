// The local SNMP engine as the request path sees it: engine id, boots, the uptime at which
// the engine started and its time window. The agent keeps it up to date whenever its
// settings change; the request path and the SNMP engine MIB only read it.
#pragma once

#include <cstdint>

#include "wire/v3info.h"

namespace snmp {

struct LocalEngine {
    V3ServerInfo info;
    // Seconds since system boot; tests put a clock of their own here.
    uint32_t (*uptime)() = nullptr;
    // snmpEngineTime: seconds since the engine started (the start of this boot).
    uint32_t engineTime() const;
};

LocalEngine& localEngine();

}  // namespace snmp
