// Hardware health under 1.3.6.1.4.1.47392.1.1.3: voltage, temperatures, power, current,
// power-supply state and fan mode from the health service at [24, 14], and the processor
// count from the system information. Which sensors exist depends on the hardware, so their
// objects are registered from the first answer the health service gives: a sensor that
// answer lacks is never served.
#include <cstdint>
#include <memory>
#include <string>

#include "mib/branch.h"
#include "mib/get_provider.h"
#include "mib/packers.h"
#include "modules/modules.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "platform/looper.h"
#include "platform/services.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

const OID HEALTH("1.3.6.1.4.1.47392.1.1.3");
constexpr unsigned FAN_ARC = 9, CPU_COUNT_ARC = 14;
constexpr uint32_t FIRST_BUILD_DELAY_MS = 700;
constexpr uint32_t HEALTH_FLAGS = 5;

namespace key = lm::service::health;

// A reading the service does not give: absolute zero, in tenths of a degree once scaled.
constexpr int MISSING_CELSIUS = -273;
constexpr uint32_t FAN_ABSENT = 42;

struct HealthRecord : Data {
    unsigned voltage = 0, power = 0, current = 0, psu1 = 0, psu2 = 0;
    unsigned temperature = 0, cpuTemperature = 0;  // tenths of a degree, two's complement
    std::string fan;
};

struct CpuCount : Data {
    unsigned count = 0;
};

const char* fanText(uint32_t mode) {
    switch (mode) {
        case key::FAN_AUX: return "aux";
        case key::FAN_MAIN: return "main";
        case key::FAN_NONE: return "none";
        default: return "n/a";
    }
}

unsigned tenths(const lm::message& m, uint32_t field) {
    const int celsius = m.hasU32(field) ? static_cast<int>(m.getU32(field)) : MISSING_CELSIUS;
    return static_cast<unsigned>(celsius * 10);
}

// A power supply reads 1 (good) when the service reports 0 or nothing.
unsigned psuGood(const lm::message& m, uint32_t field) { return m.getU32(field) == 0 ? 1 : 0; }

GetProvider* healthProvider = nullptr;

struct Sensor {
    unsigned arc;
    const char* name;
    uint32_t presence;
    unsigned HealthRecord::*field;
};
const Sensor SENSORS[] = {
    {8, "voltage", key::VOLTAGE, &HealthRecord::voltage},
    {10, "temperature", key::TEMPERATURE, &HealthRecord::temperature},
    {11, "cpu temperature", key::CPU_TEMPERATURE, &HealthRecord::cpuTemperature},
    {12, "power", key::POWER, &HealthRecord::power},
    {13, "current", key::CURRENT, &HealthRecord::current},
    {15, "psu1s", key::PSU1, &HealthRecord::psu1},
    {16, "psu2s", key::PSU2, &HealthRecord::psu2},
};

// Registers the sensors the first real answer holds. A failed query (empty message) leaves
// the decision to the next answer, so a health service that starts after the agent still
// gets its sensors served.
void registerSensors(const lm::message& reply) {
    static bool registered = false;
    if (registered || reply.empty()) return;
    registered = true;
    for (const Sensor& s : SENSORS) {
        if (!reply.hasU32(s.presence)) continue;
        addScalarLeaf(HEALTH + s.arc, new DataNumPacker(s.field, tag::INTEGER), healthProvider);
        LLOG(lm::infoLog()) << "+ " << s.name << std::endl;
    }
}

Data* buildHealth(const lm::message& reply) {
    registerSensors(reply);
    if (reply.empty()) return nullptr;
    auto* r = new HealthRecord;
    r->voltage = reply.getU32(key::VOLTAGE);
    r->power = reply.getU32(key::POWER);
    r->current = reply.getU32(key::CURRENT);
    r->psu1 = psuGood(reply, key::PSU1);
    r->psu2 = psuGood(reply, key::PSU2);
    r->temperature = tenths(reply, key::TEMPERATURE);
    r->cpuTemperature = tenths(reply, key::CPU_TEMPERATURE);
    r->fan = fanText(reply.getU32(key::FAN, FAN_ABSENT));
    return r;
}

Data* buildCpuCount(const lm::message& reply) {
    if (reply.empty()) return nullptr;
    auto* r = new CpuCount;
    r->count = reply.getU32(lm::service::sysinfo::CPU_COUNT);
    return r;
}

}  // namespace

void start_health_module() {
    healthProvider = new GetProvider(buildHealth,
                                     {lm::service::SYSTEM_PROGRAM, lm::service::HEALTH_HANDLER},
                                     lm::cmd::GET, 0, HEALTH_FLAGS);
    addScalarLeaf(HEALTH + CPU_COUNT_ARC, new DataNumPacker(&CpuCount::count, tag::INTEGER),
                  new GetProvider(buildCpuCount,
                                  {lm::service::SYSTEM_PROGRAM, lm::service::SYSINFO_HANDLER},
                                  lm::cmd::GET, 0, 0));
    // The first build registers the sensors; it runs once the loop does, when the health
    // service has had a moment to come up.
    if (lm::Looper* looper = lm::Looper::current()) {
        looper->runner().addTimer(FIRST_BUILD_DELAY_MS,
                                  [] { std::unique_ptr<Data>(healthProvider->get()); });
    }
    addScalarLeaf(HEALTH + FAN_ARC, new DataStringPacker(&HealthRecord::fan, tag::OCTET_STRING),
                  healthProvider);
}

}  // namespace snmp
