// SnmpLooper: the agent service. It owns the settings object (handler 0 of the agent's
// program), the UDP service socket, the community map (handler 1) and the trap handler
// (handler 2), and bounds every query to another service.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/lookahead.h"
#include "agent/service_skips.h"
#include "platform/agent_settings.h"
#include "platform/looper.h"
#include "platform/store.h"
#include "traps/trap_send.h"
#include "wire/v3info.h"

namespace snmp {

constexpr const char* SETTINGS_STORE = "/lumo/store/snmpd";
// The engine id's fixed prefix: enterprise 47392 with the top bit set, format 4 (text).
constexpr unsigned char ENGINE_ID_PREFIX[5] = {0x80, 0x00, 0xB9, 0x20, 0x04};
// A disabled agent offers the platform to end it after this much idle time.
constexpr int LEAVE_AFTER_MS = 1000;

class CommunityKeep;
class TrapHandler;

// Which bus the agent's endpoint opens on. The endpoint opens in the constructor, so unit
// tests that reach the agent through the in-memory bus have to say so here.
enum class AgentBus { SOCKETS, MEMORY };

class SnmpLooper : public lm::Looper {
public:
    explicit SnmpLooper(AgentBus bus = AgentBus::SOCKETS);
    ~SnmpLooper() override;

    void init();  // loads the settings, then opens the service or arms the leave timer
    void startSubscribers();
    void startup();  // the start-up timer's callback: the start trap, when enabled

    // Makes the trap the message stands for and sends it to every target, in the
    // configured version and with the configured community or user.
    void send_trap(const lm::message& m);
    TrapSettings trapSettings() const;

    // UDP transport.
    void enable();
    void disable();
    void receive(int fd, unsigned events);

    // The settings object.
    lm::message getConfig() const;
    lm::message cmdGet(const lm::message& req) override;
    lm::message cmdSet(const lm::message& req) override;
    lm::message cmdUnknown(const lm::message& req, uint32_t command) override;
    lm::message getObject(uint32_t id) override;
    // Bounded query; programs that time out or are not there are skipped for a while.
    // clock tells the time for those skips (tests move it on instead of waiting).
    lm::message exchangeMessage(lm::message& request, int timeout) override;
    ServiceSkips::Clock::time_point (*clock)() = &ServiceSkips::Clock::now;
    // Which round of a burst the transport is answering (agent/lookahead.h).
    BurstLookahead lookahead;

    V3ServerInfo serverInfo() const;
    uint16_t servicePort() const { return port_; }

    lm::Store store;
    int sock = 0;
    bool listening = false;
    uint32_t engineBoots = 0;
    uint32_t startUptime;
    uint32_t timeWindow = 150;
    Octets engineId;
    std::string trapCommunityName = "public";
    std::string contact;
    std::string location;
    std::string spare1, spare2;  // carried by the settings object, unused by the agent
    uint32_t startJiffies;
    uint32_t trapCommunityId = NO_TRAP_COMMUNITY;
    uint32_t trapVersion = 0;
    std::vector<lm::IPAddr6> trapTargets;
    std::vector<uint32_t> trapGenerators;
    bool enabled = false;

private:
    void setEngineIdText(const std::string& text);
    // Hands the engine's id, boots and start to the request path (request/local_engine.h).
    void publishEngine();
    void readTargets(const lm::message& m);
    void closeService();  // the UDP socket, if open
    uint16_t port_;
    std::unique_ptr<CommunityKeep> communities_;  // handler ID_COMMUNITIES
    std::unique_ptr<TrapHandler> traps_;          // handler ID_TRAPS
    // Programs skipped for a while after a time-out or a missing endpoint; a fresh agent in a
    // test starts with none.
    ServiceSkips skips_;
    TrapSender trapSender_;
};

extern SnmpLooper* loop;
extern std::set<uint32_t> interfaceFilter;

}  // namespace snmp
