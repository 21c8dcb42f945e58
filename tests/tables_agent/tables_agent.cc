// lumo-snmpd-tables: the agent with two tables over fixture services, for the table
// integration tests and the table benchmarks. Their objects come from lumo-hostd
// --fixture with files from tools/make-table-fixture: column 1 is the object id, an even
// column n the string field 0x20000100 + n, an odd one the u32 field 0x08000100 + n.
//
//   1.3.6.1.4.1.47392.99.1.1  20 columns from [200, 1]
//   1.3.6.1.4.1.47392.99.2.1   3 columns from [200, 2] (the branch after the first)
#include "agent/agent_main.h"
#include "mib/declared_table.h"
#include "platform/bus.h"

namespace {

constexpr uint32_t FIXTURE_PROGRAM = 200;
constexpr uint32_t TEXT_FIELDS = 0x20000100;
constexpr uint32_t NUMBER_FIELDS = 0x08000100;

void declareFixtureTable(const char* entry, uint32_t handler, unsigned columns) {
    using namespace snmp;
    TableSpec spec{OID(entry), {FIXTURE_PROGRAM, handler}};
    spec.column(1, numberField(lm::key::OBJECT_ID, tag::INTEGER), ReadOnly);
    for (unsigned n = 2; n <= columns; ++n) {
        if (n % 2 == 0) {
            spec.column(n, textField(TEXT_FIELDS + n));
        } else {
            spec.column(n, numberField(NUMBER_FIELDS + n, tag::GAUGE32));
        }
    }
    declareTable(spec);
}

void startFixtureTables() {
    declareFixtureTable("1.3.6.1.4.1.47392.99.1.1", 1, 20);
    declareFixtureTable("1.3.6.1.4.1.47392.99.2.1", 2, 3);
}

}  // namespace

int main() { return snmp::runAgent(startFixtureTables); }
