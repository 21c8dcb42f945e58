// Shared by the trap tests: a community store under a fresh LUMO_ROOT holding the default
// "public" record (id 0) and v3 users, a fixed engine, clock and request-id, and helpers
// that build a trap the way the sender does.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>
#include <memory>
#include <string>

#include "ber_build.h"
#include "request/context.h"
#include "request/local_engine.h"
#include "security/community_keep.h"
#include "tests/platform/test_helpers.h"
#include "traps/interface_state.h"
#include "traps/trap_info.h"
#include "traps/trap_send.h"

namespace traptest {

using bertest::Bytes;

constexpr uint32_t TICKS = 4321;
constexpr uint32_t REQUEST_ID = 0x1234;
constexpr uint32_t BOOTS = 5, START = 1000, ENGINE_TIME = 400;
const Bytes ENGINE{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
const std::string PASSWORD = "maplesyrup";
constexpr uint32_t PUBLIC_ID = 0, SHA_AUTH_ID = 7, SHA_AES_ID = 8;

inline uint32_t fixedTicks() { return TICKS; }
inline uint32_t fixedId() { return REQUEST_ID; }
inline uint32_t fakeUptime() { return START + ENGINE_TIME; }

inline snmp::TrapSettings settings(uint32_t version, uint32_t community = PUBLIC_ID) {
    snmp::TrapSettings s;
    s.version = version;
    s.communityId = community;
    s.ticks = fixedTicks;
    s.nextId = fixedId;
    return s;
}

inline sockaddr_in6 mapped(const char* v4) {
    sockaddr_in6 sa{};
    sa.sin6_family = AF_INET6;
    lm::IPAddr6 a;
    if (!lm::IPAddr6::parse(v4, a)) abort();
    std::memcpy(&sa.sin6_addr, a.addr, sizeof a.addr);
    return sa;
}

class TrapTest : public ::testing::Test {
protected:
    void SetUp() override {
        keep_ = std::make_unique<snmp::CommunityKeep>();
        ASSERT_TRUE(keep_->init());
        add(SHA_AUTH_ID, "shaauth", 1, 1, 0);
        add(SHA_AES_ID, "shaaes", 2, 1, 1);
        keep_->setEngineId(ENGINE);
        snmp::localEngine().info = {BOOTS, START, 150, ENGINE};
        snmp::localEngine().uptime = fakeUptime;
        snmp::trapMakers.clear();
        snmp::ifStateMap.clear();
        snmp::interfaceFilter.clear();
    }
    void TearDown() override {
        snmp::localEngine() = snmp::LocalEngine();
        snmp::trapMakers.clear();
        snmp::ifStateMap.clear();
        snmp::interfaceFilter.clear();
        keep_.reset();
    }
    void add(uint32_t id, const std::string& name, uint32_t level, uint32_t auth, uint32_t priv) {
        auto* item = new snmp::Item;
        item->name = name;
        item->securityLevel = level;
        item->authProtocol = auth;
        item->privProtocol = priv;
        item->authPassword = PASSWORD;
        if (level == 2) item->privPassword = PASSWORD;
        item->id = id;
        ASSERT_TRUE(keep_->allocator().request(id));
        ASSERT_TRUE(keep_->insert(item));
    }
    // The whole datagram for one target leaving from local; empty when the head failed.
    Bytes build(const lm::message& m, const snmp::TrapSettings& s,
                const sockaddr_in6& local = mapped("127.0.0.1")) {
        snmp::OutStream out;
        snmp::Context c(nullptr, 0, out);
        snmp::TrapInfo info;
        if (!snmp::createTrapHead(m, c, info, s)) return {};
        if (!snmp::createTrapTail(c, info, reinterpret_cast<const sockaddr*>(&local), s)) return {};
        return Bytes(out.data(), out.data() + out.size());
    }

    lm::test::TempRoot root_;
    std::unique_ptr<snmp::CommunityKeep> keep_;
};

// A command-1 message with the given binding fields (empty text: field absent; type 0 absent).
inline lm::message sendTrap(const std::string& oid, uint32_t type, const char* value) {
    lm::message m;
    m.setCommand(snmp::CMD_SEND_TRAP);
    if (!oid.empty()) m.setString(snmp::trapkey::OID_TEXT, oid);
    if (type) m.setU32(snmp::trapkey::VALUE_TYPE, type);
    if (value) m.setString(snmp::trapkey::VALUE_TEXT, value);
    return m;
}

}  // namespace traptest
