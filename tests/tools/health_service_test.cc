// The health readings from a made-up hwmon tree: which chip gives the CPU package
// temperature and which the board's, units, the first fan, and a host with no chips.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "platform/services.h"
#include "tools/hostd/health_service.h"

namespace {

namespace fs = std::filesystem;
namespace key = lm::service::health;

class HwmonTree : public ::testing::Test {
protected:
    void SetUp() override {
        root_ = fs::temp_directory_path() / ("hwmon-test-" + std::to_string(getpid()));
        fs::create_directories(root_);
    }
    void TearDown() override { fs::remove_all(root_); }
    void chip(const std::string& dir, const std::map<std::string, std::string>& files) {
        fs::create_directories(root_ / dir);
        for (const auto& [name, text] : files) std::ofstream(root_ / dir / name) << text << "\n";
    }
    lm::message reply() const { return hostd::healthReply(hostd::readHealth(root_)); }
    fs::path root_;
};

TEST_F(HwmonTree, ReadingsComeFromTheChipsThatHaveThem) {
    chip("hwmon0", {{"name", "acpitz"}, {"temp1_input", "45000"}, {"temp2_input", "60000"}});
    chip("hwmon1", {{"name", "coretemp"},
                    {"temp1_label", "Core 0"},
                    {"temp1_input", "40000"},
                    {"temp2_label", "Package id 0"},
                    {"temp2_input", "51000"}});
    chip("hwmon2", {{"name", "nct6775"},
                    {"in0_input", "1200"},
                    {"fan2_input", "0"},
                    {"fan1_input", "900"},
                    {"power1_input", "12500000"},
                    {"curr1_input", "300"},
                    {"temp1_input", "not a number"}});
    const lm::message m = reply();
    EXPECT_EQ(45u, m.getU32(key::TEMPERATURE));       // the first chip's first input
    EXPECT_EQ(51u, m.getU32(key::CPU_TEMPERATURE));   // the package, not the first core
    EXPECT_EQ(1200u, m.getU32(key::VOLTAGE));         // millivolts
    EXPECT_EQ(12u, m.getU32(key::POWER));             // watts from microwatts
    EXPECT_EQ(300u, m.getU32(key::CURRENT));          // milliamperes
    EXPECT_EQ(key::FAN_MAIN, m.getU32(key::FAN, 99)); // fan1 turns
    EXPECT_FALSE(m.hasU32(key::PSU1));                // hwmon has no power supply state
}

TEST_F(HwmonTree, BelowZeroAStandingFanAndNoChipsAtAll) {
    EXPECT_TRUE(reply().empty());  // a container: no sensors, no fields
    chip("hwmon0", {{"name", "k10temp"}, {"temp1_label", "Tctl"}, {"temp1_input", "-5000"}});
    chip("hwmon1", {{"name", "fanctl"}, {"fan1_input", "0"}});
    const lm::message m = reply();
    EXPECT_EQ(static_cast<uint32_t>(-5), m.getU32(key::CPU_TEMPERATURE));
    EXPECT_FALSE(m.hasU32(key::TEMPERATURE));
    EXPECT_EQ(key::FAN_NONE, m.getU32(key::FAN, 99));
}

}  // namespace
