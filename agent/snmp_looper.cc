#include "agent/snmp_looper.h"

#include <algorithm>
#include <cstdlib>

#include "agent/trap_handler.h"
#include "platform/log.h"
#include "platform/services.h"
#include "platform/util.h"
#include "request/logs.h"
#include "security/community_keep.h"
#include "security/ids.h"
#include "traps/scribers.h"
#include "traps/trap_info.h"

namespace snmp {

SnmpLooper* loop = nullptr;

namespace {

constexpr uint16_t SNMP_PORT = 161;
constexpr unsigned long MAX_PORT = 65535;
constexpr int DECIMAL = 10;
constexpr unsigned STORE_FLAGS = 5;
// A notification other services send the agent to have it sent on as a trap.
constexpr uint32_t TRAP_NOTIFICATION = 0x00FE000B;  // the platform's opening argument, passed as it is

// LUMO_SNMP_PORT moves the service off 161 for unprivileged runs and parallel tests.
uint16_t configuredPort() {
    const char* env = std::getenv("LUMO_SNMP_PORT");
    if (env && *env) {
        char* end = nullptr;
        unsigned long port = std::strtoul(env, &end, DECIMAL);
        if (*end == '\0' && port > 0 && port <= MAX_PORT) return static_cast<uint16_t>(port);
        LLOG(lm::warningLog()) << "LUMO_SNMP_PORT: not a port number: " << env << std::endl;
    }
    return SNMP_PORT;
}

}  // namespace

// The start-up trace lines name the statements they precede; they help only someone
// following the start in the code, so they go to the debug stream.
SnmpLooper::SnmpLooper(AgentBus bus)
    : lm::Looper(0, 0), store(SETTINGS_STORE, STORE_FLAGS), port_(configuredPort()) {
    if (bus == AgentBus::MEMORY) useMemoryBus();
    if (!listen(AGENT_PROGRAM)) {
        LLOG(lm::errorLog()) << "cannot open the agent's bus endpoint" << std::endl;
    }
    LLOG(dlog) << "communityKeep = new CommunityKeep;" << std::endl;
    communities_ = std::make_unique<CommunityKeep>();
    LLOG(dlog) << "communityKeep->init();" << std::endl;
    communities_->init();
    LLOG(dlog) << "addHandler(snmp::ID_COMMUNITIES, communityKeep);" << std::endl;
    addHandler(ID_COMMUNITIES, communities_.get());
    traps_ = std::make_unique<TrapHandler>();
    addHandler(ID_TRAPS, traps_.get());
    startUptime = lm::getUptime();
    startJiffies = lm::startJiffies();
}

SnmpLooper::~SnmpLooper() {
    closeService();
}

void SnmpLooper::startSubscribers() {
    for (uint32_t id : trapGenerators)
        if (id < scribers.size() && scribers[id].subscribe) scribers[id].subscribe();
}

void SnmpLooper::startup() {
    bool wanted = false;
    for (uint32_t id : trapGenerators) wanted = wanted || id == START_TRAP_GENERATOR;
    if (!wanted) return;
    // The start-trap maker takes any message, so it is there for this one trap only; the
    // other makers all want fields an empty message lacks.
    trapMakers.push_back(&startTrapMaker);
    send_trap(lm::message());
    auto it = std::find(trapMakers.begin(), trapMakers.end(), &startTrapMaker);
    if (it != trapMakers.end()) trapMakers.erase(it);
}

TrapSettings SnmpLooper::trapSettings() const {
    TrapSettings s;
    s.version = trapVersion;
    s.communityId = trapCommunityId;
    s.ticks = &sysUpTicks;
    s.nextId = &nextRequestId;
    return s;
}

void SnmpLooper::send_trap(const lm::message& m) {
    if (!enabled) {
        LLOG(dlog) << "send_trap: snmp disabled" << std::endl;
        return;
    }
    if (trapTargets.empty() || trapCommunityId == NO_TRAP_COMMUNITY) {
        LLOG(dlog) << "send_trap: no trap sink specified" << std::endl;
        return;
    }
    trapSender_.send(m, trapTargets, trapSettings());
}

lm::message SnmpLooper::cmdUnknown(const lm::message& req, uint32_t command) {
    if (command == CMD_SEND_TRAP || command == TRAP_NOTIFICATION ||
        command == lm::service::LINK_NOTIFICATION)
        send_trap(req);
    return lm::message();
}

}  // namespace snmp
