#include "tools/hostd/health_service.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/bus.h"
#include "platform/services.h"

namespace hostd {

namespace {

namespace fs = std::filesystem;
namespace key = lm::service::health;

constexpr long MILLI = 1000;
constexpr long MICRO = 1000000;

// Chips whose temperature is the CPU package's. Their "Package id 0" / "Tctl" / "Tdie"
// input (or their first one) is the CPU temperature; every other chip's first input may
// be the board temperature.
const char* const CPU_CHIPS[] = {"coretemp", "k10temp", "zenpower", "cpu_thermal",
                                 "cpu-thermal", "soc_thermal"};
const char* const CPU_LABELS[] = {"Package id 0", "Tctl", "Tdie", "CPU"};

std::optional<std::string> readLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    if (!in || !std::getline(in, line)) return std::nullopt;
    return line;
}

std::optional<long> readNumber(const fs::path& file) {
    const auto line = readLine(file);
    if (!line) return std::nullopt;
    long v = 0;
    char rest = 0;
    if (std::sscanf(line->c_str(), "%ld%c", &v, &rest) < 1) return std::nullopt;
    return v;
}

// The inputs of one kind a chip has (temp1_input, temp2_input ...), in number order.
std::vector<fs::path> inputs(const fs::path& chip, const std::string& kind) {
    std::vector<std::pair<int, fs::path>> found;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(chip, ec)) {
        const std::string name = e.path().filename();
        int n = 0;
        char tail[16] = {};
        if (name.rfind(kind, 0) == 0 &&
            std::sscanf(name.c_str() + kind.size(), "%d_%15s", &n, tail) == 2 &&
            std::string(tail) == "input")
            found.emplace_back(n, e.path());
    }
    std::sort(found.begin(), found.end());
    std::vector<fs::path> out;
    for (auto& f : found) out.push_back(f.second);
    return out;
}

std::optional<std::string> labelOf(const fs::path& input) {
    std::string name = input.filename();
    name.replace(name.size() - std::string("input").size(), std::string::npos, "label");
    return readLine(input.parent_path() / name);
}

bool isCpuChip(const std::string& name) {
    return std::any_of(std::begin(CPU_CHIPS), std::end(CPU_CHIPS),
                       [&](const char* c) { return name == c; });
}

std::optional<int> cpuPackage(const fs::path& chip) {
    const auto temps = inputs(chip, "temp");
    for (const fs::path& t : temps) {
        const auto label = labelOf(t);
        if (label && std::any_of(std::begin(CPU_LABELS), std::end(CPU_LABELS),
                                 [&](const char* l) { return *label == l; })) {
            if (const auto v = readNumber(t)) return static_cast<int>(*v / MILLI);
        }
    }
    if (!temps.empty())
        if (const auto v = readNumber(temps.front())) return static_cast<int>(*v / MILLI);
    return std::nullopt;
}

template <class T>
void firstOf(std::optional<T>& slot, const fs::path& chip, const char* kind, long divisor) {
    if (slot) return;
    for (const fs::path& in : inputs(chip, kind)) {
        if (const auto v = readNumber(in); v && *v >= 0) {
            slot = static_cast<T>(*v / divisor);
            return;
        }
    }
}

}  // namespace

HealthReadings readHealth(const std::string& root) {
    HealthReadings r;
    std::vector<fs::path> chips;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(root, ec)) chips.push_back(e.path());
    std::sort(chips.begin(), chips.end());  // hwmon0, hwmon1 ...: the same choice every time
    for (const fs::path& chip : chips) {
        const std::string name = readLine(chip / "name").value_or("");
        if (isCpuChip(name)) {
            if (!r.cpuTemperature) r.cpuTemperature = cpuPackage(chip);
            continue;
        }
        if (!r.temperature) {
            const auto temps = inputs(chip, "temp");
            if (!temps.empty())
                if (const auto v = readNumber(temps.front())) r.temperature = static_cast<int>(*v / MILLI);
        }
        firstOf(r.voltage, chip, "in", 1);          // millivolts already
        firstOf(r.power, chip, "power", MICRO);     // microwatts
        firstOf(r.current, chip, "curr", 1);        // milliamperes already
        firstOf(r.fanRpm, chip, "fan", 1);
    }
    return r;
}

lm::message healthReply(const HealthReadings& r) {
    lm::message m;
    if (r.temperature) m.setU32(key::TEMPERATURE, static_cast<uint32_t>(*r.temperature));
    if (r.cpuTemperature) m.setU32(key::CPU_TEMPERATURE, static_cast<uint32_t>(*r.cpuTemperature));
    if (r.voltage) m.setU32(key::VOLTAGE, *r.voltage);
    if (r.power) m.setU32(key::POWER, *r.power);
    if (r.current) m.setU32(key::CURRENT, *r.current);
    // A host fan that turns is the main fan; one that stands still is no cooling at all.
    if (r.fanRpm) m.setU32(key::FAN, *r.fanRpm > 0 ? key::FAN_MAIN : key::FAN_NONE);
    return m;
}

lm::message HealthService::handle(const lm::message& request) {
    if (request.command() != lm::cmd::GET)
        return lm::errorMsg("health is a single object and answers get (0xFE000D) only",
                            lm::err::BAD_REQUEST);
    return healthReply(readHealth(root_));
}

}  // namespace hostd
