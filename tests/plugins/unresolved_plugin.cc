// A plug-in that needs a function nobody provides: dlopen refuses it.
#include "mib/plugin.h"

extern "C" int lumo_test_function_nobody_defines();

LUMO_SNMP_PLUGIN()

extern "C" void autorun() { lumo_test_function_nobody_defines(); }
