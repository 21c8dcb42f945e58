// Start functions of the built-in MIB modules, called once each by main in a fixed order.
#pragma once

namespace snmp {

void start_system_module();
void start_interface_module();
void start_health_module();
void start_vm_module();
void start_snmp_engine_module();

}  // namespace snmp
