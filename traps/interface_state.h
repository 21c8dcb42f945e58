// The interface-state trap generator: the last known up/down state of every interface, and
// the subscription to the interface service's link notifications that feeds it.
#pragma once

#include <cstdint>
#include <map>
#include <set>

#include "platform/message.h"
#include "traps/trap_info.h"

namespace snmp {

// Interface id -> last state bits. Seeded by the interfaces module at start, kept up to
// date by the link trap maker, so a notification that does not change an interface's
// state sends no trap.
extern std::map<uint32_t, uint32_t> ifStateMap;

// The bits a seeded entry keeps of the service's status flags: the same ones the link trap
// maker compares (administratively up, running).
constexpr uint32_t IF_STATE_MASK = 0x500;

// Interfaces whose link traps are sent: empty, or holding 0, means every interface.
// Kept by the agent settings.
extern std::set<uint32_t> interfaceFilter;

// A link notification from the interface service: linkUp or linkDown by the running flag,
// with the interface's index, admin and oper status, once per change of state.
bool interfaceTrapMaker(const lm::message& m, TrapInfo& info);

// The filter sent with the subscription: ordinary links, not internal ones.
lm::message notifyFilterMsg();

// Subscribe also installs interfaceTrapMaker; unsubscribe removes it.
void interfaceSubscribe();
void interfaceUnSubscribe();

}  // namespace snmp
