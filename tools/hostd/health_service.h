// Hardware health at [24, 14], read from the host's hardware monitoring chips
// (/sys/class/hwmon). Which readings a host has depends on its hardware; a reading it does
// not have is an absent field, never a zero, so the agent serves only real sensors. A
// container or a virtual machine usually has none, and the reply is then empty.
#pragma once

#include <optional>
#include <string>

#include "tools/hostd/host_service.h"

namespace hostd {

struct HealthReadings {
    std::optional<int> temperature;     // degrees Celsius: the board, or the first chip
    std::optional<int> cpuTemperature;  // degrees Celsius: the CPU package
    std::optional<unsigned> voltage;    // millivolts
    std::optional<unsigned> power;      // watts
    std::optional<unsigned> current;    // milliamperes
    std::optional<unsigned> fanRpm;     // the first fan
};

// Reads every chip under root (the sysfs hwmon class folder).
HealthReadings readHealth(const std::string& root = "/sys/class/hwmon");
lm::message healthReply(const HealthReadings& readings);

class HealthService : public HostService {
public:
    explicit HealthService(std::string root = "/sys/class/hwmon") : root_(std::move(root)) {}
    lm::message handle(const lm::message& request) override;

private:
    std::string root_;
};

}  // namespace hostd
