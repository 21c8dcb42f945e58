// The entry header of a lumo-snmpd plug-in: everything a plug-in needs to register scalars
// and tables, and the macro that marks it as built against this framework.
//
// A plug-in is a shared object in one of the plug-in directories ("/lumo/lib/snmp" under
// LUMO_ROOT, then each package's). The agent loads it at start, after the built-in modules,
// checks its framework version and calls its entry function on the loop thread:
//
//     #include "mib/plugin.h"
//     LUMO_SNMP_PLUGIN()
//     extern "C" void autorun() { snmp::declareTable(...); }
//
// Stable interface (kept compatible while LUMO_SNMP_PLUGIN_ABI stays the same):
//   - registration: addScalarLeaf, addColumnarBranch, declareTable / TableSpec and its
//     field packers (numberField, textField, ipv4Field, ipv6Field);
//   - values: OID, Packer and the packer families of mib/packers.h, the tag:: type codes;
//   - records: Data, MuxData, MessageRow, VData;
//   - tables: Table, MapTable, StaticMuxTable, ColumnarBranch::addLeaf;
//   - providers: DataProvider, SingleProvider, ProxyDataProvider, GetProvider,
//     GetFirstProvider, GetAllProvider and the table providers;
//   - the bus message lm::message, lm::key and lm::cmd (platform/bus.h).
// Everything else in the installed headers is the agent's own and may change between
// versions without a new ABI number.
#pragma once

#include <cstdint>

#include "mib/branch.h"
#include "mib/columnar_branch.h"
#include "mib/data.h"
#include "mib/data_provider.h"
#include "mib/declared_table.h"
#include "mib/get_all_provider.h"
#include "mib/get_provider.h"
#include "mib/packers.h"
#include "mib/scalar_leaf.h"
#include "mib/table.h"
#include "mib/table_provider.h"
#include "platform/bus.h"
#include "platform/message.h"
#include "wire/oid.h"
#include "wire/snmp_codes.h"

// The framework version a plug-in is built against. Raised whenever a type of the stable
// interface changes its layout or a registration function its signature.
#define LUMO_SNMP_PLUGIN_ABI 2u

// The symbol the agent reads to learn a plug-in's framework version.
#define LUMO_SNMP_PLUGIN_ABI_SYMBOL "lumo_snmp_plugin_abi"

// Exports the framework version from a plug-in; write it once, at namespace scope.
#define LUMO_SNMP_PLUGIN() \
    extern "C" __attribute__((visibility("default"))) const uint32_t lumo_snmp_plugin_abi = \
        LUMO_SNMP_PLUGIN_ABI;
