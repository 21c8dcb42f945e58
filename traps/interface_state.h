// The interface-state trap generator: the last known up/down state of every interface, and
// the subscription to the interface service's link notifications that feeds it.
#pragma once

#include <cstdint>
#include <map>

#include "platform/message.h"

namespace snmp {

// Interface id -> last state bits. Seeded by the interfaces module at start, kept up to
// date by the link trap maker, so a notification that does not change an interface's
// state sends no trap.
extern std::map<uint32_t, uint32_t> ifStateMap;

// The bits a seeded entry keeps of the service's status flags: the same ones the link trap
// maker compares (administratively up, running).
constexpr uint32_t IF_STATE_MASK = 0x500;

// The filter sent with the subscription: ordinary links, not internal ones.
lm::message notifyFilterMsg();

void interfaceSubscribe();
void interfaceUnSubscribe();

}  // namespace snmp
