// Trap generators that need subscriptions to other services' notifications. A record's
// index in `scribers` is its generator id in the agent settings.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace snmp {

struct Scribers {
    std::string name;
    std::function<void()> subscribe;
    std::function<void()> unsubscribe;
};

extern std::vector<Scribers> scribers;

// The start trap's generator id: not an index into scribers.
constexpr uint32_t START_TRAP_GENERATOR = 0x0ABC0001;

}  // namespace snmp
