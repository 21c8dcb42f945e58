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
const std::string SAME = "community with the same name already exists!";
const std::string LONG = "community name longer than 255 octets";

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
    // The reply's error text, "" when accepted; a refusal must carry code 0xFE0006.
    std::string request(uint32_t command, lm::message m, uint32_t* newId = nullptr) {
        m.setDestination({PROGRAM, ID_COMMUNITIES});
        m.setCommand(command);
        const lm::message reply = looper_->deliver(m);
        if (newId) *newId = reply.getU32(lm::key::OBJECT_ID, 0xFFFFFFFF);
        uint32_t code = 0;
        std::string text;
        if (!lm::isError(reply, code, text)) return "";
        EXPECT_EQ(code, 0xFE0006u) << text;
        return text;
    }
    lm::message object(uint32_t id) { return lm::message().setU32(lm::key::OBJECT_ID, id); }
    uint32_t add(const std::string& name, lm::message m = lm::message()) {
        uint32_t id = 0;
        EXPECT_EQ(request(lm::cmd::ADD, m.setString(NAME, name), &id), "");
        return id;
    }

    std::string root_;
    std::unique_ptr<CommunityKeep> keep_;
    std::unique_ptr<lm::Looper> looper_;
};

TEST_F(CommunityKeepTest, FreshStoreHoldsExactlyTheDefaultRecord) {
    EXPECT_EQ(communityKeep, keep_.get());
    ASSERT_EQ(keep_->items().size(), 1u);
    const Item* pub = keep_->record(0);
    ASSERT_TRUE(pub && pub->name == "public" && pub->addresses.size() == 1);
    EXPECT_TRUE(pub->readAccess && !pub->writeAccess && pub->securityLevel == 0);
    EXPECT_EQ(pub->addresses[0].str(), "0.0.0.0/0");
    EXPECT_TRUE(keep_->store().has(0)) << "written at once";
}

TEST_F(CommunityKeepTest, NamesStayUniqueShortAndTheDefaultStays) {
    const uint32_t ops = add("ops"), upper = add("Public");  // case matters
    const std::string longest(MAX_NAME_OCTETS, 'n'), tooLong(MAX_NAME_OCTETS + 1, 'n');
    ASSERT_TRUE(ops != 0xFFFFFFFF && upper != 0xFFFFFFFF);
    const struct { uint32_t command; lm::message req; std::string refusal; } cases[] = {
        {lm::cmd::ADD, lm::message().setString(NAME, "public"), SAME},
        {lm::cmd::OBJECT_SET, object(ops).setString(NAME, "public"), SAME},
        {lm::cmd::ADD, lm::message().setString(NAME, tooLong), LONG},
        {lm::cmd::OBJECT_SET, object(ops).setString(NAME, tooLong), LONG},
        {lm::cmd::OBJECT_SET, object(0).setString(NAME, tooLong), LONG},
        {lm::cmd::OBJECT_SET, object(ops).setString(NAME, "ops").setBool(WRITE_ACCESS, true), ""},
        {lm::cmd::OBJECT_SET, object(0).setString(NAME, "monitor"), ""},  // may be renamed
        {lm::cmd::OBJECT_SET, object(upper).setString(NAME, "monitor"), SAME},
        {lm::cmd::REMOVE, object(0), "can not remove default community"},
        {lm::cmd::REMOVE, object(upper), ""},
    };
    for (const auto& c : cases) EXPECT_EQ(request(c.command, c.req), c.refusal) << c.req;
    ASSERT_TRUE(keep_->record(0) && keep_->record(ops));
    EXPECT_EQ(keep_->record(ops)->name, "ops") << "a refused change leaves the record";
    EXPECT_TRUE(keep_->record(ops)->writeAccess);
    EXPECT_EQ(keep_->record(0)->name, "monitor");
    EXPECT_EQ(keep_->record(upper), nullptr);
    EXPECT_EQ(keep_->items().size(), 2u);
    EXPECT_NE(add(longest), 0xFFFFFFFFu) << "the longest name is accepted";

    EXPECT_EQ(keep_->find("ops"), keep_->record(ops));  // exact names only
    EXPECT_EQ(keep_->find("monitor"), keep_->record(0));
    for (const std::string& miss : {std::string("OPS"), std::string("ops\0", 4), std::string()})
        EXPECT_EQ(keep_->find(miss), nullptr) << miss;
}

TEST_F(CommunityKeepTest, KeysFollowTheEngineIdAcrossARestart) {
    const Octets engine = test::hex("8000b92004616263");
    lm::message user;
    user.setString(AUTH_PASSWORD, "maplesyrup").setString(PRIV_PASSWORD, "privsyrup");
    user.setU32(AUTH_PROTOCOL, 1).setU32(SECURITY_LEVEL, 2);
    const uint32_t id = add("v3user", user);
    EXPECT_TRUE(keep_->record(id)->authKey.empty()) << "no engine id yet";

    stop();
    start();  // the agent restarts over the same store
    Item* back = keep_->record(id);
    ASSERT_TRUE(back && back->name == "v3user" && back->authPassword == "maplesyrup");
    EXPECT_EQ(back->securityLevel, 2u);
    EXPECT_TRUE(back->authKey.empty()) << "loading derives nothing";
    keep_->setEngineId({});
    EXPECT_TRUE(back->authKey.empty()) << "an empty engine id derives nothing";

    keep_->setEngineId(engine);
    EXPECT_TRUE(engineReady());
    EXPECT_EQ(back->authKey, bKeyToDKey(aKeyToBKey(passwordToAKey("maplesyrup", 1u), engine, 1u)));
    EXPECT_EQ(keep_->record(0)->authKey.size(), PAD_BLOCK_SIZE) << "every record";
    // From now on a change over the bus derives the new keys at once.
    ASSERT_EQ(request(lm::cmd::OBJECT_SET, object(id).setString(AUTH_PASSWORD, "other")), "");
    EXPECT_EQ(keep_->record(id)->authKey,
              bKeyToDKey(aKeyToBKey(passwordToAKey("other", 1u), engine, 1u)));
}

}  // namespace
}  // namespace snmp
