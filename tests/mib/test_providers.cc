// Providers over the in-memory bus: a service that follows the get-all paging contract (and
// can be told to break it), the paging walk by id and by position, continuation, refused
// keys, the single-record providers, and several sources joined in mask order.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

#include "mib/field_selection.h"
#include "mib/get_all_provider.h"
#include "mib/get_provider.h"
#include "mib/packers.h"
#include "mib/table.h"
#include "platform/bus.h"
#include "platform/looper.h"

namespace {

using snmp::Key;
using snmp::VData;

constexpr uint32_t SERVICE = 77;
constexpr uint32_t VALUE = 0x08000101;

struct Row : snmp::Data {
    unsigned id = 0;
    unsigned value = 0;
    void toMessage(lm::message& m) const override {
        m.setU32(lm::key::OBJECT_ID, id);
        m.setU32(VALUE, value);
    }
};

snmp::Data* buildRow(const lm::message& object, VData&) {
    auto* r = new Row;
    r->id = object.getU32(lm::key::OBJECT_ID);
    r->value = object.getU32(VALUE);
    return r;
}

// An object list in id order, served by get-all from a position or an object id, nested or
// not. Misbehaviours: pages of at most `pageLimit`, pages reversed, the start ignored.
class ListService : public lm::Looper {
public:
    explicit ListService(std::vector<unsigned> ids) {
        for (unsigned id : ids) objects[id] = id * 10;
        useMemoryBus();
        listen(SERVICE);
    }
    std::map<unsigned, unsigned> objects;  // id -> value
    std::vector<lm::message> asked;
    unsigned pageLimit = 0;
    bool reversed = false, ignoreStart = false;
    uint32_t errorCode = 0;

    lm::message cmdGetAll(const lm::message& req) override {
        asked.push_back(req);
        if (errorCode) return lm::errorMsg("refused", errorCode);
        const lm::message* nested = req.findMsg(lm::key::NESTED_KEY);
        const lm::message& start = nested ? *nested : req;
        size_t pos = 0;
        if (start.hasU32(lm::key::START)) {
            pos = start.getU32(lm::key::START);
        } else if (start.hasU32(lm::key::OBJECT_ID)) {
            pos = std::distance(objects.begin(), objects.lower_bound(start.getU32(lm::key::OBJECT_ID)));
        }
        if (ignoreStart) pos = 0;
        size_t want = req.getU32(lm::key::WANT, 100);
        if (pageLimit) want = std::min<size_t>(want, pageLimit);
        std::vector<lm::message> page;
        auto it = objects.begin();
        std::advance(it, std::min(pos, objects.size()));
        for (; it != objects.end() && page.size() < want; ++it, ++pos) {
            lm::message o;
            o.setU32(lm::key::OBJECT_ID, it->first);
            o.setU32(VALUE, it->second);
            o.setU32(lm::key::POSITION, static_cast<uint32_t>(pos));
            page.push_back(std::move(o));
        }
        if (reversed) std::reverse(page.begin(), page.end());
        lm::message reply;
        reply.setMsgArray(lm::key::OBJECTS, std::move(page));
        if (pos < objects.size()) reply.setU32(lm::key::START, static_cast<uint32_t>(pos));
        return reply;
    }
    lm::message cmdUnknown(const lm::message& req, uint32_t command) override {
        asked.push_back(req);
        if (errorCode) return lm::errorMsg("refused", errorCode);
        lm::message reply;
        if (command == lm::cmd::COUNT) reply.setU32(lm::key::COUNT, static_cast<uint32_t>(objects.size()));
        if (command == lm::cmd::OBJECT_SET) objects[req.getU32(lm::key::OBJECT_ID)] = req.getU32(VALUE);
        return reply;
    }
    lm::message cmdGet(const lm::message& req) override {
        asked.push_back(req);
        if (errorCode) return lm::errorMsg("refused", errorCode);
        lm::message reply;
        reply.setU32(VALUE, 42);
        return reply;
    }
};

// The agent's side of the bus: constructed after the service, so it is the current looper.
struct Client : lm::Looper {
    Client() {
        useMemoryBus();
        listen(SERVICE + 1);
    }
};

std::vector<unsigned> idsOf(const VData* rows) {
    std::vector<unsigned> ids;
    if (rows)
        for (const snmp::Data* d : rows->rows) ids.push_back(static_cast<const Row*>(d)->id);
    return ids;
}

class ProviderTest : public ::testing::Test {
protected:
    void serve(std::vector<unsigned> ids) {
        service = std::make_unique<ListService>(std::move(ids));
        client = std::make_unique<Client>();
        provider = std::make_unique<snmp::GetAllProvider>(
            snmp::GetAllProvider::RowBuilder(buildRow), std::vector<uint32_t>{SERVICE, 0}, 5);
        table = std::make_unique<snmp::MapTable>(provider.get());
        table->addIndex(&idPacker, lm::key::OBJECT_ID);
    }
    // The key a walk holds after answering row id: positioned when the row came with one.
    static Key after(unsigned id, uint32_t position = Key::UNSET) {
        Key k;
        k.id = id;
        k.position = position;
        k.skipFirst = true;
        return k;
    }
    snmp::DataNumPacker idPacker{&Row::id, 0x02u};
    std::unique_ptr<ListService> service;
    std::unique_ptr<Client> client;
    std::unique_ptr<snmp::GetAllProvider> provider;
    std::unique_ptr<snmp::MapTable> table;
};

TEST_F(ProviderTest, WalksAListWithGapsByIdAndByPosition) {
    serve({1, 2, 5, 9, 200});
    std::unique_ptr<VData> rows(table->getFirst(2));
    EXPECT_EQ((std::vector<unsigned>{1, 2}), idsOf(rows.get()));
    EXPECT_FALSE(service->asked.back().hasU32(lm::key::START));
    EXPECT_EQ(5u, service->asked.back().getU32(lm::key::FLAGS));  // the source's parameter

    // By id: the named row comes back first and is skipped; ids in a gap start after it.
    rows.reset(table->getNext(after(2), 2));
    EXPECT_EQ((std::vector<unsigned>{5, 9}), idsOf(rows.get()));
    EXPECT_EQ(2u, service->asked.back().getU32(lm::key::OBJECT_ID));
    rows.reset(table->getNext(after(6), 10));
    EXPECT_EQ((std::vector<unsigned>{9, 200}), idsOf(rows.get()));

    // By position, taken from an earlier reply.
    rows.reset(table->getNext(after(5, 2), 1));
    EXPECT_EQ((std::vector<unsigned>{9}), idsOf(rows.get()));
    EXPECT_EQ(2u, service->asked.back().getU32(lm::key::START));

    // One row: the row asked for (or the next one; the branch checks the index).
    Key exact;
    exact.id = 9;
    rows.reset(table->get(exact));
    EXPECT_EQ((std::vector<unsigned>{9}), idsOf(rows.get()));
    EXPECT_EQ(1u, service->asked.back().getU32(lm::key::WANT));

    rows.reset(table->getNext(after(200), 3));
    EXPECT_TRUE(rows && rows->empty());

    unsigned count = 0;
    EXPECT_TRUE(provider->getCountCMD(count));
    EXPECT_EQ(5u, count);
}

// Every get-all of a query made within a field selection carries it, continuation passes
// included; outside one, none does.
TEST_F(ProviderTest, AFieldSelectionGoesWithEveryPassOfTheQuery) {
    serve({1, 2, 5, 9, 200});
    service->pageLimit = 2;
    const std::vector<uint32_t> fields = {lm::fieldOf(VALUE), lm::fieldOf(lm::key::OBJECT_ID)};
    std::unique_ptr<VData> rows;
    {
        const snmp::FieldSelection selection(&fields);
        rows.reset(table->getFirst(4));
    }
    EXPECT_EQ((std::vector<unsigned>{1, 2, 5, 9}), idsOf(rows.get()));
    ASSERT_EQ(2u, service->asked.size());
    for (const lm::message& m : service->asked) {
        ASSERT_NE(nullptr, m.findU32Array(lm::key::FIELDS));
        EXPECT_EQ(fields, *m.findU32Array(lm::key::FIELDS));
    }
    rows.reset(table->getNext(after(9), 1));
    EXPECT_FALSE(service->asked.back().hasU32Array(lm::key::FIELDS));
}

TEST_F(ProviderTest, TablesThatNestTheirKeySendTheStartInside) {
    serve({3, 4, 8});
    table = std::make_unique<snmp::MapTable>(provider.get(), true);
    table->addIndex(&idPacker, lm::key::OBJECT_ID);
    std::unique_ptr<VData> rows(table->getNext(after(3), 5));
    EXPECT_EQ((std::vector<unsigned>{4, 8}), idsOf(rows.get()));
    const lm::message* nested = service->asked.front().findMsg(lm::key::NESTED_KEY);
    ASSERT_NE(nullptr, nested);
    EXPECT_EQ(3u, nested->getU32(lm::key::OBJECT_ID));
    EXPECT_FALSE(service->asked.front().hasU32(lm::key::OBJECT_ID));
}

TEST_F(ProviderTest, ShortPagesAreFollowedUntilTheWalkHasItsRows) {
    std::vector<unsigned> ids;
    for (unsigned i = 1; i <= 30; ++i) ids.push_back(i * 3);
    serve(ids);
    service->pageLimit = 4;
    std::unique_ptr<VData> rows(table->getNext(after(3), 10));
    const std::vector<unsigned> want{6, 9, 12, 15, 18, 21, 24, 27, 30, 33};
    EXPECT_EQ(want, idsOf(rows.get()));
    EXPECT_LE(service->asked.size(), 4u);
    // Each further pass goes on from the position of the last row taken.
    EXPECT_TRUE(service->asked.back().hasU32(lm::key::START));
}

TEST_F(ProviderTest, ServicesThatBreakTheContractNeitherRepeatRowsNorHoldTheWalk) {
    serve({1, 2, 3, 4, 5, 6, 7, 8});
    service->reversed = true;
    std::unique_ptr<VData> rows(table->getNext(after(2), 3));
    std::vector<unsigned> got = idsOf(rows.get());
    std::sort(got.begin(), got.end());
    EXPECT_EQ((std::vector<unsigned>{3, 4, 5}), got);

    // A service that always answers from its first object: the rows at or before the
    // start are dropped, and the walk ends once a pass brings nothing new.
    service->reversed = false;
    service->ignoreStart = true;
    service->asked.clear();
    rows.reset(table->getNext(after(2), 4));
    EXPECT_EQ((std::vector<unsigned>{3, 4, 5}), idsOf(rows.get()));
    EXPECT_EQ(3u, service->asked.size());  // then the same page twice more: it does not move
    service->pageLimit = 3;                 // never reaches past the start at all
    service->asked.clear();
    rows.reset(table->getNext(after(6), 4));
    EXPECT_TRUE(rows && rows->empty());
    EXPECT_EQ(2u, service->asked.size());
}

TEST_F(ProviderTest, APageHoldingOnlyTheStartRowIsNotTheEnd) {
    serve({1, 2, 3, 4, 5, 6});
    service->pageLimit = 1;  // every page holds one object, with a continuation
    std::unique_ptr<VData> rows(table->getNext(after(1, 0), 3));
    EXPECT_EQ((std::vector<unsigned>{2, 3, 4}), idsOf(rows.get()));
    service->reversed = true;
    service->pageLimit = 0;
    rows.reset(table->getFirst(3));  // a reversed page must not lose its lowest row
    std::vector<unsigned> got = idsOf(rows.get());
    std::sort(got.begin(), got.end());
    EXPECT_EQ((std::vector<unsigned>{1, 2, 3}), got);
}

TEST_F(ProviderTest, ARefusedKeyIsNoListButARefusedStartIsAnEmptyOne) {
    serve({1, 2});
    service->errorCode = lm::err::NO_OBJECT;
    Key k;
    k.id = 1;
    EXPECT_EQ(nullptr, table->get(k));
    std::unique_ptr<VData> rows(table->getFirst(5));
    ASSERT_NE(nullptr, rows);
    EXPECT_TRUE(rows->empty());
    service->errorCode = lm::err::FAILED;
    rows.reset(table->get(k));
    ASSERT_NE(nullptr, rows);
    EXPECT_TRUE(rows->empty());
    unsigned count = 0;
    EXPECT_FALSE(provider->getCountCMD(count));
}

TEST_F(ProviderTest, WritesSendTheRecordAsAnObjectSet) {
    serve({1, 2});
    Row r;
    r.id = 2;
    r.value = 99;
    EXPECT_TRUE(table->set(snmp::OID("2"), &r));
    EXPECT_EQ(99u, service->objects[2]);
    service->errorCode = lm::err::REFUSED;
    EXPECT_FALSE(table->set(snmp::OID("2"), &r));
}

TEST_F(ProviderTest, SingleRecordProviders) {
    serve({4, 7});
    // GetProvider: the whole reply to the builder, an empty message when the service fails.
    std::vector<lm::message> seen;
    snmp::GetProvider get(
        [&seen](const lm::message& m) -> snmp::Data* {
            seen.push_back(m);
            return nullptr;
        },
        {SERVICE, 0}, lm::cmd::GET, 0, 9);
    get.get();
    EXPECT_EQ(42u, seen.back().getU32(VALUE));
    EXPECT_EQ(9u, service->asked.back().getU32(lm::key::FLAGS));
    EXPECT_FALSE(get.writable());
    service->errorCode = lm::err::FAILED;
    get.get();
    EXPECT_TRUE(seen.back().empty());
    service->errorCode = 0;

    // GetFirstProvider: follows the continuation until the builder takes an object.
    snmp::GetFirstProvider first(
        [](const lm::message& m) -> snmp::Data* {
            if (m.getU32(lm::key::OBJECT_ID) < 7) return nullptr;
            return new Row;
        },
        {SERVICE, 0});
    service->asked.clear();
    EXPECT_EQ(7, first.getFirstObjId());
    EXPECT_EQ(2u, service->asked.size());
    EXPECT_EQ(1u, service->asked.back().getU32(lm::key::START));
    service->objects.erase(7);
    EXPECT_EQ(-1, first.getFirstObjId());
}

TEST_F(ProviderTest, SourcesJoinInMaskOrder) {
    serve({1, 2, 3});
    snmp::GetAllMultiProvider multi;
    std::vector<std::string> order;
    auto local = [&order](const char* name, unsigned rows, unsigned base) {
        return [&order, name, rows, base](Key*, unsigned n, VData* result, snmp::Data* row) -> VData* {
            if (row) return nullptr;
            order.push_back(name);
            for (unsigned i = 0; i < rows && i < n; ++i) {
                auto* r = new Row;
                r->id = base + i;
                result->rows.push_back(r);
            }
            return result;
        };
    };
    multi.addSource(local("high", 2, 0x200), 0x200);
    multi.addSource(snmp::GetAllProvider::ListBuilder([](const lm::message& o, VData& rows) {
                        VData unused;
                        rows.rows.push_back(buildRow(o, unused));
                    }),
                    {SERVICE, 0}, 0, 0x100);
    multi.addSource(local("low", 1, 0x10), 0);
    multi.addSource(local("low too", 1, 0x20), 0);
    ASSERT_EQ(4u, multi.sources.size());
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 0x100, 0x200}),
              (std::vector<uint32_t>{multi.sources[0].mask, multi.sources[1].mask,
                                     multi.sources[2].mask, multi.sources[3].mask}));

    snmp::MapTable t(&multi);
    t.addIndex(&idPacker, lm::key::OBJECT_ID);
    std::unique_ptr<VData> rows(t.getFirst(6));
    EXPECT_EQ((std::vector<unsigned>{0x10, 0x20, 1, 2, 3, 0x200}), idsOf(rows.get()));
    EXPECT_EQ((std::vector<std::string>{"low", "low too", "high"}), order);
    // A source that runs short hands the rows still missing to the next one.
    rows.reset(t.getFirst(4));
    EXPECT_EQ((std::vector<unsigned>{0x10, 0x20, 1, 2}), idsOf(rows.get()));

    unsigned count = 0;
    EXPECT_TRUE(multi.getCountCMD(count));
    EXPECT_EQ(3u, count);  // local sources are not counted
}

}  // namespace
