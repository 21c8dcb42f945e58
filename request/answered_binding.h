// Reads back the binding a branch has just written to the reply, so the request engine can
// check that a GetNext answer lies after the name asked, step SNMPv1 over Counter64
// values, and continue a GetBulk column from the name answered.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wire/oid.h"

namespace snmp {

class OutStream;

// The name and value tag of the binding that starts at offset mark of the reply; false
// when what is there is not a binding.
bool readAnswered(const OutStream& out, size_t mark, OID* name, uint8_t* valueTag);

}  // namespace snmp
