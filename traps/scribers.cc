#include "traps/scribers.h"

namespace snmp {

std::vector<Scribers> scribers;

}  // namespace snmp
