// CommunityKeep over a real store in a temporary LUMO_ROOT, driven through the bus dispatch
// of an in-memory looper: the default record, the refusals, lookups and a restart.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <memory>

#include "platform/bus.h"
#include "platform/looper.h"
#include "security/community_keep.h"
#include "security/ids.h"
#include "security/usm_crypto.h"
#include "tests/security/test_util.h"

namespace snmp {
namespace {

using namespace itemkey;

constexpr uint32_t PROGRAM = 5100;
const Octets ENGINE = test::hex("8000b92004616263");

class CommunityKeepTest : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/lumo-usm-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        root_ = dir;
        setenv("LUMO_ROOT", root_.c_str(), 1);
        start();
    }
    void TearDown() override {
        stop();
        unsetenv("LUMO_ROOT");
        std::filesystem::remove_all(root_);
    }

    // A fresh agent side over whatever the store holds.
    void start() {
        keep_ = std::make_unique<CommunityKeep>();
        looper_ = std::make_unique<lm::Looper>();
        looper_->useMemoryBus();
        ASSERT_TRUE(looper_->listen(PROGRAM));
        looper_->addHandler(ID_COMMUNITIES, keep_.get());
        ASSERT_TRUE(keep_->init());
    }
    void stop() {
        looper_.reset();
        keep_.reset();
    }

    lm::message request(uint32_t command, lm::message m = lm::message()) {
        m.setDestination({PROGRAM, ID_COMMUNITIES});
        m.setCommand(command);
        return looper_->deliver(m);
    }
    uint32_t add(const std::string& name, lm::message m = lm::message()) {
        m.setString(NAME, name);
        lm::message reply = request(lm::cmd::ADD, m);
        EXPECT_FALSE(lm::isError(reply)) << reply;
        return reply.getU32(lm::key::OBJECT_ID, 0xFFFFFFFF);
    }
    lm::message change(uint32_t id, lm::message m) {
        m.setU32(lm::key::OBJECT_ID, id);
        return request(lm::cmd::OBJECT_SET, m);
    }
    lm::message remove(uint32_t id) {
        return request(lm::cmd::REMOVE, lm::message().setU32(lm::key::OBJECT_ID, id));
    }
    static void expectRefused(const lm::message& reply, const std::string& text) {
        uint32_t code = 0;
        std::string got;
        ASSERT_TRUE(lm::isError(reply, code, got)) << reply;
        EXPECT_EQ(code, 0xFE0006u);
        EXPECT_EQ(got, text);
    }

    std::string root_;
    std::unique_ptr<CommunityKeep> keep_;
    std::unique_ptr<lm::Looper> looper_;
};

TEST_F(CommunityKeepTest, FreshStoreHoldsExactlyTheDefaultRecord) {
    EXPECT_EQ(communityKeep, keep_.get());
    ASSERT_EQ(keep_->items().size(), 1u);
    Item* pub = keep_->record(0);
    ASSERT_NE(pub, nullptr);
    EXPECT_EQ(pub->name, "public");
    EXPECT_TRUE(pub->readAccess);
    EXPECT_FALSE(pub->writeAccess);
    EXPECT_EQ(pub->securityLevel, 0u);
    ASSERT_EQ(pub->addresses.size(), 1u);
    EXPECT_EQ(pub->addresses[0].str(), "0.0.0.0/0");
    EXPECT_TRUE(keep_->store().has(0)) << "written at once";

    lm::message got = request(lm::cmd::GET, lm::message().setU32(lm::key::OBJECT_ID, 0));
    EXPECT_TRUE(got.getBool(IS_DEFAULT)) << got;
    EXPECT_EQ(got.getString(NAME), "public");
}

TEST_F(CommunityKeepTest, NamesStayUniqueAndTheDefaultStays) {
    const std::string SAME = "community with the same name already exists!";
    expectRefused(request(lm::cmd::ADD, lm::message().setString(NAME, "public")), SAME);
    EXPECT_EQ(keep_->items().size(), 1u);

    uint32_t ops = add("ops");
    uint32_t upper = add("Public");  // case matters
    ASSERT_NE(ops, 0xFFFFFFFFu);
    ASSERT_NE(upper, 0xFFFFFFFFu);

    expectRefused(change(ops, lm::message().setString(NAME, "public")), SAME);
    EXPECT_EQ(keep_->record(ops)->name, "ops") << "a refused change leaves the record";
    EXPECT_FALSE(lm::isError(change(ops, lm::message().setString(NAME, "ops").setBool(
                                              WRITE_ACCESS, true))))
        << "keeping its own name is fine";
    EXPECT_TRUE(keep_->record(ops)->writeAccess);
    EXPECT_FALSE(lm::isError(change(0, lm::message().setString(NAME, "monitor"))))
        << "the default record may be renamed";

    expectRefused(remove(0), "can not remove default community");
    EXPECT_NE(keep_->record(0), nullptr);
    EXPECT_FALSE(lm::isError(remove(ops)));
    EXPECT_EQ(keep_->record(ops), nullptr);

    // The hooks called directly, as the object map calls them.
    Item incoming;
    incoming.name = "monitor";
    expectRefused(keep_->doAdd(&incoming), SAME);
    incoming.name = "fresh";
    EXPECT_TRUE(keep_->doAdd(&incoming).empty());
    incoming.name = "Public";
    expectRefused(keep_->doSet(keep_->record(0), &incoming), SAME);
    EXPECT_TRUE(keep_->doSet(keep_->record(upper), &incoming).empty());
}

TEST_F(CommunityKeepTest, FindIsExactAndTakesTheLowestId) {
    uint32_t a = add("a");
    add("b");
    EXPECT_EQ(keep_->find("a"), keep_->record(a));
    EXPECT_EQ(keep_->find("public"), keep_->record(0));
    EXPECT_EQ(keep_->find("A"), nullptr);
    EXPECT_EQ(keep_->find("a "), nullptr);
    EXPECT_EQ(keep_->find(""), nullptr);
    EXPECT_EQ(keep_->find(std::string("a\0", 2)), nullptr);
}

TEST_F(CommunityKeepTest, KeysFollowTheEngineIdAcrossARestart) {
    lm::message user;
    user.setString(AUTH_PASSWORD, "maplesyrup");
    user.setString(PRIV_PASSWORD, "privsyrup");
    user.setU32(AUTH_PROTOCOL, 1);
    user.setU32(SECURITY_LEVEL, 2);
    uint32_t id = add("v3user", user);
    EXPECT_TRUE(keep_->record(id)->authKey.empty()) << "no engine id yet";

    stop();
    start();  // the agent restarts over the same store
    Item* back = keep_->find("v3user");
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->id, id);
    EXPECT_EQ(back->securityLevel, 2u);
    EXPECT_EQ(back->authPassword, "maplesyrup");
    EXPECT_TRUE(back->authKey.empty()) << "loading derives nothing";
    EXPECT_FALSE(engineReady());

    keep_->setEngineId(ENGINE);
    EXPECT_TRUE(engineReady());
    Octets localised = aKeyToBKey(passwordToAKey("maplesyrup", 1u), ENGINE, 1u);
    EXPECT_EQ(back->authKey, bKeyToDKey(localised));
    EXPECT_EQ(back->privKey, aKeyToBKey(passwordToAKey("privsyrup", 1u), ENGINE, 1u));
    EXPECT_EQ(keep_->record(0)->authKey.size(), PAD_BLOCK_SIZE);

    // From now on a change over the bus derives the new keys at once.
    ASSERT_FALSE(lm::isError(change(id, lm::message().setString(AUTH_PASSWORD, "other"))));
    back = keep_->record(id);
    EXPECT_EQ(back->authKey,
              bKeyToDKey(aKeyToBKey(passwordToAKey("other", 1u), ENGINE, 1u)));
}

TEST_F(CommunityKeepTest, EmptyEngineIdDerivesNothing) {
    keep_->setEngineId({});
    EXPECT_TRUE(keep_->record(0)->authKey.empty());
}

}  // namespace
}  // namespace snmp
