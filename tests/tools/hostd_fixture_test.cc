// Fixture files and the fixture-backed service, without a bus.
#include <gtest/gtest.h>

#include "tools/hostd/fixture.h"
#include "tools/hostd/fixture_service.h"

namespace {

using nlohmann::json;

hostd::ServiceFixture withObjects(uint32_t n) {
    json objects = json::array();
    for (uint32_t i = 0; i < n; ++i)  // listed out of order on purpose
        objects.push_back({{"0x08FE0001", (i * 7) % n + 1}, {"0x20010006", "if" + std::to_string((i * 7) % n + 1)}});
    hostd::Fixture f;
    std::string error;
    EXPECT_TRUE(hostd::parseFixture({{"services", {{{"path", {20, 0}}, {"objects", objects}}}}}, f, error)) << error;
    return f.services.at(0);
}

lm::message request(uint32_t command) {
    lm::message m;
    m.setCommand(command);
    return m;
}

TEST(Fixture, Refusals) {
    struct Case {
        const char* doc;
        const char* reason;
    };
    const Case cases[] = {
        {R"([])", "expected an object"},
        {R"({"service": []})", "unknown member \"service\""},
        {R"({"services": []})", "no services"},
        {R"({"services": [{"objects": []}]})", "services[0]: missing \"path\""},
        {R"({"services": [{"path": []}]})", "services[0].path"},
        {R"({"services": [{"path": [0, 1]}]})", "program 0"},
        {R"({"services": [{"path": [20, 99]}]})", "control handler"},
        {R"({"services": [{"path": [20, 0, 1]}]})", "services[0].path"},
        {R"({"services": [{"path": [20]}, {"path": [20, 0]}]})", "services[1]: path served twice"},
        {R"({"services": [{"path": [20], "objetcs": []}]})", "unknown member \"objetcs\""},
        {R"({"services": [{"path": [20], "objects": [{"0x20010006": "x"}]}]})", "objects[0]: no object id"},
        {R"({"services": [{"path": [20], "objects": [{"0x08FE0001": 1}, {"0x08FE0001": 1}]}]})", "appears twice"},
        {R"({"services": [{"path": [20], "objects": [{"0x08FE0001": "1"}]}]})", "objects[0]: key 0x08FE0001"},
        {R"({"services": [{"path": [20], "error": {"text": "x"}}]})", "missing \"code\""},
        {R"({"services": [{"path": [20], "error": {"code": "0xZZ"}}]})", "error.code"},
        {R"({"services": [{"path": [20], "delay_ms": 60001}]})", "delay_ms"},
        {R"({"services": [{"path": [20], "no_program": 1}]})", "no_program"},
        {R"({"services": [{"path": [20], "notifications": {"up": {"message": {}}}}]})", "missing \"number\""},
    };
    for (const Case& c : cases) {
        hostd::Fixture f;
        std::string error;
        EXPECT_FALSE(hostd::parseFixture(json::parse(c.doc), f, error)) << c.doc;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.doc << " gave: " << error;
        EXPECT_TRUE(f.services.empty());
    }
}

TEST(Fixture, FileProblemsNameTheFile) {
    std::string error;
    hostd::Fixture f;
    EXPECT_FALSE(hostd::loadFixture("/nonexistent/fx.json", f, error));
    EXPECT_EQ(error, "fixture /nonexistent/fx.json: cannot open");
}

TEST(Fixture, SwitchesAndNotifications) {
    hostd::Fixture f;
    std::string error;
    ASSERT_TRUE(hostd::parseFixture(json::parse(R"({"services": [{"path": [24, 14],
        "object": {"0x08000001": 42}, "error": {"code": "0xFE0006", "text": "no"}, "delay_ms": 5,
        "notifications": {"link-down": {"number": 65540, "message": {"0x08FE0001": 3}}}}]})"),
                                    f, error))
        << error;
    const hostd::ServiceFixture& s = f.services.at(0);
    EXPECT_EQ(s.path, (lm::Path{24, 14}));
    EXPECT_TRUE(s.hasObject);
    EXPECT_EQ(s.errorCode, 0xFE0006u);
    EXPECT_EQ(s.errorText, "no");
    EXPECT_EQ(s.delayMs, 5u);
    EXPECT_EQ(s.notifications.at("link-down").number, 0x10004u);
    EXPECT_EQ(s.notifications.at("link-down").payload.getU32(0xFE0001), 3u);
}

TEST(FixtureService, GetAllPagesCoverEveryObjectOnce) {
    hostd::FixtureService svc(withObjects(250));
    for (uint32_t want : {1u, 7u, 100u, 125u, 250u, 1000u}) {
        std::vector<uint32_t> seen;
        uint32_t start = 0;
        for (int pages = 0; pages < 300; ++pages) {
            lm::message req = request(lm::cmd::GET_ALL);
            req.setU32(lm::key::WANT, want).setU32(lm::key::START, start);
            lm::message reply = svc.handle(req);
            const auto* list = reply.findMsgArray(lm::key::OBJECTS);
            ASSERT_NE(list, nullptr);
            for (const lm::message& o : *list) {
                EXPECT_EQ(o.getU32(lm::key::POSITION), seen.size());
                seen.push_back(o.getU32(lm::key::OBJECT_ID));
            }
            if (!reply.has(lm::key::START)) break;
            start = reply.getU32(lm::key::START);
        }
        ASSERT_EQ(seen.size(), 250u) << want;
        for (uint32_t i = 0; i < 250; ++i) EXPECT_EQ(seen[i], i + 1);
    }
    // No page size asked: a default page, with a continuation.
    lm::message reply = svc.handle(request(lm::cmd::GET_ALL));
    EXPECT_EQ(reply.findMsgArray(lm::key::OBJECTS)->size(), hostd::FixtureService::DEFAULT_PAGE);
    EXPECT_EQ(reply.getU32(lm::key::START), hostd::FixtureService::DEFAULT_PAGE);
    // Past the end: empty, no continuation.
    lm::message past = request(lm::cmd::GET_ALL);
    past.setU32(lm::key::START, 9999);
    reply = svc.handle(past);
    EXPECT_TRUE(reply.findMsgArray(lm::key::OBJECTS)->empty());
    EXPECT_FALSE(reply.has(lm::key::START));
}

TEST(FixtureService, GetSetAddRemoveCount) {
    hostd::FixtureService svc(withObjects(3));
    auto withId = [](uint32_t command, uint32_t id) {
        lm::message m = request(command);
        m.setU32(lm::key::OBJECT_ID, id);
        return m;
    };
    EXPECT_EQ(svc.handle(withId(lm::cmd::GET, 2)).getString(0x10006), "if2");
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::GET, 9))), lm::err::NO_OBJECT);
    EXPECT_EQ(lm::getErrorCode(svc.handle(request(lm::cmd::GET))), lm::err::NO_OBJECT);  // no single object

    lm::message set = withId(lm::cmd::OBJECT_SET, 2);
    set.setString(0x10006, "wan").setBool(0x10010, true).setU32Array(lm::key::SENDER, {5, 0});
    EXPECT_FALSE(lm::isError(svc.handle(set)));
    lm::message got = svc.handle(withId(lm::cmd::GET, 2));
    EXPECT_EQ(got.getString(0x10006), "wan");
    EXPECT_TRUE(got.getBool(0x10010));
    EXPECT_FALSE(got.has(lm::key::SENDER));  // header fields are not data
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::SET, 9))), lm::err::NO_OBJECT);

    lm::message add = request(lm::cmd::ADD);
    add.setString(0x10006, "new");
    EXPECT_EQ(svc.handle(add).getU32(lm::key::OBJECT_ID), 4u);
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::ADD, 2))), lm::err::REFUSED);
    EXPECT_FALSE(lm::isError(svc.handle(withId(lm::cmd::REMOVE, 1))));
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::REMOVE, 1))), lm::err::NO_OBJECT);
    EXPECT_EQ(svc.handle(request(lm::cmd::COUNT)).getU32(lm::key::COUNT), 3u);
    EXPECT_EQ(lm::getErrorCode(svc.handle(request(0x123456))), lm::err::BAD_REQUEST);
}

TEST(FixtureService, SingleObject) {
    hostd::Fixture f;
    std::string error;
    ASSERT_TRUE(hostd::parseFixture(json::parse(R"({"services": [{"path": [24, 2],
        "object": {"0x20000001": "lumo"}}]})"), f, error)) << error;
    hostd::FixtureService svc(f.services.at(0));
    EXPECT_EQ(svc.handle(request(lm::cmd::GET)).getString(1), "lumo");
    lm::message set = request(lm::cmd::SET);
    set.setString(1, "renamed");
    EXPECT_FALSE(lm::isError(svc.handle(set)));
    EXPECT_EQ(svc.handle(request(lm::cmd::GET)).getString(1), "renamed");
}

}  // namespace
