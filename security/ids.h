// Bus handler ids of the agent's own objects (the looper itself is handler 0).
#pragma once

#include <cstdint>

namespace snmp {

constexpr uint32_t ID_COMMUNITIES = 1;  // CommunityKeep: communities and v3 users
constexpr uint32_t ID_TRAPS = 2;        // TrapHandler: trap generators

}  // namespace snmp
