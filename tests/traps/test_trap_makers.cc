// The link trap maker: which interface notifications make a trap, linkUp or linkDown, and
// the bindings with the interface's index as instance.
#include <algorithm>
#include <optional>

#include "platform/bus.h"
#include "platform/services.h"
#include "trap_fixture.h"

namespace traptest {
namespace {

constexpr uint32_t ADMIN_UP = 0x100, RUNNING = 0x400, OTHER_BITS = 0x10003;
const lm::Path INTERFACES{20, 0};

lm::message link(uint32_t id, uint32_t flags, lm::Path sender = INTERFACES) {
    lm::message m;
    m.setCommand(lm::service::LINK_NOTIFICATION);
    m.setU32Array(lm::key::SENDER, std::move(sender));
    m.setU32(lm::key::OBJECT_ID, id);
    m.setU32(lm::service::iface::STATUS, flags);
    return m;
}

struct Expected {
    std::string trapOid;
    uint32_t generic;
    std::string admin, oper;
};
const Expected LINK_UP{"1.3.6.1.6.3.1.1.5.4", 3, "1", "1"};
const Expected LINK_DOWN_ADMIN_UP{"1.3.6.1.6.3.1.1.5.3", 2, "1", "2"};
const Expected LINK_DOWN{"1.3.6.1.6.3.1.1.5.3", 2, "2", "2"};

TEST_F(TrapTest, InterfaceTrapMaker) {
    lm::message noStatus = link(5, RUNNING);
    noStatus.remove(lm::service::iface::STATUS);
    lm::message noId = link(5, RUNNING);
    noId.remove(lm::key::OBJECT_ID);
    struct Case {
        const char* what;
        std::map<uint32_t, uint32_t> seeded;
        std::set<uint32_t> filter;
        lm::message m;
        std::optional<Expected> trap;
    };
    const Case cases[] = {
        {"sender [20, 1] is another handler", {}, {}, link(5, RUNNING, {20, 1}), std::nullopt},
        {"sender [20] is not the interface service", {}, {}, link(5, RUNNING, {20}), std::nullopt},
        {"sender [20, 0, 1] is not exactly it", {}, {}, link(5, RUNNING, {20, 0, 1}), std::nullopt},
        {"no status flags", {}, {}, noStatus, std::nullopt},
        {"no interface id", {}, {}, noId, std::nullopt},
        {"first notification of an unknown interface", {}, {}, link(5, ADMIN_UP), LINK_DOWN_ADMIN_UP},
        {"running makes linkUp", {{5, ADMIN_UP}}, {}, link(5, ADMIN_UP | RUNNING), LINK_UP},
        {"admin up without carrier is linkDown", {{5, 0}}, {}, link(5, ADMIN_UP), LINK_DOWN_ADMIN_UP},
        {"admin down", {{5, ADMIN_UP | RUNNING}}, {}, link(5, 0), LINK_DOWN},
        {"same state: no trap", {{5, ADMIN_UP}}, {}, link(5, ADMIN_UP), std::nullopt},
        {"only other bits changed: no trap", {{5, ADMIN_UP | RUNNING}}, {},
         link(5, ADMIN_UP | RUNNING | OTHER_BITS), std::nullopt},
        {"filter {5} lets 5 through", {}, {5}, link(5, ADMIN_UP | RUNNING), LINK_UP},
        {"filter {5} stops 7", {}, {5}, link(7, ADMIN_UP | RUNNING), std::nullopt},
        {"filter {0, 5} lets every interface through", {}, {0, 5}, link(7, ADMIN_UP | RUNNING), LINK_UP},
    };
    for (const Case& c : cases) {
        snmp::ifStateMap = c.seeded;
        snmp::interfaceFilter = c.filter;
        snmp::TrapInfo info;
        const bool made = snmp::interfaceTrapMaker(c.m, info);
        ASSERT_EQ(made, c.trap.has_value()) << c.what;
        if (!made) continue;
        const uint32_t id = c.m.getU32(lm::key::OBJECT_ID);
        EXPECT_EQ(info.oid, snmp::OID(c.trap->trapOid)) << c.what;
        EXPECT_EQ(info.generic, c.trap->generic) << c.what;
        EXPECT_EQ(info.specific, 0u) << c.what;
        ASSERT_EQ(info.varbinds.size(), 3u) << c.what;
        const std::string column = "1.3.6.1.2.1.2.2.1.";
        const std::string instance = "." + std::to_string(id);
        const std::pair<std::string, std::string> bindings[] = {
            {column + "1" + instance, std::to_string(id)},
            {column + "7" + instance, c.trap->admin},
            {column + "8" + instance, c.trap->oper}};
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(info.varbinds[i].name, snmp::OID(bindings[i].first)) << c.what << " binding " << i;
            EXPECT_EQ(info.varbinds[i].type, snmp::tag::INTEGER) << c.what;
            EXPECT_EQ(info.varbinds[i].value, bindings[i].second) << c.what << " binding " << i;
        }
        EXPECT_EQ(snmp::ifStateMap.at(id), c.m.getU32(lm::service::iface::STATUS) & 0x500) << c.what;
    }
}

// A filtered notification does not move the stored state: once the filter admits the
// interface, its real change still makes a trap.
TEST_F(TrapTest, FilteredNotificationKeepsTheStoredState) {
    snmp::ifStateMap = {{7, ADMIN_UP}};
    snmp::interfaceFilter = {5};
    snmp::TrapInfo info;
    EXPECT_FALSE(snmp::interfaceTrapMaker(link(7, ADMIN_UP | RUNNING), info));
    snmp::interfaceFilter.clear();
    EXPECT_TRUE(snmp::interfaceTrapMaker(link(7, ADMIN_UP | RUNNING), info));
}

// Subscribing installs the maker once per subscription; unsubscribing removes one.
TEST_F(TrapTest, SubscriptionInstallsTheMaker) {
    auto count = [] {
        return std::count(snmp::trapMakers.begin(), snmp::trapMakers.end(), &snmp::interfaceTrapMaker);
    };
    snmp::trapMakers = {snmp::velmarTrapMaker};
    snmp::interfaceSubscribe();
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(snmp::trapMakers.front(), &snmp::velmarTrapMaker);
    snmp::interfaceUnSubscribe();
    EXPECT_EQ(count(), 0);
    snmp::interfaceUnSubscribe();
    EXPECT_EQ(snmp::trapMakers.size(), 1u);
}

}  // namespace
}  // namespace traptest
