// Row keys and the two kinds of table: what a row suffix becomes on the bus, and which rows
// a static table walks.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "mib/packers.h"
#include "mib/table.h"
#include "platform/bus.h"

namespace {

using snmp::OID;

struct Named : snmp::Data {
    unsigned unit = 0;
    std::string name;
};

// Tables use their packers and providers without owning them (in the agent they live for
// the process); the tests keep them here.
template <class T>
struct Owned {
    std::vector<std::unique_ptr<T>> all;
    template <class U>
    U* add(std::unique_ptr<U> p) {
        U* raw = p.get();
        all.push_back(std::move(p));
        return raw;
    }
};

TEST(MapTable, KeysFromRowSuffixes) {
    Owned<snmp::Packer> packers;
    snmp::MapTable standard(nullptr);
    standard.addIndex(packers.add(std::make_unique<snmp::DataNumPacker>(&Named::unit, 0x02)),
                      lm::key::OBJECT_ID);
    snmp::Key k = standard.createKey(OID("7.9"), true);
    EXPECT_EQ(7u, k.id);
    EXPECT_TRUE(k.message.empty() && !k.bad);
    EXPECT_TRUE(standard.createKey(OID(), true).empty());

    // Two indexes, the suffix one arc short: bad when strict; kept and marked when relaxed.
    constexpr unsigned UNIT = 0x10, NAME = 0x11;
    snmp::MapTable pair(nullptr);
    pair.addIndex(packers.add(std::make_unique<snmp::DataNumPacker>(&Named::unit, 0x02)), UNIT);
    pair.addIndex(packers.add(std::make_unique<snmp::DataStringPacker>(&Named::name, 0x04)), NAME);
    EXPECT_TRUE(pair.createKey(OID("3.2.97"), true).bad);
    k = pair.createKey(OID("3.2.97"), false);
    EXPECT_TRUE(k.relaxed && !k.bad);
    EXPECT_EQ(3u, k.message.getU32(UNIT));
    EXPECT_TRUE(k.message.getBool(lm::key::PARTIAL_KEY));
    k = pair.createKey(OID("3.2.97.98"), true);
    EXPECT_FALSE(k.bad || k.relaxed);
    EXPECT_EQ("ab", k.message.getString(NAME));

    Named row;
    row.unit = 3;
    row.name = "ab";
    EXPECT_EQ(OID("3.2.97.98"), pair.getKey(&row));
    lm::message m;
    m.setU32(0x99, 1);
    pair.addKeyToMessage(&row, m);
    EXPECT_EQ(2u, m.size());  // cleared, then the two index fields
}

struct Mux : snmp::MuxData {
    unsigned value = 0;
};

class FixedProvider : public snmp::SingleProvider {
public:
    explicit FixedProvider(unsigned v) : value_(v) {}
    snmp::Data* getData() override {
        auto* d = new Mux;
        d->value = value_;
        return d;
    }
    bool setData(snmp::Data*) override { return true; }

private:
    unsigned value_;
};

std::vector<unsigned> rowNumbers(snmp::VData* rows) {
    std::unique_ptr<snmp::VData> owned(rows);
    std::vector<unsigned> out;
    for (snmp::Data* d : owned->rows) out.push_back(static_cast<Mux*>(d)->rowNumber);
    return out;
}

TEST(StaticMuxTable, RowsInNumberOrderFromOneProviderEach) {
    Owned<snmp::DataProvider> providers;
    snmp::StaticMuxTable table;
    for (unsigned n : {5u, 1u, 2u})
        table.addProvider(OID(n), providers.add(std::make_unique<FixedProvider>(n * 100)));
    EXPECT_EQ(3u, table.count());
    EXPECT_EQ((std::vector<unsigned>{5}), rowNumbers(table.getNext(table.createKey(OID("2"), true), 10)));
    EXPECT_EQ((std::vector<unsigned>{1, 2, 5}), rowNumbers(table.getNext(snmp::Key(), 10)));
    EXPECT_EQ((std::vector<unsigned>{1, 2}), rowNumbers(table.getFirst(2)));
    EXPECT_EQ(nullptr, table.get(table.createKey(OID("3"), true)));
    std::unique_ptr<snmp::VData> five(table.get(table.createKey(OID("5"), true)));
    ASSERT_TRUE(five && five->size() == 1);
    EXPECT_EQ(500u, static_cast<Mux*>(five->rows[0])->value);
    EXPECT_EQ(OID("5"), table.getKey(five->rows[0]));
    // Row numbers are 8 bits wide: 257 is row 1.
    table.addProvider(OID(257u), providers.add(std::make_unique<FixedProvider>(7)));
    EXPECT_EQ((std::vector<unsigned>{1, 2, 5, 1}), rowNumbers(table.getFirst(10)));

    snmp::CountProvider count(&table);
    std::unique_ptr<snmp::Data> c(count.get());
    EXPECT_EQ(4u, static_cast<snmp::CountData*>(c.get())->count);
    EXPECT_FALSE(count.writable());
}

}  // namespace
