// Paths and fields of the platform services the agent reads, shared by the agent's modules
// and lumo-hostd, which serves them from the Linux host.
#pragma once

#include <cstdint>

namespace lm::service {

// Interfaces: one object per interface, object id = interface index.
constexpr uint32_t INTERFACES_PROGRAM = 20;
constexpr uint32_t INTERFACES_HANDLER = 0;
constexpr uint32_t LINK_NOTIFICATION = 0x00010004;

// System resources program: system information and health sensors.
constexpr uint32_t SYSTEM_PROGRAM = 24;
constexpr uint32_t SYSINFO_HANDLER = 2;
constexpr uint32_t HEALTH_HANDLER = 14;

namespace sysinfo {
constexpr uint32_t DESCRIPTION = 0x20000001;  // string: OS name, release, version, machine
constexpr uint32_t HOST_NAME = 0x20000002;    // string
constexpr uint32_t OS_NAME = 0x20000003;      // string: uname sysname
constexpr uint32_t OS_RELEASE = 0x20000004;   // string: uname release
constexpr uint32_t MACHINE = 0x20000006;      // string: uname machine
constexpr uint32_t CPU_COUNT = 0x08000005;    // u32
constexpr uint32_t UPTIME = 0x08000007;       // u32 seconds since boot
}  // namespace sysinfo

}  // namespace lm::service
