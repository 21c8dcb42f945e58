// Building traps and sending them to the configured targets. A trap is encoded once up to
// its variable part (createTrapHead); each target gets the rest (createTrapTail) with its
// own request-id and the local address its datagram leaves from.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/ipaddr.h"
#include "platform/message.h"
#include "request/context.h"
#include "traps/trap_info.h"

namespace snmp {

constexpr uint16_t TRAP_PORT = 162;

// The trap settings of the agent that the encoder reads.
struct TrapSettings {
    uint32_t version = 0;              // 0 v1, 3 v3, any other number v2c
    uint32_t communityId = 0xFFFFFFFF; // the community or v3 user record
    // sysUpTime in hundredths of a second: the clock sysUpTime.0 is served from.
    uint32_t (*ticks)() = nullptr;
    // Request-ids and v3 msgIDs.
    uint32_t (*nextId)() = nullptr;
};

// The time sysUpTime.0 reports: hundredths of a second since the agent started.
uint32_t sysUpTicks();
// The agent's request-id sequence: starts at a random point, then counts up (31 bits, so
// a manager reading it as signed sees no negative ids).
uint32_t nextRequestId();

// The message's SEQUENCE, version, community or v3 header, the PDU tag, and the trap made
// by the first maker in trapMakers that accepts the message. False (one line logged): no
// such record, or no maker took the message.
bool createTrapHead(const lm::message& m, Context& c, TrapInfo& info, const TrapSettings& s);

// Completes the trap for one target: v2c/v3 request-id, error fields, sysUpTime.0 and
// snmpTrapOID.0; v1 enterprise, agent-addr (from local), codes and time-stamp; then the
// bindings; v3 is encrypted and signed. local is the trap socket's own address (AF_INET6 or
// AF_INET).
bool createTrapTail(Context& c, TrapInfo& info, const sockaddr* local, const TrapSettings& s);

// The UDP port traps go to: 162, or LUMO_TRAP_PORT.
uint16_t trapPort();

// Sends encoded traps to the targets: one non-blocking connected socket per target, kept
// between traps so that a refusal (ICMP port unreachable) reported on the next send is
// seen. A target whose trap cannot go out is logged when it starts failing and when it
// works again, not once per trap.
class TrapSender {
public:
    // Builds one head, then for each target a tail, and sends it. Returns the number of
    // targets the trap went to.
    size_t send(const lm::message& m, const std::vector<lm::IPAddr6>& targets,
                const TrapSettings& s);
    void clear() { targets_.clear(); }

private:
    struct Target {
        int fd = -1;
        bool failing = false;
        Target() = default;
        Target(const Target&) = delete;
        Target& operator=(const Target&) = delete;
        Target(Target&& o) noexcept;
        Target& operator=(Target&& o) noexcept;
        ~Target();
        void close();
    };
    bool open(const lm::IPAddr6& to, Target& t);
    void failed(const lm::IPAddr6& to, Target& t, const char* what, int err);
    std::map<lm::IPAddr6, Target> targets_;
};

}  // namespace snmp
