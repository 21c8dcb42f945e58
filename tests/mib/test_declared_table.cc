// A declared table over a service on the in-memory bus: the agent asks for the fields of
// the columns a request reads, a row fetched for some columns never answers another, a
// service that ignores the field list (whole objects) gets the same answers, and a Set still
// writes back every field of the row.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "../request/ber_build.h"
#include "../request/request_fixture.h"
#include "mib/declared_table.h"
#include "platform/bus.h"
#include "platform/looper.h"

namespace reqtest {
namespace {

using namespace bertest;

constexpr uint8_t GET = 0xA0, GETNEXT = 0xA1, RESPONSE = 0xA2, SET = 0xA3, GETBULK = 0xA5;
constexpr uint8_t GAUGE = 0x42;
constexpr int V2C = 1;
constexpr uint32_t PROGRAM = 78;
constexpr uint32_t NAME = 0x20000102, VALUE = 0x08000103, OTHER = 0x20000104;
constexpr unsigned CONSTANT = 7;  // column 5 answers it for every row
const std::string entry = "1.3.6.1.4.1.103.1";
const std::vector<unsigned> ids = {1, 2, 5, 9, 200};

// Objects in id order with three data fields, paged from a position or an id; honours the
// field list unless told to ignore it, and records what it was asked.
class ObjectService : public lm::Looper {
public:
    ObjectService() {
        for (unsigned id : ids) {
            lm::message& o = objects.emplace_back();
            o.setU32(lm::key::OBJECT_ID, id).setString(NAME, "n" + std::to_string(id));
            o.setU32(VALUE, id * 10).setString(OTHER, "o" + std::to_string(id));
        }
        useMemoryBus();
        listen(PROGRAM);
    }
    std::vector<lm::message> objects;
    std::vector<lm::message> asked;
    bool ignoreFields = false;

    lm::message cmdGetAll(const lm::message& req) override {
        asked.push_back(req);
        size_t pos = 0;
        if (req.hasU32(lm::key::START)) {
            pos = req.getU32(lm::key::START);
        } else if (req.hasU32(lm::key::OBJECT_ID)) {
            while (pos < objects.size() &&
                   objects[pos].getU32(lm::key::OBJECT_ID) < req.getU32(lm::key::OBJECT_ID))
                ++pos;
        }
        const std::vector<uint32_t>* fields =
            ignoreFields ? nullptr : req.findU32Array(lm::key::FIELDS);
        lm::message reply;
        for (size_t n = 0; pos < objects.size() && n < req.getU32(lm::key::WANT); ++pos, ++n) {
            lm::message o;
            if (fields) {
                o.setU32(lm::key::OBJECT_ID, objects[pos].getU32(lm::key::OBJECT_ID));
                objects[pos].copyFieldsTo(*fields, o);
            } else {
                o = objects[pos];
            }
            o.setU32(lm::key::POSITION, static_cast<uint32_t>(pos));
            reply.appendMsg(lm::key::OBJECTS, std::move(o));
        }
        if (!reply.hasMsgArray(lm::key::OBJECTS)) reply.setMsgArray(lm::key::OBJECTS, {});
        if (pos < objects.size()) reply.setU32(lm::key::START, static_cast<uint32_t>(pos));
        return reply;
    }
    lm::message cmdUnknown(const lm::message& req, uint32_t) override {
        asked.push_back(req);
        return {};
    }
    // The field lists of the get-alls asked so far; "-" for one without.
    std::vector<std::vector<uint32_t>> fieldLists() const {
        std::vector<std::vector<uint32_t>> out;
        for (const lm::message& m : asked) {
            const auto* f = m.findU32Array(lm::key::FIELDS);
            out.push_back(f ? *f : std::vector<uint32_t>{0xFFFFFFFF});
        }
        return out;
    }
};

struct Client : lm::Looper {
    Client() {
        useMemoryBus();
        listen(PROGRAM + 1);
    }
};

void declareOnce() {
    static bool done = false;
    if (done) return;
    done = true;
    snmp::TableSpec spec{snmp::OID(entry), {PROGRAM, 0}};
    spec.column(1, snmp::numberField(lm::key::OBJECT_ID, 0x02), snmp::ReadOnly)
        .column(2, snmp::textField(NAME))
        .column(3, snmp::numberField(VALUE, GAUGE))
        .column(4, snmp::textField(OTHER))
        .column(5, new snmp::ConstNumPacker(CONSTANT, 0x02u), snmp::ReadOnly);
    snmp::declareTable(spec);
}

std::string cell(unsigned column, unsigned id) {
    return entry + "." + std::to_string(column) + "." + std::to_string(id);
}
Bytes nameOf(unsigned id) {
    return vb(cell(2, id), octets("n" + std::to_string(id)));
}
Bytes valueOf(unsigned id) {
    return vb(cell(3, id), integer(id * 10, GAUGE));
}
Bytes otherOf(unsigned id) {
    return vb(cell(4, id), octets("o" + std::to_string(id)));
}

const uint32_t ID_FIELD = lm::fieldOf(lm::key::OBJECT_ID);
const uint32_t NO_LIST = 0xFFFFFFFF;

#define EXPECT_BYTES(expected, actual) EXPECT_EQ(hex(expected), hex(actual))

class DeclaredTableTest : public RequestTest {
protected:
    void SetUp() override {
        RequestTest::SetUp();
        declareOnce();
        service_ = std::make_unique<ObjectService>();
        client_ = std::make_unique<Client>();  // constructed last: the looper queries go through
    }
    void TearDown() override {
        client_.reset();
        service_.reset();
        RequestTest::TearDown();
    }
    Bytes reply(uint8_t pdu, const std::vector<Bytes>& bindings, int64_t f2 = 0, int64_t f3 = 0) {
        return answer(message(V2C, "private", pdu, 1, f2, f3, bindings));
    }
    static Bytes expect(const std::vector<Bytes>& bindings) {
        return message(V2C, "private", RESPONSE, 1, 0, 0, bindings);
    }
    std::unique_ptr<ObjectService> service_;
    std::unique_ptr<Client> client_;
};

TEST_F(DeclaredTableTest, AQueryAsksForTheFieldsOfTheColumnsTheRequestReads) {
    // Down one column: its field and the id.
    EXPECT_BYTES(expect({nameOf(1), nameOf(2), nameOf(5)}),
                 reply(GETBULK, {vb(entry + ".2", null())}, 0, 3));
    // Several columns of one row: one query for all their fields.
    EXPECT_BYTES(
        expect({nameOf(5), valueOf(5), otherOf(5)}),
        reply(GET, {vb(cell(2, 5), null()), vb(cell(3, 5), null()), vb(cell(4, 5), null())}));
    // Repeaters in two columns: one page for both.
    EXPECT_BYTES(expect({valueOf(2), otherOf(2), valueOf(5), otherOf(5)}),
                 reply(GETBULK, {vb(cell(3, 1), null()), vb(cell(4, 1), null())}, 0, 2));
    const std::vector<std::vector<uint32_t>> lists = {
        {0x102, ID_FIELD}, {0x102, 0x103, 0x104, ID_FIELD}, {0x103, 0x104, ID_FIELD}};
    EXPECT_EQ(service_->fieldLists(), lists);
}

TEST_F(DeclaredTableTest, ARowFetchedForOneColumnNeverAnswersAnother) {
    for (bool ignore : {false, true}) {
        SCOPED_TRACE(ignore ? "service ignores the list" : "service honours the list");
        service_->ignoreFields = ignore;
        service_->asked.clear();
        // Column 2 runs out and the walk goes on in column 3: its values, not empty ones.
        EXPECT_BYTES(expect({nameOf(200), valueOf(1), valueOf(2), valueOf(5)}),
                     reply(GETBULK, {vb(cell(2, 9), null())}, 0, 4));
        ASSERT_EQ(service_->asked.size(), 2u);
        // Having run to the table's end, the walk asks for column 3 and every later one,
        // which takes whole objects here: column 5 reads no field.
        EXPECT_EQ(service_->fieldLists()[1], (std::vector<uint32_t>{NO_LIST}));
        // The first row was fetched for columns 2 and 3; column 3 runs out and goes on in
        // column 4, whose first row must come with its own field.
        EXPECT_BYTES(expect({nameOf(1), otherOf(1)}),
                     reply(GETNEXT, {vb(entry + ".2", null()), vb(cell(3, 200), null())}));
    }
}

TEST_F(DeclaredTableTest, AGetBulkAcrossTheColumnsOfAShortTableCostsTwoQueries) {
    std::vector<Bytes> due;
    for (unsigned id : ids) due.push_back(nameOf(id));
    for (unsigned id : ids) due.push_back(valueOf(id));
    for (unsigned id : {1u, 2u}) due.push_back(otherOf(id));
    EXPECT_BYTES(expect(due), reply(GETBULK, {vb(entry + ".2", null())}, 0, 12));
    EXPECT_EQ(service_->asked.size(), 2u) << "one query for column 2, one for all the rest";
}

TEST_F(DeclaredTableTest, AColumnNotReadFromAFieldAsksForWholeObjects) {
    const Bytes constant = vb(cell(5, 9), integer(CONSTANT));
    EXPECT_BYTES(expect({nameOf(9), constant}),
                 reply(GET, {vb(cell(2, 9), null()), vb(cell(5, 9), null())}));
    EXPECT_EQ(service_->fieldLists(), (std::vector<std::vector<uint32_t>>{{NO_LIST}}));
}

TEST_F(DeclaredTableTest, ASetWritesBackTheWholeRow) {
    EXPECT_BYTES(expect({vb(cell(2, 9), octets("x"))}), reply(SET, {vb(cell(2, 9), octets("x"))}));
    const lm::message* write = nullptr;
    for (const lm::message& m : service_->asked)
        if (m.command() == lm::cmd::OBJECT_SET) write = &m;
    ASSERT_NE(write, nullptr);
    EXPECT_EQ(write->getString(NAME), "x");
    EXPECT_EQ(write->getU32(VALUE), 90u);
    EXPECT_EQ(write->getString(OTHER), "o9");
}

}  // namespace
}  // namespace reqtest
