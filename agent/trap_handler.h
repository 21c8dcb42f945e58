// Handler 2 of the agent: the trap generators. It answers with the platform defaults until
// trap sending is in place.
#pragma once

#include "platform/looper.h"

namespace snmp {

class TrapHandler : public lm::Handler {};

}  // namespace snmp
