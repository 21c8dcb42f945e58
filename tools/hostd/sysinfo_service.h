// System information at [24, 2], read from the Linux host: kernel name, release, version and
// machine (uname), host name, online CPUs and seconds since boot.
//
// The values are read afresh at each get: they are cheap system calls, and a rename or a
// CPU taken offline shows at once. A reading the host cannot give is left out of the reply
// rather than sent as zero or "", so a reader can tell "unknown" from a real value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/hostd/host_service.h"

namespace hostd {

struct SystemReadings {
    struct Kernel {
        std::string sysname, release, version, machine;
    };
    std::optional<Kernel> kernel;  // uname
    std::optional<std::string> hostName;
    std::optional<uint32_t> cpuCount;  // online CPUs
    std::optional<uint32_t> uptimeSeconds;
};

// What this host says now.
SystemReadings readSystem();
// The get reply for these readings: the lm::service::sysinfo fields that have a value.
lm::message sysinfoReply(const SystemReadings& readings);

class SysinfoService : public HostService {
public:
    // get answers the readings; every other command is refused with err::BAD_REQUEST.
    lm::message handle(const lm::message& request) override;
};

}  // namespace hostd
