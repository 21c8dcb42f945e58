// AMap over a real store, driven through the in-memory bus as a client would.
#include <gtest/gtest.h>

#include "platform/amap.h"
#include "tests/platform/test_helpers.h"

namespace lm {
namespace {

constexpr uint32_t NAME = 0x20000005;
constexpr uint32_t VALUE = 0x08000006;
constexpr uint32_t SERVER = 71, MAP = 3;

struct Thing : AMapItem {
    std::string name;
    uint32_t value = 0;
    const char* typeName() const override { return "thing"; }
    void getConfig(message& out, unsigned) const override {
        out.setString(NAME, name);
        out.setU32(VALUE, value);
    }
    void setConfig(const message& in, unsigned) override {
        name = in.getString(NAME, name);
        value = in.getU32(VALUE, value);
    }
    AMapItem* clone() const override { return new Thing(*this); }
};

// Refuses the name "forbidden" and the removal of object 0.
struct Things : AMap {
    Things() : AMap("/lumo/store/things") {}
    AMapItem* create() override { return new Thing; }
    message doAdd(AMapItem* item) override { return doSet(nullptr, item); }
    message doSet(AMapItem*, AMapItem* incoming) override {
        if (static_cast<Thing*>(incoming)->name == "forbidden") return errorMsg("name not allowed");
        return {};
    }
    message doRemove(AMapItem* item) override {
        return item->id == 0 ? errorMsg("can not remove the first") : message();
    }
};

struct MapOverBus : ::testing::Test {
    MapOverBus() {
        client.useMemoryBus();
        client.listen(70);
        startServer();
    }
    void startServer() {
        server = std::make_unique<Looper>();
        things = std::make_unique<Things>();
        server->useMemoryBus();
        server->listen(SERVER);
        EXPECT_TRUE(things->init());
        server->addHandler(MAP, things.get());
    }
    message call(uint32_t command, message req = {}) {
        req.setDestination({SERVER, MAP});
        req.setCommand(command);
        return client.exchangeMessage(req, 1000);
    }
    message thing(const std::string& name, uint32_t value) {
        return message().setString(NAME, name).setU32(VALUE, value);
    }
    message withId(uint32_t id, message m = {}) { return m.setU32(key::OBJECT_ID, id); }
    std::string storeBytes() { return test::readFile(things->store().filePath()); }

    test::TempRoot root;
    Looper client;
    std::unique_ptr<Looper> server;
    std::unique_ptr<Things> things;
};

TEST_F(MapOverBus, AddGetSetRemoveAndRefusals) {
    EXPECT_EQ(call(cmd::ADD, thing("a", 1)).getU32(key::OBJECT_ID), 0u);
    EXPECT_EQ(call(cmd::ADD, withId(5, thing("b", 2))).getU32(key::OBJECT_ID), 5u);
    EXPECT_EQ(call(cmd::ADD, withId(5, thing("c", 3))).getU32(key::OBJECT_ID), 1u);  // 5 taken

    message change;
    change.setU32(VALUE, 9);
    EXPECT_FALSE(isError(call(cmd::OBJECT_SET, withId(5, change))));
    EXPECT_FALSE(isError(call(cmd::SET, withId(0, thing("a2", 4)))));
    const message got = call(cmd::GET, withId(5));
    EXPECT_EQ(got.getU32(VALUE), 9u);
    EXPECT_EQ(got.getString(NAME), "b");  // untouched fields stay
    EXPECT_EQ(got.getU32(key::OBJECT_ID), 5u);

    EXPECT_FALSE(isError(call(cmd::REMOVE, withId(5))));
    struct Case { uint32_t command; message req; uint32_t code; };
    const Case failures[] = {
        {cmd::GET, withId(5), err::NO_OBJECT},
        {cmd::REMOVE, withId(5), err::NO_OBJECT},
        {cmd::OBJECT_SET, withId(5, change), err::NO_OBJECT},
        {cmd::OBJECT_SET, change, err::BAD_REQUEST},
        {cmd::REMOVE, {}, err::BAD_REQUEST},
    };
    for (const auto& f : failures)
        EXPECT_EQ(getErrorCode(call(f.command, f.req)), f.code) << f.command << f.req;

    // The item's own refusals leave memory and store as they were.
    const std::string before = storeBytes();
    struct Refusal { uint32_t command; message req; const char* text; };
    const Refusal refusals[] = {
        {cmd::ADD, thing("forbidden", 5), "name not allowed"},
        {cmd::OBJECT_SET, withId(1, thing("forbidden", 6)), "name not allowed"},
        {cmd::REMOVE, withId(0), "can not remove the first"},
    };
    for (const auto& r : refusals) {
        message reply = call(r.command, r.req);
        EXPECT_EQ(getErrorCode(reply), err::REFUSED);
        EXPECT_EQ(getError(reply), r.text);
    }
    EXPECT_EQ(storeBytes(), before);
    EXPECT_EQ(call(cmd::GET, withId(0)).getString(NAME), "a2");
    EXPECT_EQ(call(cmd::GET, withId(1)).getString(NAME), "c");
    EXPECT_EQ(call(cmd::COUNT).getU32(key::COUNT), 2u);
}

// Objects come back from the store after a restart, and page with positions that close up
// behind a removed object.
TEST_F(MapOverBus, RestartReloadsFromTheStoreAndPages) {
    for (uint32_t i = 0; i < 25; ++i) call(cmd::ADD, thing("t" + std::to_string(i), i));
    call(cmd::OBJECT_SET, withId(7, thing("b2", 3)));
    call(cmd::REMOVE, withId(3));
    things.reset();
    server.reset();
    startServer();
    EXPECT_EQ(call(cmd::GET, withId(7)), withId(7, thing("b2", 3)));
    EXPECT_EQ(getErrorCode(call(cmd::GET, withId(3))), err::NO_OBJECT);

    std::vector<uint32_t> ids, positions, pages;
    message req;
    req.setU32(key::WANT, 10);
    for (;;) {
        message reply = call(cmd::GET_ALL, req);
        const auto* objects = reply.findMsgArray(key::OBJECTS);
        ASSERT_NE(objects, nullptr) << reply;
        pages.push_back(uint32_t(objects->size()));
        for (const auto& o : *objects) {
            ids.push_back(o.getU32(key::OBJECT_ID));
            positions.push_back(o.getU32(key::POSITION));
        }
        if (!reply.hasU32(key::START)) break;
        req.setU32(key::START, reply.getU32(key::START));
    }
    EXPECT_EQ(pages, (std::vector<uint32_t>{10, 10, 4}));
    ASSERT_EQ(ids.size(), 24u);
    for (uint32_t i = 0; i < 24; ++i) {
        EXPECT_EQ(positions[i], i);
        EXPECT_EQ(ids[i], i < 3 ? i : i + 1);
    }
    req.setU32(key::START, 100);  // past the end: an empty page, no continuation
    message past = call(cmd::GET_ALL, req);
    EXPECT_TRUE(past.findMsgArray(key::OBJECTS) && past.findMsgArray(key::OBJECTS)->empty());
    EXPECT_FALSE(past.hasU32(key::START));
    // Loaded ids are taken: a new object gets the lowest free one.
    EXPECT_EQ(call(cmd::ADD, thing("c", 5)).getU32(key::OBJECT_ID), 3u);
    EXPECT_EQ(call(cmd::ADD, thing("d", 6)).getU32(key::OBJECT_ID), 25u);
}

}  // namespace
}  // namespace lm
