// The UDP service: opened and closed by the settings, answering on the configured port.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <vector>

#include "tests/agent/agent_fixture.h"

namespace snmp::test {
namespace {

namespace key = setting;

// Whether a plain socket could take the port now (it cannot share it with the agent's).
bool portIsFree(uint16_t port) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    const bool free = fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    if (fd >= 0) close(fd);
    return free;
}

// A v2c Get of sysDescr.0 with community "public".
const std::vector<unsigned char> GET_REQUEST = {
    0x30, 0x26, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',  0xA0,
    0x19, 0x02, 0x01, 0x01, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0E, 0x30, 0x0C,
    0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x01, 0x01, 0x00, 0x05, 0x00};
constexpr unsigned char RESPONSE_PDU = 0xA2;
constexpr size_t PDU_AT = 13;  // after the sequence, the version and the community
constexpr int WAIT_MS = 1000;

// Sends the request to the agent's port from loopback, runs the agent's loop once and
// returns what came back (empty when nothing did).
std::vector<unsigned char> ask(SnmpLooper& agent, uint16_t port) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    timeval wait{0, WAIT_MS * 1000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sendto(fd, GET_REQUEST.data(), GET_REQUEST.size(), 0, reinterpret_cast<sockaddr*>(&to),
           sizeof to);
    agent.runOnce(WAIT_MS);
    std::vector<unsigned char> reply(GET_REQUEST.size() * 4);
    ssize_t n = recv(fd, reply.data(), reply.size(), MSG_DONTWAIT);
    close(fd);
    reply.resize(n > 0 ? size_t(n) : 0);
    return reply;
}

TEST_F(AgentTest, EnablingOpensTheServiceAndDisablingClosesIt) {
    EXPECT_FALSE(agent_->listening) << "a fresh agent is disabled";
    EXPECT_TRUE(portIsFree(port_));
    EXPECT_EQ(agent_->servicePort(), port_) << "LUMO_SNMP_PORT";

    set(lm::message().setU32(key::ENGINE_BOOTS, 7));
    set(lm::message().setBool(key::ENABLED, true));
    ASSERT_TRUE(agent_->listening);
    EXPECT_FALSE(portIsFree(port_));
    EXPECT_EQ(agent_->engineBoots, 0u) << "enabling a disabled agent starts the count again";
    const std::vector<unsigned char> reply = ask(*agent_, port_);
    ASSERT_GT(reply.size(), PDU_AT) << "the service answers";
    EXPECT_EQ(reply[PDU_AT], RESPONSE_PDU);

    set(lm::message().setU32(key::ENGINE_BOOTS, 5));
    const int sock = agent_->sock;
    set(lm::message().setBool(key::ENABLED, true));
    EXPECT_EQ(agent_->engineBoots, 5u) << "enabling an enabled agent keeps the count";
    EXPECT_EQ(agent_->sock, sock) << "and keeps its socket";

    set(lm::message().setBool(key::ENABLED, false));
    EXPECT_FALSE(agent_->listening);
    EXPECT_TRUE(portIsFree(port_));
    EXPECT_TRUE(ask(*agent_, port_).empty());
}

TEST_F(AgentTest, AStoredEnabledAgentOpensAtStartAndClosesWhenItEnds) {
    set(lm::message().setBool(key::ENABLED, true));
    restart();
    EXPECT_TRUE(agent_->listening);
    EXPECT_FALSE(portIsFree(port_));
    agent_.reset();
    EXPECT_TRUE(portIsFree(port_));
}

}  // namespace
}  // namespace snmp::test
