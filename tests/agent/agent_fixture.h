// Shared by the agent tests: a fresh LUMO_ROOT and a free UDP port per test, and an agent
// started over them on the in-memory bus, as main starts it (construct, then init).
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "agent/snmp_looper.h"
#include "platform/bus.h"
#include "tests/platform/test_helpers.h"
#include "traps/scribers.h"

namespace snmp::test {

// A UDP port nobody holds right now (the kernel's pick for an ephemeral bind).
inline uint16_t freeUdpPort() {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
        abort();
    close(fd);
    return ntohs(addr.sin_port);
}

class AgentTest : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = freeUdpPort();
        setenv("LUMO_SNMP_PORT", std::to_string(port_).c_str(), 1);
        start();
    }
    void TearDown() override {
        agent_.reset();
        unsetenv("LUMO_SNMP_PORT");
        scribers.clear();  // process-wide: a test that fills them leaves nothing behind
        interfaceFilter.clear();
    }
    void start() {
        agent_ = std::make_unique<SnmpLooper>(AgentBus::MEMORY);
        agent_->init();
    }
    // The agent process ends and starts again over the same stores.
    void restart() {
        agent_.reset();
        start();
    }
    // A command to the settings object through the bus dispatch.
    lm::message settings(uint32_t command, lm::message m = lm::message()) {
        m.setDestination({AGENT_PROGRAM, SETTINGS_HANDLER});
        m.setCommand(command);
        return agent_->deliver(m);
    }
    lm::message set(lm::message m) { return settings(lm::cmd::SET, std::move(m)); }
    lm::message get() { return settings(lm::cmd::GET); }

    lm::test::TempRoot root_;
    uint16_t port_ = 0;
    std::unique_ptr<SnmpLooper> agent_;
};

}  // namespace snmp::test
