#include "request/logs.h"

namespace snmp {

lm::lstream slog("snmp");
lm::lstream dlog("debug");

}  // namespace snmp
