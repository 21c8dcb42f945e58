// Which programs the agent does not ask for a while. The loop is single-threaded, so a
// service that does not answer would stall every SNMP request behind it: a program that
// timed out is skipped for 10 s, one that had no endpoint for 30 s, after which it is asked
// again (so a service started or restarted after the agent is picked up). Time is passed in,
// so the rules can be shown without waiting.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>

namespace snmp {

class ServiceSkips {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds AFTER_TIMEOUT{10};
    static constexpr std::chrono::seconds AFTER_NO_PROGRAM{30};

    // True while the program is to be skipped.
    bool skipping(uint32_t program, Clock::time_point now) const;
    // A failed query with this error code; true when the program starts being skipped now
    // (it was asked normally before), so the caller says so once.
    bool failed(uint32_t program, uint32_t code, Clock::time_point now);
    // An answered query; true when the program had been skipped before.
    bool answered(uint32_t program);

private:
    std::map<uint32_t, Clock::time_point> until_;
};

}  // namespace snmp
