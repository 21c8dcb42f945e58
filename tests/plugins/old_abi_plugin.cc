// A plug-in from another framework version: the agent must not start it. Were autorun
// called, 1.3.6.1.4.1.47392.97.1.0 would answer.
#include "mib/plugin.h"

extern "C" __attribute__((visibility("default"))) const uint32_t lumo_snmp_plugin_abi =
    LUMO_SNMP_PLUGIN_ABI + 1;

extern "C" void autorun() {
    using namespace snmp;
    addScalarLeaf(OID("1.3.6.1.4.1.47392.97.1"), new ConstNumPacker(1, tag::INTEGER), nullptr);
}
