// Fixture files and the fixture-backed service, without a bus.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/message_json.h"
#include "tools/hostd/control.h"
#include "tools/hostd/fixture.h"
#include "tools/hostd/fixture_service.h"
#include "tools/hostd/program_host.h"

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

// Ten objects with gaps between their ids (10, 20 ... 100), a name and a group shared by
// every third one, so that starts by id, by position and by key fields all differ.
constexpr uint32_t NAME = 0x20010006;
constexpr uint32_t GROUP = 0x08010003;
constexpr uint32_t GAPPED_COUNT = 10;
constexpr uint32_t ID_STEP = 10;
constexpr uint32_t GROUPS = 3;

hostd::ServiceFixture gapped() {
    hostd::ServiceFixture s;
    s.path = {20, 0};
    for (uint32_t pos = 0; pos < GAPPED_COUNT; ++pos) {
        const uint32_t id = (pos + 1) * ID_STEP;
        lm::message m;
        m.setU32(lm::key::OBJECT_ID, id).setString(NAME, "if" + std::to_string(id));
        m.setU32(GROUP, pos % GROUPS);
        s.objects.push_back(std::move(m));
    }
    return s;
}

// A get-all with the fields that a message JSON text gives.
lm::message getAll(const std::string& fields, uint32_t want) {
    lm::message m;
    std::string why;
    EXPECT_TRUE(lm::fromJson(json::parse(fields), m, &why)) << fields << ": " << why;
    m.setCommand(lm::cmd::GET_ALL);
    if (want) m.setU32(lm::key::WANT, want);
    return m;
}

// The positions of a reply's objects, each checked against its id in the gapped list.
std::vector<uint32_t> positionsOf(const lm::message& reply) {
    std::vector<uint32_t> out;
    const auto* list = reply.findMsgArray(lm::key::OBJECTS);
    EXPECT_NE(list, nullptr) << reply;
    if (!list) return out;
    for (const lm::message& o : *list) {
        out.push_back(o.getU32(lm::key::POSITION));
        EXPECT_EQ(o.getU32(lm::key::OBJECT_ID), (out.back() + 1) * ID_STEP) << reply;
    }
    return out;
}

std::vector<uint32_t> range(uint32_t from, uint32_t to) {  // [from, to)
    std::vector<uint32_t> v;
    for (uint32_t p = from; p < to; ++p) v.push_back(p);
    return v;
}

constexpr uint32_t NO_MORE = ~0u;  // a reply without continuation

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
        {R"({"services": [{"path": [20], "paging": "sideways"}]})", "services[0].paging"},
        {R"({"services": [{"path": [20], "paging": 1}]})", "services[0].paging"},
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
        "paging": "reversed",
        "notifications": {"link-down": {"number": 65540, "message": {"0x08FE0001": 3}}}}]})"),
                                    f, error))
        << error;
    const hostd::ServiceFixture& s = f.services.at(0);
    EXPECT_EQ(s.errorCode, 0xFE0006u);
    EXPECT_EQ(s.delayMs, 5u);
    EXPECT_EQ(s.paging, hostd::PagingMode::REVERSED);
    EXPECT_EQ(s.notifications.at("link-down").payload.getU32(0xFE0001), 3u);

    hostd::FixtureService svc(s);
    lm::message set = request(lm::cmd::SET);
    set.setString(1, "renamed");
    EXPECT_FALSE(lm::isError(svc.handle(set)));
    EXPECT_EQ(svc.handle(request(lm::cmd::GET)).getString(1), "renamed");
}

// Paging through a whole list over the bus is make_table_fixture_test.py's; here the page edges.
TEST(FixtureService, GetAllPageEdges) {
    hostd::FixtureService svc(withObjects(250));
    const struct { uint32_t want, start, size, firstId; bool more; } cases[] = {
        {1, 0, 1, 1, true},      {0, 0, hostd::DEFAULT_PAGE, 1, true},
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

TEST(FixtureService, GetAllStartForms) {
    hostd::FixtureService svc(gapped());
    const uint32_t want = 3;
    const struct { const char* what; const char* fields; uint32_t first, count; } cases[] = {
        {"no start", R"({})", 0, 3},
        {"position", R"({"0x08FE0003": 4})", 4, 3},
        {"position before id", R"({"0x08FE0003": 1, "0x08FE0001": 90})", 1, 3},
        {"position past the end", R"({"0x08FE0003": 10})", 10, 0},
        {"highest position", R"({"0x08FE0003": 4294967295})", 10, 0},
        {"id present", R"({"0x08FE0001": 30})", 2, 3},
        {"id in a gap", R"({"0x08FE0001": 35})", 3, 3},
        {"id below the first", R"({"0x08FE0001": 0})", 0, 3},
        {"the last id", R"({"0x08FE0001": 100})", 9, 1},
        {"id past the end", R"({"0x08FE0001": 101})", 10, 0},
        {"nested position", R"({"0x28FE001B": {"0x08FE0003": 8}})", 8, 2},
        {"nested id", R"({"0x28FE001B": {"0x08FE0001": 55}})", 5, 3},
        {"top level before nested", R"({"0x08FE0001": 20, "0x28FE001B": {"0x08FE0001": 80}})", 1, 3},
        {"nested key field", R"({"0x28FE001B": {"0x20010006": "if70"}})", 6, 3},
        {"nested key fields all equal",
         R"({"0x28FE001B": {"0x20010006": "if70", "0x08010003": 0}})", 6, 3},
        {"nested key fields one differs",
         R"({"0x28FE001B": {"0x20010006": "if70", "0x08010003": 2}})", 0, 3},
        {"nested key field shared: the first", R"({"0x28FE001B": {"0x08010003": 2}})", 2, 3},
        {"nested key field of another type", R"({"0x28FE001B": {"0x08010006": 70}})", 0, 3},
        {"nested key field matching nothing", R"({"0x28FE001B": {"0x20010006": "ppp0"}})", 0, 3},
        {"nested partial key", R"({"0x28FE001B": {"0x20010006": "if70", "0x00FE0007": true}})", 0, 3},
        {"nested partial id", R"({"0x28FE001B": {"0x08FE0001": 50, "0x00FE0007": true}})", 0, 3},
        {"a false partial mark is no field",
         R"({"0x28FE001B": {"0x20010006": "if70", "0x00FE0007": false}})", 6, 3},
        {"nested empty", R"({"0x28FE001B": {}})", 0, 3},
    };
    for (const auto& c : cases) {
        const lm::message reply = svc.handle(getAll(c.fields, want));
        EXPECT_EQ(positionsOf(reply), range(c.first, c.first + c.count)) << c.what;
        const uint32_t next = c.first + c.count;
        EXPECT_EQ(reply.getU32(lm::key::START, NO_MORE), next < GAPPED_COUNT ? next : NO_MORE) << c.what;
    }
}

// Following the continuation visits every object once, in id order, whatever the page size.
TEST(FixtureService, ContinuationWalksTheWholeList) {
    hostd::FixtureService svc(gapped());
    for (uint32_t want : {1u, 3u, 9u, 10u, 11u}) {
        std::vector<uint32_t> seen;
        lm::message req = getAll("{}", want);
        for (uint32_t page = 0; page <= GAPPED_COUNT; ++page) {
            const lm::message reply = svc.handle(req);
            for (uint32_t p : positionsOf(reply)) seen.push_back(p);
            if (!reply.has(lm::key::START)) break;
            req.setU32(lm::key::START, reply.getU32(lm::key::START));
        }
        EXPECT_EQ(seen, range(0, GAPPED_COUNT)) << "pages of " << want;
    }
}

// A field list cuts every object of the page to the fields listed (type bits ignored), its
// id and its position; the start is still found among whole objects, and the continuation
// is the same.
TEST(FixtureService, FieldListCutsTheObjects) {
    hostd::FixtureService svc(gapped());
    const struct {
        const char* what;
        const char* request;
        std::vector<uint32_t> keys;  // of each object, beside id and position
    } cases[] = {
        {"no list: whole objects", R"({"0x08FE0003": 2})", {NAME, GROUP}},
        {"one field", R"({"0x08FE0003": 2, "0x88FE001E": [536936454]})", {NAME}},
        {"field number without type bits", R"({"0x08FE0003": 2, "0x88FE001E": [65539]})", {GROUP}},
        {"a field no object has", R"({"0x08FE0003": 2, "0x88FE001E": [65539, 7]})", {GROUP}},
        {"empty list", R"({"0x08FE0003": 2, "0x88FE001E": []})", {}},
        {"start by a field not listed",
         R"({"0x28FE001B": {"0x20010006": "if30"}, "0x88FE001E": [65539]})",
         {GROUP}},
    };
    for (const auto& c : cases) {
        const lm::message reply = svc.handle(getAll(c.request, 3));
        EXPECT_EQ(positionsOf(reply), range(2, 5)) << c.what;
        EXPECT_EQ(reply.getU32(lm::key::START, NO_MORE), 5u) << c.what;
        for (const lm::message& o : *reply.findMsgArray(lm::key::OBJECTS)) {
            std::vector<uint32_t> want = {lm::key::OBJECT_ID, lm::key::POSITION};
            want.insert(want.end(), c.keys.begin(), c.keys.end());
            std::vector<uint32_t> got = o.keys();
            std::sort(want.begin(), want.end());
            std::sort(got.begin(), got.end());
            EXPECT_EQ(got, want) << c.what << ": " << o;
            if (o.hasString(NAME)) {
                EXPECT_EQ(o.getString(NAME), "if" + std::to_string(o.getU32(lm::key::OBJECT_ID)));
            }
        }
    }
}

TEST(FixtureService, PagingModes) {
    using M = hostd::PagingMode;
    const struct {
        M mode;
        const char* fields;
        uint32_t want;
        std::vector<uint32_t> positions;
        uint32_t next;
    } cases[] = {
        {M::NORMAL, R"({"0x08FE0003": 2})", 4, {2, 3, 4, 5}, 6},
        {M::SHORT, R"({"0x08FE0003": 2})", 4, {2, 3}, 4},
        {M::SHORT, R"({"0x08FE0003": 2})", 5, {2, 3}, 4},
        {M::SHORT, R"({"0x08FE0003": 2})", 1, {2}, 3},
        {M::SHORT, R"({"0x08FE0003": 8})", 4, {8, 9}, NO_MORE},
        {M::SHORT, R"({})", 0, range(0, 10), NO_MORE},  // half of the default page is still all
        {M::EXTRA, R"({"0x08FE0001": 20})", 3, range(1, 9), 9},
        {M::EXTRA, R"({"0x08FE0003": 6})", 3, {6, 7, 8, 9}, NO_MORE},
        {M::REVERSED, R"({"0x08FE0003": 2})", 4, {5, 4, 3, 2}, 6},
        {M::REVERSED, R"({"0x08FE0003": 8})", 4, {9, 8}, NO_MORE},
        {M::RESTART, R"({"0x08FE0003": 6})", 3, {0, 1, 2}, 3},
        {M::RESTART, R"({"0x08FE0001": 70})", 3, {0, 1, 2}, 3},
        {M::RESTART, R"({"0x08FE0003": 12})", 3, {0, 1, 2}, 3},
    };
    for (const auto& c : cases) {
        hostd::FixtureService svc(gapped());
        svc.setPaging(c.mode);
        const lm::message reply = svc.handle(getAll(c.fields, c.want));
        const std::string what = std::string(hostd::pagingName(c.mode)) + " " + c.fields;
        EXPECT_EQ(positionsOf(reply), c.positions) << what;
        EXPECT_EQ(reply.getU32(lm::key::START, NO_MORE), c.next) << what;
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

// The control handler's paging switch and request counters, delivered straight to the
// program's looper (no bus endpoint).
class ControlHandler : public ::testing::Test {
protected:
    static constexpr uint32_t PROGRAM = 20, OTHER = 3;

    void SetUp() override {
        hostd::Fixture f;
        f.services.push_back(gapped());
        f.services.push_back(gapped());
        f.services.back().path = {PROGRAM, OTHER};
        f.services.back().paging = hostd::PagingMode::SHORT;
        host.apply(f);
    }

    lm::message call(uint32_t handler, uint32_t command, const std::string& fields = "{}") {
        lm::message m;
        std::string why;
        EXPECT_TRUE(lm::fromJson(json::parse(fields), m, &why)) << why;
        m.setCommand(command);
        m.setDestination({PROGRAM, handler});
        return host.looper().deliver(m);
    }

    // The control handler's status entry of one service.
    lm::message status(uint32_t handler) {
        const lm::message reply = call(hostd::CONTROL_HANDLER, lm::cmd::GET);
        if (const auto* list = reply.findMsgArray(lm::key::OBJECTS))
            for (const lm::message& m : *list)
                if (m.getU32(hostd::ctlkey::HANDLER) == handler) return m;
        ADD_FAILURE() << "no status of handler " << handler << ": " << reply;
        return {};
    }

    size_t pageSize(uint32_t handler) {
        const lm::message reply = call(handler, lm::cmd::GET_ALL, R"({"0x08FE0004": 4})");
        const auto* list = reply.findMsgArray(lm::key::OBJECTS);
        return list ? list->size() : 0;
    }

    uint32_t requests(uint32_t handler) { return status(handler).getU32(hostd::ctlkey::REQUESTS); }

    hostd::ProgramHost host{"", PROGRAM};
};

TEST_F(ControlHandler, PagingSwitch) {
    // SHORT from the file
    EXPECT_EQ(status(OTHER).getU32(hostd::ctlkey::PAGING), uint32_t(hostd::PagingMode::SHORT));
    EXPECT_EQ(pageSize(OTHER), 2u);
    EXPECT_EQ(pageSize(0), 4u);

    const struct { const char* fields; uint32_t error; size_t page0, pageOther; } steps[] = {
        {R"({"0x08990001": 0, "0x08990008": 2})", 0, 9, 2},    // one handler: extra
        {R"({"0x08990008": 1})", 0, 2, 2},                     // every service: short
        {R"({"0x08990008": 5})", lm::err::BAD_REQUEST, 2, 2},  // no such mode: nothing changes
        {R"({"0x08990001": 7, "0x08990008": 0})", lm::err::NO_OBJECT, 2, 2},
        {R"({})", 0, 4, 4},                                    // absent: normal
    };
    for (const auto& step : steps) {
        const lm::message reply = call(hostd::CONTROL_HANDLER, hostd::ctl::SET_PAGING, step.fields);
        EXPECT_EQ(lm::getErrorCode(reply), step.error) << step.fields;
        EXPECT_EQ(pageSize(0), step.page0) << step.fields;
        EXPECT_EQ(pageSize(OTHER), step.pageOther) << step.fields;
    }
}

TEST_F(ControlHandler, RequestCounters) {
    call(0, lm::cmd::GET_ALL);
    call(0, lm::cmd::GET_ALL, R"({"0x88FE001E": [65539]})");
    call(0, lm::cmd::COUNT);
    call(0, lm::cmd::GET, R"({"0x08FE0001": 999})");  // an error reply is an answer too
    call(OTHER, lm::cmd::GET, R"({"0x08FE0001": 10})");
    call(hostd::CONTROL_HANDLER, hostd::ctl::SET_ERROR, R"({"0x08990001": 3, "0x08990002": 65030})");
    call(OTHER, lm::cmd::COUNT);  // answered by the error switch
    EXPECT_EQ(requests(0), 4u);
    EXPECT_EQ(status(0).getU32(hostd::ctlkey::FIELD_LISTS), 1u);  // the get-all with a list
    EXPECT_EQ(requests(OTHER), 2u);

    const lm::message reset = call(hostd::CONTROL_HANDLER, hostd::ctl::RESET_COUNTS, R"({"0x08990001": 0})");
    EXPECT_FALSE(lm::isError(reset));
    EXPECT_EQ(requests(0), 0u);
    EXPECT_EQ(status(0).getU32(hostd::ctlkey::FIELD_LISTS), 0u);
    EXPECT_EQ(requests(OTHER), 2u);
    EXPECT_FALSE(lm::isError(call(hostd::CONTROL_HANDLER, hostd::ctl::RESET_COUNTS)));
    EXPECT_EQ(requests(OTHER), 0u);

    call(0, lm::cmd::COUNT);
    hostd::Fixture again;
    again.services.push_back(gapped());
    host.apply(again);  // what a reload does
    EXPECT_EQ(requests(0), 0u);
    EXPECT_EQ(status(0).getU32(hostd::ctlkey::PAGING), 0u);
}

}  // namespace
