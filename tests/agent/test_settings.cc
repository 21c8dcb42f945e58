// The settings object: what a set changes, what a get and a restart give back.
#include <arpa/inet.h>

#include <array>
#include <vector>

#include "platform/util.h"
#include "request/local_engine.h"
#include "security/community_keep.h"
#include "tests/agent/agent_fixture.h"

namespace snmp::test {
namespace {

namespace key = setting;

constexpr size_t PREFIX = sizeof ENGINE_ID_PREFIX;
constexpr uint32_t BOOT_WINDOW_S = 40;  // a start this soon after the system's boot counts 0

// Each target in the get reply's list as text, in list order.
std::vector<std::string> targetTexts(const lm::message& settings) {
    std::vector<std::string> texts;
    if (const auto* list = settings.findMsgArray(key::TARGETS))
        for (const lm::message& e : *list)
            texts.push_back(e.hasU32(key::TARGET_IPV4)
                                ? lm::IPAddr6::fromIPv4(e.getU32(key::TARGET_IPV4)).str()
                                : e.getIP6(key::TARGET_IPV6).str());
    return texts;
}

lm::message ipv4Target(const char* text) {
    return lm::message().setU32(key::TARGET_IPV4, inet_addr(text));
}

lm::message ipv6Target(const char* text) {
    lm::IPAddr6 a;
    EXPECT_TRUE(lm::IPAddr6::parse(text, a)) << text;
    return lm::message().setIP6(key::TARGET_IPV6, a);
}

TEST_F(AgentTest, ASingleTargetIsAppendedAndAListReplaces) {
    set(lm::message().setMsgArray(key::TARGETS, {ipv4Target("192.0.2.1")}));
    set(ipv4Target("198.51.100.7"));
    set(ipv6Target("2001:db8::1"));
    const lm::message reply = get();
    EXPECT_EQ(targetTexts(reply),
              (std::vector<std::string>{"192.0.2.1", "198.51.100.7", "2001:db8::1"}));
    // Each in its own form on the bus: IPv4 as a u32, IPv6 as an address.
    const auto* list = reply.findMsgArray(key::TARGETS);
    ASSERT_TRUE(list && list->size() == 3);
    EXPECT_EQ((*list)[1], ipv4Target("198.51.100.7"));
    EXPECT_EQ((*list)[2], ipv6Target("2001:db8::1"));

    set(lm::message().setMsgArray(key::TARGETS, {ipv6Target("::1"), ipv4Target("10.0.0.1")}));
    EXPECT_EQ(targetTexts(get()), (std::vector<std::string>{"::1", "10.0.0.1"}));
    set(lm::message().setMsgArray(key::TARGETS, {}));
    EXPECT_TRUE(targetTexts(get()).empty());
}

TEST_F(AgentTest, TrapGeneratorsAreKeptOnceAndSubscribedOnce) {
    using Counts = std::array<int, 2>;
    Counts subscribed{}, unsubscribed{};
    for (size_t i = 0; i < 2; ++i)
        scribers.push_back({"generator " + std::to_string(i), [&subscribed, i] { ++subscribed[i]; },
                            [&unsubscribed, i] { ++unsubscribed[i]; }});

    set(lm::message().setU32Array(key::TRAP_GENERATORS, {0, 0, START_TRAP_GENERATOR, 1, 0, 9}));
    EXPECT_EQ(*get().findU32Array(key::TRAP_GENERATORS),
              (std::vector<uint32_t>{0, START_TRAP_GENERATOR, 1, 9}))
        << "unknown ids are kept, duplicates are not";
    EXPECT_EQ(subscribed, (Counts{1, 1}));
    EXPECT_EQ(unsubscribed, (Counts{1, 1})) << "every generator is dropped first";

    set(lm::message().setU32Array(key::TRAP_GENERATORS, {1}));
    EXPECT_EQ(*get().findU32Array(key::TRAP_GENERATORS), std::vector<uint32_t>{1});
    EXPECT_EQ(subscribed, (Counts{1, 2}));
    EXPECT_EQ(unsubscribed, (Counts{2, 2}));
}

TEST_F(AgentTest, GetCarriesTheDefaultsOnlyWhenAsked) {
    constexpr uint32_t WITH_DEFAULTS = 0x20000000, PLAIN = 5;
    EXPECT_FALSE(get().hasMsg(lm::key::DEFAULTS));
    EXPECT_FALSE(settings(lm::cmd::GET, lm::message().setU32(lm::key::FLAGS, PLAIN))
                     .hasMsg(lm::key::DEFAULTS));

    set(lm::message().setString(key::CONTACT, "noc").setBool(key::ENABLED, false));
    const lm::message reply =
        settings(lm::cmd::GET, lm::message().setU32(lm::key::FLAGS, PLAIN | WITH_DEFAULTS));
    EXPECT_EQ(reply.getString(key::CONTACT), "noc") << "the settings themselves come too";
    const lm::message* defaults = reply.findMsg(lm::key::DEFAULTS);
    ASSERT_NE(defaults, nullptr);
    EXPECT_EQ(defaults->getString(key::CONTACT, "missing"), "");
    EXPECT_EQ(defaults->getU32(key::TRAP_COMMUNITY_ID), NO_TRAP_COMMUNITY);
    EXPECT_FALSE(defaults->hasU32(key::ENGINE_BOOTS) ||
                 defaults->hasString(key::TRAP_COMMUNITY_NAME))
        << "no default for the boot count or the stored community name";
}

TEST_F(AgentTest, EngineIdIsThePrefixAndTheText) {
    // A fresh install makes its own text: never the bare prefix, kept across a restart.
    const std::string made = get().getString(key::ENGINE_ID);
    EXPECT_EQ(made.size(), 16u);
    EXPECT_EQ(agent_->engineId.size(), PREFIX + made.size());
    EXPECT_TRUE(communityKeep->engineIdSet());
    EXPECT_EQ(localEngine().info.engineId, agent_->engineId) << "the request path sees it";
    restart();
    EXPECT_EQ(get().getString(key::ENGINE_ID), made);

    set(lm::message().setString(key::ENGINE_ID, "abc"));
    const Octets wire{0x80, 0x00, 0xB9, 0x20, 0x04, 'a', 'b', 'c'};
    EXPECT_EQ(agent_->engineId, wire);
    EXPECT_EQ(agent_->serverInfo().engineId, wire);
    EXPECT_EQ(localEngine().info.engineId, wire);
    EXPECT_EQ(communityKeep->engineId(), wire) << "user keys follow the engine id";
    EXPECT_EQ(get().getString(key::ENGINE_ID), "abc");

    // Emptied, it is made afresh (a different one).
    set(lm::message().setString(key::ENGINE_ID, ""));
    const std::string remade = get().getString(key::ENGINE_ID);
    EXPECT_EQ(remade.size(), 16u);
    EXPECT_NE(remade, made);
}

TEST_F(AgentTest, ARestartKeepsTheSettingsAndCountsABoot) {
    constexpr uint32_t BOOTS = 7;
    lm::message change;
    change.setString(key::CONTACT, "noc").setString(key::LOCATION, "rack 4");
    change.setString(key::ENGINE_ID, "abc").setU32(key::ENGINE_BOOTS, BOOTS);
    change.setMsgArray(key::TARGETS, {ipv4Target("192.0.2.1")});
    change.setU32(key::TRAP_VERSION, 3).setU32(key::TRAP_COMMUNITY_ID, 0);
    change.setU32Array(key::TRAP_GENERATORS, {START_TRAP_GENERATOR});
    change.setMsgArray(key::INTERFACE_FILTER, {lm::message().setU32(key::FILTER_ID, 3),
                                               lm::message().setU32(key::FILTER_ID, 1)});
    set(change);
    set(ipv6Target("2001:db8::1"));
    lm::message before = get();

    interfaceFilter.clear();  // process-wide: the restart must read it back from the store
    restart();
    const uint32_t boots = lm::getUptime() < BOOT_WINDOW_S ? 0 : BOOTS + 1;
    before.setU32(key::ENGINE_BOOTS, boots);
    EXPECT_EQ(get(), before) << get();
    EXPECT_EQ(interfaceFilter, (std::set<uint32_t>{1, 3}));
    EXPECT_EQ(agent_->engineId.size(), PREFIX + 3);

    restart();
    EXPECT_EQ(get().getU32(key::ENGINE_BOOTS), boots == 0 ? 0 : boots + 1)
        << "the advanced count is stored at once";
}

// Program 1, the platform, takes the undo record of every change.
class Platform : public lm::Looper {
public:
    Platform() {
        useMemoryBus();
        listen(PROGRAM);
    }
    lm::message cmdUnknown(const lm::message& req, uint32_t) override {
        if (const lm::message* undo = req.findMsg(lm::key::UNDO_MSG)) undos.push_back(*undo);
        return lm::message();
    }
    static constexpr uint32_t PROGRAM = 1;
    std::vector<lm::message> undos;
};

TEST_F(AgentTest, ASetSendsTheOldValuesForUndo) {
    Platform platform;
    set(lm::message().setString(key::CONTACT, "noc"));
    set(lm::message().setString(key::CONTACT, "ops"));
    ASSERT_EQ(platform.undos.size(), 2u);
    EXPECT_EQ(platform.undos[1].getString(key::CONTACT), "noc");
    EXPECT_EQ(platform.undos[1].command(), lm::cmd::SET) << "ready to be sent back as it is";
}

}  // namespace
}  // namespace snmp::test
