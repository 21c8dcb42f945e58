// A trap being built, and the makers that turn bus messages into traps.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/message.h"
#include "wire/oid.h"
#include "wire/out_stream.h"

namespace snmp {

struct TrapInfo {
    OID oid;  // v1: the enterprise; v2c and v3: the value of snmpTrapOID.0
    uint32_t generic = 0;   // v1 generic-trap code
    uint32_t specific = 0;  // v1 specific-trap code
    std::vector<VariableBinding> varbinds;
};

// Fills info from a message it recognises; false leaves the message to the next maker.
using TrapMaker = bool (*)(const lm::message& m, TrapInfo& info);

// Tried in order for every message handed to the trap path; the first that accepts it
// makes the trap.
extern std::vector<TrapMaker> trapMakers;

// v1 generic-trap codes.
namespace generic {
constexpr uint32_t WARM_START = 1;
constexpr uint32_t LINK_DOWN = 2;
constexpr uint32_t LINK_UP = 3;
constexpr uint32_t ENTERPRISE_SPECIFIC = 6;
}  // namespace generic

// The start trap: warmStart, no bindings. Installed only while the start trap is sent.
bool startTrapMaker(const lm::message& m, TrapInfo& info);

// Command 1 sent to the agent: an enterprise trap, specific 1, with an optional binding
// given as text (OID_TEXT, VALUE_TYPE, VALUE_TEXT).
bool velmarTrapMaker(const lm::message& m, TrapInfo& info);

// Fields of command 1.
namespace trapkey {
constexpr uint32_t OID_TEXT = 0x200003E9;    // string: the binding's name, dotted
constexpr uint32_t VALUE_TYPE = 0x080003EA;  // u32: the binding's BER tag
constexpr uint32_t VALUE_TEXT = 0x200003EB;  // string: the value as text
}  // namespace trapkey

// The command that asks the agent to send an enterprise trap.
constexpr uint32_t CMD_SEND_TRAP = 1;

}  // namespace snmp
