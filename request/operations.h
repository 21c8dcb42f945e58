// The per-binding handlers that createReply calls, and the routines the MIB nodes call
// back. Each handler returns an SNMP error status: 0, 2 (noSuchName) or what a branch put
// into Context::errorStatus.
#pragma once

#include <cstdint>

namespace snmp {

class Context;

uint32_t snmpGet(Context& c);
uint32_t snmpGetNextGetBulk(Context& c);
uint32_t snmpSet(Context& c);
// Carries a GetBulk repetition (or an unanswered GetNext) on into the next branch.
bool getNextCompletion(Context& c);

}  // namespace snmp
