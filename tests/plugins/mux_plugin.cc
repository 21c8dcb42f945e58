// A plug-in built on pieces the agent itself never uses (StaticMuxTable, ConstNumPacker),
// so it loads only when the agent exports the whole framework. Serves, under
// 1.3.6.1.4.1.47392.98:
//   .1.0        a constant scalar, 4711
//   .2.1.2.N    the name of row N (rows 1 to 3), .2.1.3.N its value N * 10
#include <string>

#include "mib/plugin.h"
#include "platform/log.h"

namespace {

constexpr unsigned SCALAR_VALUE = 4711;
constexpr unsigned ROWS = 3;
constexpr unsigned ROW_VALUE_STEP = 10;
constexpr unsigned NAME_COLUMN = 2;
constexpr unsigned VALUE_COLUMN = 3;

struct Row : snmp::MuxData {
    std::string name;
    unsigned value = 0;
};

}  // namespace

LUMO_SNMP_PLUGIN()

extern "C" void autorun() {
    using namespace snmp;
    addScalarLeaf(OID("1.3.6.1.4.1.47392.98.1"), new ConstNumPacker(SCALAR_VALUE, tag::GAUGE32),
                  nullptr);
    auto* table = new StaticMuxTable;
    for (unsigned n = 1; n <= ROWS; ++n) {
        table->addProvider(OID(std::to_string(n)), new ProxyDataProvider([n]() -> Data* {
                               auto* row = new Row;
                               row->name = "row" + std::to_string(n);
                               row->value = n * ROW_VALUE_STEP;
                               return row;
                           }));
    }
    LLOG(lm::infoLog()) << "mux plugin: " << ROWS << " rows" << std::endl;
    ColumnarBranch* branch = addColumnarBranch(OID("1.3.6.1.4.1.47392.98.2.1"), table);
    branch->addLeaf(NAME_COLUMN, new DataStringPacker(&Row::name, tag::OCTET_STRING), false);
    branch->addLeaf(VALUE_COLUMN, new DataNumPacker(&Row::value, tag::GAUGE32), false);
}
