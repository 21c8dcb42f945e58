// The agent's whole life: start-up in the fixed order, the event loop, the end.
#pragma once

namespace snmp {

// extraModules, when given, registers further MIB content after the built-in modules
// (test agents serve fixture tables this way). Returns the process's exit status.
int runAgent(void (*extraModules)());

}  // namespace snmp
