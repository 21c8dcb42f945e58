// Paths and fields of the platform services the agent reads, shared by the agent's modules
// and lumo-hostd, which serves them from the Linux host.
#pragma once

#include <cstdint>

namespace lm::service {

// Interfaces: one object per interface, object id = interface index.
constexpr uint32_t INTERFACES_PROGRAM = 20;
constexpr uint32_t INTERFACES_HANDLER = 0;
constexpr uint32_t LINK_NOTIFICATION = 0x00010004;

namespace iface {
constexpr uint32_t NAME = 0x20010006;         // string
constexpr uint32_t COMMENT = 0x20FE0009;      // string: the link's alias
constexpr uint32_t HW_ADDRESS = 0x300003E9;   // raw bytes; absent when the link has none
constexpr uint32_t MTU = 0x08010064;          // u32
constexpr uint32_t KIND = 0x08010001;         // u32: kind of interface (docs/platform.md)
constexpr uint32_t RATE = 0x0800044E;         // u32: 1 = 10 Mb/s, 2 = 100 Mb/s, 3 = 1 Gb/s, 0 other
constexpr uint32_t SPEED_MBPS = 0x0800044F;   // u32: real speed in Mb/s, when known
constexpr uint32_t DISABLED = 0x00FE000A;     // bool: administratively down
constexpr uint32_t RUNNING = 0x0001000E;      // bool: carrier, operationally up
constexpr uint32_t STATUS = 0x08010003;       // u32 flags, below
constexpr uint32_t TYPE_FLAGS = 0x08010002;   // u32: INTERNAL marks links that traps ignore
constexpr uint32_t RX_BYTES = 0x100100FC;     // u64
constexpr uint32_t TX_BYTES = 0x100100FD;     // u64
constexpr uint32_t RX_PACKETS = 0x100100FE;   // u64
constexpr uint32_t TX_PACKETS = 0x100100FF;   // u64
constexpr uint32_t RX_ERRORS = 0x080100FA;    // u32
constexpr uint32_t TX_ERRORS = 0x080100FB;    // u32
constexpr uint32_t RX_DROPS = 0x080100F8;     // u32
constexpr uint32_t TX_DROPS = 0x080100F9;     // u32

constexpr uint32_t STATUS_ADMIN_UP = 0x100;
constexpr uint32_t STATUS_RUNNING = 0x400;
constexpr uint32_t INTERNAL = 128;
}  // namespace iface

// Guests: full virtual machines and nestling instances, one list each.
constexpr uint32_t FULL_GUESTS_PROGRAM = 112;
constexpr uint32_t NESTLING_GUESTS_PROGRAM = 109;
constexpr uint32_t GUESTS_HANDLER = 1;

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

namespace health {  // u32 readings; a sensor the hardware lacks is an absent field
constexpr uint32_t VOLTAGE = 0x0800000D;          // millivolts
constexpr uint32_t TEMPERATURE = 0x0800000E;      // whole degrees Celsius, two's complement
constexpr uint32_t POWER = 0x08000010;            // watts
constexpr uint32_t CPU_TEMPERATURE = 0x08000011;  // whole degrees Celsius, two's complement
constexpr uint32_t CURRENT = 0x08000012;          // milliamperes
constexpr uint32_t PSU1 = 0x08001CE9;             // 0 good, anything else failed
constexpr uint32_t PSU2 = 0x08001CEA;
constexpr uint32_t FAN = 0x080001F6;              // FAN_AUX, FAN_MAIN or FAN_NONE
constexpr uint32_t FAN_AUX = 0, FAN_MAIN = 1, FAN_NONE = 2;
}  // namespace health

}  // namespace lm::service
