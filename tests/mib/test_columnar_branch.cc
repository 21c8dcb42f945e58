// A table answered through the whole request path: Get, GetNext, GetBulk and Set of a
// columnar branch over a provider that stands in for a service, with gaps in its ids, no
// rows, and answers out of order. Names must only increase, every row must come once, and
// one query must serve a page of rows.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../request/ber_build.h"
#include "../request/request_fixture.h"
#include "mib/branch.h"
#include "mib/columnar_branch.h"
#include "mib/packers.h"
#include "mib/table.h"
#include "mib/table_provider.h"
#include "platform/bus.h"

namespace reqtest {
namespace {

using namespace bertest;

constexpr uint8_t GET = 0xA0, GETNEXT = 0xA1, RESPONSE = 0xA2, SET = 0xA3, GETBULK = 0xA5;
constexpr uint8_t NO_SUCH_OBJECT = 0x80, NO_SUCH_INSTANCE = 0x81, END_OF_MIB_VIEW = 0x82;
constexpr uint8_t GAUGE = 0x42;
constexpr int V2C = 1;
enum Status { noError = 0, notWritable = 17, noCreation = 11, commitFailed = 14, wrongType = 7 };

struct Row : snmp::Data {
    unsigned id = 0;
    std::string name;
    unsigned value = 0;
};

// A service's object list in memory, answering "the row with this id" and "rows after
// this id" (in id order), counting its queries. It can be told to misbehave.
class FakeRows : public snmp::TableProvider {
public:
    std::map<unsigned, Row> rows;
    int queries = 0;
    bool reversed = false;     // answers a page in descending order
    bool includeAsked = false; // puts the asked row (and one before it) into "rows after"
    unsigned refuseId = 0;     // writes to this row fail

    snmp::VData* getData(const snmp::Key& key, const snmp::MapTable*, unsigned n) override {
        ++queries;
        auto out = std::make_unique<snmp::VData>();
        if (n == 0) {
            auto it = rows.find(key.id);
            if (it != rows.end()) out->rows.push_back(new Row(it->second));
            return out.release();
        }
        auto it = key.empty() ? rows.begin() : rows.upper_bound(key.id);
        if (includeAsked && it != rows.begin()) {
            --it;
            if (it != rows.begin()) --it;
        }
        for (; it != rows.end() && out->size() < n; ++it) out->rows.push_back(new Row(it->second));
        if (reversed) std::reverse(out->rows.begin(), out->rows.end());
        return out.release();
    }
    snmp::VData* getFirst(unsigned n, const snmp::MapTable* t) override {
        return getData(snmp::Key(), t, n);
    }
    bool setData(snmp::Data* d, snmp::MapTable*) override {
        const Row& r = *static_cast<Row*>(d);
        if (r.id == refuseId) return false;
        rows[r.id] = r;
        return true;
    }
    bool getCountCMD(unsigned& count) override {
        count = static_cast<unsigned>(rows.size());
        return true;
    }
};

const std::string entry = "1.3.6.1.4.1.100.1", after = "1.3.6.1.4.1.101.0";

FakeRows& service() {
    static FakeRows* rows = new FakeRows;
    return *rows;
}

// The table: columns 2 (name, read-only) and 3 (a writable gauge), indexed by id; then a
// scalar after it, so walks run from the table into the next branch.
void registerTable() {
    static bool done = false;
    if (done) return;
    done = true;
    registerTestMib();
    auto* table = new snmp::MapTable(&service());
    table->addIndex(new snmp::DataNumPacker(&Row::id, 0x02), lm::key::OBJECT_ID);
    snmp::ColumnarBranch* branch = snmp::addColumnarBranch(snmp::OID(entry), table);
    branch->addLeaf(2, new snmp::DataStringPacker(&Row::name, 0x04), false);
    branch->addLeaf(3, new snmp::DataNumPacker(&Row::value, GAUGE));
    snmp::addScalarConstNumLeaf(snmp::OID("1.3.6.1.4.1.101"), 7, 0x02);
}

class TableTest : public RequestTest {
protected:
    void SetUp() override {
        RequestTest::SetUp();
        registerTable();
        service() = FakeRows();
        for (unsigned id : {1u, 2u, 5u, 9u, 200u}) {
            Row& r = service().rows[id];
            r.id = id;
            r.name = "if" + std::to_string(id);
            r.value = id * 10;
        }
    }
    Bytes reply(uint8_t pdu, const std::vector<Bytes>& bindings, int64_t f2 = 0, int64_t f3 = 0) {
        return answer(message(V2C, "private", pdu, 1, f2, f3, bindings));
    }
    static Bytes expect(int status, int index, const std::vector<Bytes>& bindings) {
        return message(V2C, "private", RESPONSE, 1, status, index, bindings);
    }
};

std::string cell(unsigned column, unsigned id) { return entry + "." + std::to_string(column) + "." + std::to_string(id); }
Bytes nameOf(unsigned id) { return vb(cell(2, id), octets("if" + std::to_string(id))); }
Bytes valueOf(unsigned id) { return vb(cell(3, id), integer(id * 10, GAUGE)); }

#define EXPECT_BYTES(expected, actual) EXPECT_EQ(hex(expected), hex(actual))

TEST_F(TableTest, GetAnswersTheRowAskedOrAnExceptionUnderTheNameAsked) {
    EXPECT_BYTES(expect(0, 0, {nameOf(5), valueOf(5), nameOf(200)}),
                 reply(GET, {vb(cell(2, 5), null()), vb(cell(3, 5), null()), vb(cell(2, 200), null())}));
    EXPECT_EQ(2, service().queries);  // one per row, not per column
    EXPECT_BYTES(expect(0, 0, {vb(cell(2, 4), null(NO_SUCH_INSTANCE)), vb(cell(2, 5) + ".1", null(NO_SUCH_INSTANCE)),
                               vb(cell(7, 5), null(NO_SUCH_OBJECT)), vb(entry, null(NO_SUCH_OBJECT)),
                               vb(entry + ".2", null(NO_SUCH_INSTANCE))}),
                 reply(GET, {vb(cell(2, 4), null()), vb(cell(2, 5) + ".1", null()), vb(cell(7, 5), null()),
                             vb(entry, null()), vb(entry + ".2", null())}));
}

TEST_F(TableTest, GetNextWalksColumnByColumnIntoTheNextBranch) {
    std::vector<Bytes> walk;
    for (unsigned id : {1u, 2u, 5u, 9u, 200u}) walk.push_back(nameOf(id));
    for (unsigned id : {1u, 2u, 5u, 9u, 200u}) walk.push_back(valueOf(id));
    walk.push_back(vb(after, integer(7)));
    // Each step from the previous answer's name, as a walker does.
    std::vector<std::string> asked = {entry};
    for (unsigned id : {1u, 2u, 5u, 9u, 200u}) asked.push_back(cell(2, id));
    for (unsigned id : {1u, 2u, 5u, 9u, 200u}) asked.push_back(cell(3, id));
    for (size_t i = 0; i < asked.size(); ++i) {
        SCOPED_TRACE(asked[i]);
        EXPECT_BYTES(expect(0, 0, {walk[i]}), reply(GETNEXT, {vb(asked[i], null())}));
    }
    // Names between rows, between columns, at column 0 and inside an index.
    const std::vector<std::pair<std::string, Bytes>> between = {
        {cell(2, 3), nameOf(5)},       {cell(2, 5) + ".7", nameOf(9)}, {entry + ".0", nameOf(1)},
        {entry + ".2", nameOf(1)},     {cell(1, 999), nameOf(1)},     {cell(2, 4000), valueOf(1)},
        {entry + ".4", vb(after, integer(7))},
    };
    for (const auto& [name, expected] : between) {
        SCOPED_TRACE(name);
        EXPECT_BYTES(expect(0, 0, {expected}), reply(GETNEXT, {vb(name, null())}));
    }
}

TEST_F(TableTest, GetBulkServesRowsInOrderFromFewQueries) {
    // Two columns at once, row by row, then on into the next branch and the end of the MIB.
    std::vector<Bytes> rows;
    for (unsigned id : {1u, 2u, 5u, 9u, 200u}) {
        rows.push_back(nameOf(id));
        rows.push_back(valueOf(id));
    }
    rows.push_back(valueOf(1));
    rows.push_back(vb(after, integer(7)));
    EXPECT_BYTES(expect(0, 0, rows), reply(GETBULK, {vb(entry + ".2", null()), vb(entry + ".3", null())}, 0, 6));
    EXPECT_LE(service().queries, 3);

    service().queries = 0;
    std::vector<Bytes> column;
    for (unsigned id : {1u, 2u, 5u, 9u, 200u}) column.push_back(valueOf(id));
    column.push_back(vb(after, integer(7)));
    column.push_back(vb(after, null(END_OF_MIB_VIEW)));
    EXPECT_BYTES(expect(0, 0, column), reply(GETBULK, {vb(entry + ".3", null())}, 0, 50));
    EXPECT_LE(service().queries, 2);
}

TEST_F(TableTest, AnEmptyTableIsSteppedOver) {
    service().rows.clear();
    EXPECT_BYTES(expect(0, 0, {vb(after, integer(7))}), reply(GETNEXT, {vb(entry, null())}));
    EXPECT_BYTES(expect(0, 0, {vb(after, integer(7)), vb(after, integer(7))}),
                 reply(GETBULK, {vb(entry, null()), vb("1.3.6.1.4.1.100", null())}, 1, 1));
    EXPECT_BYTES(expect(0, 0, {vb(cell(2, 1), null(NO_SUCH_INSTANCE))}), reply(GET, {vb(cell(2, 1), null())}));
}

TEST_F(TableTest, V1ReportsTheFailingBindingOfAGroupTheTableAnswers) {
    constexpr int V1 = 0, NO_SUCH_NAME = 2;
    const std::vector<Bytes> asked = {vb(cell(2, 5), null()), vb(cell(3, 5), null()),
                                      vb(cell(3, 7), null())};
    EXPECT_BYTES(message(V1, "private", RESPONSE, 1, NO_SUCH_NAME, 3, asked),
                 answer(message(V1, "private", GET, 1, 0, 0, asked)));
    const std::vector<Bytes> ok = {nameOf(5), valueOf(5)};
    EXPECT_BYTES(message(V1, "private", RESPONSE, 1, 0, 0, ok),
                 answer(message(V1, "private", GET, 1, 0, 0,
                                {vb(cell(2, 5), null()), vb(cell(3, 5), null())})));
}

TEST_F(TableTest, RowsTheServiceReturnsOutOfPlaceAreNeverAnswered) {
    for (bool reversed : {false, true}) {
        SCOPED_TRACE(reversed);
        service().reversed = reversed;
        service().includeAsked = true;
        // A page holding nothing past the name asked ends the column: rows may be missed,
        // but no name goes backwards.
        EXPECT_BYTES(expect(0, 0, {valueOf(1)}), reply(GETNEXT, {vb(cell(2, 5), null())}));
        EXPECT_BYTES(expect(0, 0, {nameOf(9), nameOf(200), valueOf(1)}),
                     reply(GETBULK, {vb(cell(2, 5), null())}, 0, 3));
    }
}

TEST_F(TableTest, SetChecksTheColumnAndTheRowThenWritesThroughTheService) {
    const std::vector<Bytes> ok = {vb(cell(3, 9), integer(4, GAUGE))};
    EXPECT_BYTES(expect(0, 0, ok), reply(SET, ok));
    EXPECT_EQ(4u, service().rows[9].value);
    struct Case {
        std::vector<Bytes> bindings;
        int status, index;
    };
    const std::vector<Case> cases = {
        {{vb(cell(2, 9), octets("x"))}, notWritable, 1},  // read-only column
        {{vb(cell(8, 9), integer(1, GAUGE))}, notWritable, 1},
        {{vb(cell(3, 9), integer(1))}, wrongType, 1},
        {{vb(cell(3, 7), integer(1, GAUGE))}, noCreation, 1},
    };
    for (const Case& k : cases) EXPECT_BYTES(expect(k.status, k.index, k.bindings), reply(SET, k.bindings));
    // The service refuses the second write after the first succeeded: both left as they were.
    service().rows[9].value = 90;
    const std::vector<Bytes> two = {vb(cell(3, 9), integer(1, GAUGE)), vb(cell(3, 200), integer(2, GAUGE))};
    service().refuseId = 200;
    EXPECT_BYTES(expect(commitFailed, 2, two), reply(SET, two));
    EXPECT_EQ(90u, service().rows[9].value);
    EXPECT_EQ(2000u, service().rows[200].value);
}

}  // namespace
}  // namespace reqtest
