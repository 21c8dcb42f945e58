// The agent's log streams: slog (who is asking: peer, version, community, user) and dlog
// (errors and tracing of the request path). Enable with LUMO_LOG=snmp,debug.
#pragma once

#include "platform/log.h"

namespace snmp {

extern lm::lstream slog;
extern lm::lstream dlog;

}  // namespace snmp
