// Example plug-in: a sensor service's objects under 1.3.6.1.4.1.47392.96.
//
//   .1.0          sensorCount: field 0x08000101 of the service's own object, [230, 1]
//   .2.1.C.ID     sensorTable: the objects of [230, 2], indexed by their object id;
//                 column 2 the name (field 0x20000102), 3 the reading (field 0x08000103)
//
// Everything it registers lives for the life of the agent: the MIB keeps it.
#include "mib/plugin.h"

namespace {

constexpr uint32_t SENSOR_PROGRAM = 230;
constexpr uint32_t SUMMARY_HANDLER = 1;
constexpr uint32_t SENSORS_HANDLER = 2;

constexpr uint32_t COUNT_FIELD = 0x08000101;    // u32
constexpr uint32_t NAME_FIELD = 0x20000102;     // string
constexpr uint32_t READING_FIELD = 0x08000103;  // u32

constexpr uint32_t NO_FLAGS = 0;
constexpr uint32_t READ_ONLY_SERVICE = 0;  // no set command: the scalar is read-only

// The service's reply as the record the field packers read; no answer gives no record, and
// the agent then reports the object as missing.
snmp::Data* wholeReply(const lm::message& reply) {
    if (reply.empty()) return nullptr;
    auto* row = new snmp::MessageRow;
    row->fields = reply;
    return row;
}

}  // namespace

// Marks the plug-in with the framework version it is built against; the agent refuses a
// plug-in whose version differs from its own.
LUMO_SNMP_PLUGIN()

// Called once by the agent at start, on its only thread.
extern "C" void autorun() {
    using namespace snmp;
    addScalarLeaf(OID("1.3.6.1.4.1.47392.96.1"), numberField(COUNT_FIELD, tag::GAUGE32),
                  new GetProvider(wholeReply, {SENSOR_PROGRAM, SUMMARY_HANDLER}, lm::cmd::GET,
                                  READ_ONLY_SERVICE, NO_FLAGS));

    TableSpec sensors{OID("1.3.6.1.4.1.47392.96.2.1"), {SENSOR_PROGRAM, SENSORS_HANDLER}};
    sensors.column(1, numberField(lm::key::OBJECT_ID, tag::INTEGER), ReadOnly);
    sensors.column(2, textField(NAME_FIELD), ReadOnly);
    sensors.column(3, numberField(READING_FIELD, tag::GAUGE32), ReadOnly);
    declareTable(sensors);
}
