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
    const std::pair<const char*, const char*> cases[] = {  // document, a piece of the error
        {R"([])", "expected an object"},
        {R"({"service": []})", "unknown member \"service\""},
        {R"({"services": []})", "no services"},
        {R"({"services": [{"objects": []}]})", "services[0]: missing \"path\""},
        {R"({"services": [{"path": []}]})", "services[0].path"},
        {R"({"services": [{"path": [0, 1]}]})", "program 0"},
        {R"({"services": [{"path": [20, 99]}]})", "control handler"},
        {R"({"services": [{"path": [20]}, {"path": [20, 0]}]})", "services[1]: path served twice"},
        {R"({"services": [{"path": [20], "objetcs": []}]})", "unknown member \"objetcs\""},
        {R"({"services": [{"path": [20], "objects": [{"0x20010006": "x"}]}]})", "objects[0]: no object id"},
        {R"({"services": [{"path": [20], "objects": [{"0x08FE0001": 1}, {"0x08FE0001": 1}]}]})", "appears twice"},
        {R"({"services": [{"path": [20], "objects": [{"0x08FE0001": "1"}]}]})", "objects[0]: key 0x08FE0001"},
        {R"({"services": [{"path": [20], "error": {"code": "0xZZ"}}]})", "error.code"},
        {R"({"services": [{"path": [20], "delay_ms": 60001}]})", "delay_ms"},
        {R"({"services": [{"path": [20], "notifications": {"up": {"message": {}}}}]})", "missing \"number\""},
    };
    for (const auto& [doc, reason] : cases) {
        hostd::Fixture f;
        std::string error;
        EXPECT_FALSE(hostd::parseFixture(json::parse(doc), f, error)) << doc;
        EXPECT_NE(error.find(reason), std::string::npos) << doc << " gave: " << error;
        EXPECT_TRUE(f.services.empty());
    }
}

TEST(Fixture, SwitchesNotificationsAndASingleObject) {
    hostd::Fixture f;
    std::string error;
    ASSERT_TRUE(hostd::parseFixture(json::parse(R"({"services": [{"path": [24, 14],
        "object": {"0x20000001": "lumo"}, "error": {"code": "0xFE0006"}, "delay_ms": 5,
        "notifications": {"link-down": {"number": 65540, "message": {"0x08FE0001": 3}}}}]})"),
                                    f, error))
        << error;
    const hostd::ServiceFixture& s = f.services.at(0);
    EXPECT_EQ(s.errorCode, 0xFE0006u);
    EXPECT_EQ(s.delayMs, 5u);
    EXPECT_EQ(s.notifications.at("link-down").payload.getU32(0xFE0001), 3u);

    hostd::FixtureService svc(s);
    lm::message set = request(lm::cmd::SET);
    set.setString(1, "renamed");
    EXPECT_FALSE(lm::isError(svc.handle(set)));
    EXPECT_EQ(svc.handle(request(lm::cmd::GET)).getString(1), "renamed");
}

// Paging through a whole list over the bus is the integration test's; here the page edges.
TEST(FixtureService, GetAllPageEdges) {
    hostd::FixtureService svc(withObjects(250));
    const struct { uint32_t want, start, size, firstId; bool more; } cases[] = {
        {1, 0, 1, 1, true},      {0, 0, hostd::FixtureService::DEFAULT_PAGE, 1, true},
        {100, 200, 50, 201, false}, {1000, 0, 250, 1, false}, {10, 9999, 0, 0, false},
    };
    for (const auto& c : cases) {
        lm::message req = request(lm::cmd::GET_ALL);
        req.setU32(lm::key::WANT, c.want).setU32(lm::key::START, c.start);
        const lm::message reply = svc.handle(req);
        const auto* list = reply.findMsgArray(lm::key::OBJECTS);
        ASSERT_NE(list, nullptr);
        ASSERT_EQ(list->size(), c.size) << c.want << "@" << c.start;
        if (c.size) {
            EXPECT_EQ(list->front().getU32(lm::key::OBJECT_ID), c.firstId);
            EXPECT_EQ(list->back().getU32(lm::key::POSITION), c.start + c.size - 1);
        }
        EXPECT_EQ(reply.has(lm::key::START), c.more);
        EXPECT_EQ(reply.getU32(lm::key::START), c.more ? c.start + c.size : 0) << c.want;
    }
}

TEST(FixtureService, GetSetAddRemoveCount) {
    hostd::FixtureService svc(withObjects(3));
    auto withId = [](uint32_t command, uint32_t id) {
        lm::message m = request(command);
        m.setU32(lm::key::OBJECT_ID, id);
        return m;
    };
    EXPECT_EQ(lm::getErrorCode(svc.handle(request(lm::cmd::GET))), lm::err::NO_OBJECT);  // no single object

    lm::message set = withId(lm::cmd::OBJECT_SET, 2);
    set.setString(0x10006, "wan").setBool(0x10010, true).setU32Array(lm::key::SENDER, {5, 0});
    EXPECT_FALSE(lm::isError(svc.handle(set)));
    const lm::message got = svc.handle(withId(lm::cmd::GET, 2));
    EXPECT_TRUE(got.getBool(0x10010));
    EXPECT_FALSE(got.has(lm::key::SENDER));  // header fields are not data
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::SET, 9))), lm::err::NO_OBJECT);

    lm::message add = request(lm::cmd::ADD);
    add.setString(0x10006, "new");
    EXPECT_EQ(svc.handle(add).getU32(lm::key::OBJECT_ID), 4u);
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::ADD, 2))), lm::err::REFUSED);
    EXPECT_FALSE(lm::isError(svc.handle(withId(lm::cmd::REMOVE, 1))));
    EXPECT_EQ(lm::getErrorCode(svc.handle(withId(lm::cmd::REMOVE, 1))), lm::err::NO_OBJECT);
    EXPECT_EQ(lm::getErrorCode(svc.handle(request(0x123456))), lm::err::BAD_REQUEST);
}

}  // namespace
