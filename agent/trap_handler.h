// Handler 2 of the agent: the trap generators the configuration tool may enable in the
// settings (their ids go to the trap generators setting).
#pragma once

#include "platform/looper.h"

namespace snmp {

// Fields of a generator in the get-all answer.
constexpr uint32_t GENERATOR_NAME = 0x20FE0010;  // string
constexpr const char* START_TRAP_NAME = "start-trap";

class TrapHandler : public lm::Handler {
public:
    // Every generator, in one answer: the start trap, then each subscribing generator with
    // its index as id.
    lm::message cmdGetAll(const lm::message& req) override;
};

}  // namespace snmp
