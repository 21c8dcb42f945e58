// A plug-in without an entry function: reported, and left loaded.
#include "mib/plugin.h"

LUMO_SNMP_PLUGIN()

extern "C" int lumo_test_plugin_marker() { return 1; }
