// How the MIB framework reaches the services that own its data: through the exchange
// operation of the looper that runs the process. The agent's looper overrides it with its
// bounded wait and skip list; a test runs the same code over the in-memory bus.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/message.h"

namespace snmp {

// The wait that providers ask for; the agent applies its own bound instead.
constexpr int PROVIDER_TIMEOUT_MS = 6000;

// Sends request (its command and fields already set) to path and returns the reply, or a
// failed reply when no looper runs.
lm::message queryService(const std::vector<uint32_t>& path, lm::message& request);

}  // namespace snmp
