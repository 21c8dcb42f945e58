// lumo-snmpd: no options and no configuration file; everything comes over the bus and
// from the agent's stores.
#include "agent/agent_main.h"

int main() { return snmp::runAgent(nullptr); }
