// A plug-in that does not say which framework it was built for: the agent must not start
// it. Were autorun called, 1.3.6.1.4.1.47392.97.2.0 would answer.
#include "mib/plugin.h"

extern "C" void autorun() {
    using namespace snmp;
    addScalarLeaf(OID("1.3.6.1.4.1.47392.97.2"), new ConstNumPacker(1, tag::INTEGER), nullptr);
}
