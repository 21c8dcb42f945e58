// The agent's bus address and the fields of its settings object (full typed keys), shared
// by the agent and the configuration front end.
#pragma once

#include <cstdint>

namespace snmp {

// The agent's program id on the bus; also the value its ready message announces.
constexpr uint32_t AGENT_PROGRAM = 34;
constexpr uint32_t SETTINGS_HANDLER = 0;

namespace setting {
constexpr uint32_t ENABLED = 0x00000001;
constexpr uint32_t CONTACT = 0x20000002;
constexpr uint32_t LOCATION = 0x20000003;
constexpr uint32_t TRAP_COMMUNITY_NAME = 0x20000004;
constexpr uint32_t ENGINE_ID = 0x2000000A;
constexpr uint32_t ENGINE_BOOTS = 0x0800000D;
constexpr uint32_t TARGET_IPV6 = 0x1800000E;
constexpr uint32_t TARGET_IPV4 = 0x08000010;  // network order
constexpr uint32_t TRAP_COMMUNITY_ID = 0x08000011;
constexpr uint32_t TRAP_VERSION = 0x08000012;
constexpr uint32_t TRAP_GENERATORS = 0x88000013;
constexpr uint32_t INTERFACE_FILTER = 0xA8000018;
constexpr uint32_t FILTER_ID = 0x08000019;
constexpr uint32_t TARGETS = 0xA800001A;
}  // namespace setting

constexpr uint32_t NO_TRAP_COMMUNITY = 0xFFFFFFFF;  // trap community id naming no record

}  // namespace snmp
