// The per-binding operations of the request engine, and the routines the MIB nodes call
// back. Each returns an SNMP error status: 0, 2 (noSuchName: nothing answers the name) or
// what a branch put into Context::errorStatus.
#pragma once

#include <cstdint>

namespace snmp {

class Context;

// The instance named by requestName. On noSuchName, Context::missing says which v2c
// exception answers it (noSuchObject when no branch covers the name).
uint32_t snmpGet(Context& c);
// The first instance after requestName, in the whole MIB. On success the binding is written
// and Context::answered holds its name; noSuchName at the end of the MIB (Context::missing
// is then endOfMibView). SNMPv1 requests step over Counter64 values.
uint32_t snmpGetNextGetBulk(Context& c);
// Finds the branch registered for requestName (its longest registered prefix) and runs the
// Set pass of Context::setPhase there; noSuchName when no branch is registered for it.
uint32_t snmpSet(Context& c);
// Kept for branches written for the engine that let leaves carry GetBulk repetitions:
// the engine now asks for one instance per call, so with no repetition owed it is true.
bool getNextCompletion(Context& c);

}  // namespace snmp
