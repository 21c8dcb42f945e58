// The interfaces group: ifNumber, ifTable (1.3.6.1.2.1.2.2) and ifXTable
// (1.3.6.1.2.1.31.1.1), both over one table of the interface service's objects, and the
// enterprise per-interface statistics. Also seeds the link state the link traps compare
// against and offers the "interfaces" trap generator.
#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "mib/branch.h"
#include "mib/columnar_branch.h"
#include "mib/get_all_provider.h"
#include "mib/packers.h"
#include "mib/service_query.h"
#include "mib/table.h"
#include "modules/interface_record.h"
#include "modules/modules.h"
#include "platform/bus.h"
#include "platform/services.h"
#include "traps/interface_state.h"
#include "traps/scribers.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// Sent with every get-all of the interface list as its flags.
constexpr uint32_t INTERFACE_LIST_FLAGS = 7;
// ifAlias is a DisplayString of at most 64 octets (RFC 2863).
constexpr unsigned IF_ALIAS_MAX = 64;
const OID IF_NUMBER("1.3.6.1.2.1.2.1");
const OID IF_ENTRY("1.3.6.1.2.1.2.2.1");
const OID IF_X_ENTRY("1.3.6.1.2.1.31.1.1.1");
const OID IF_STATS_ENTRY("1.3.6.1.4.1.47392.1.1.14.1.1");

const std::vector<uint32_t>& interfacePath() {
    static const std::vector<uint32_t> path{lm::service::INTERFACES_PROGRAM,
                                            lm::service::INTERFACES_HANDLER};
    return path;
}

void appendInterface(const lm::message& object, VData& rows) {
    rows.rows.push_back(buildInterface(object));
}

Packer* number(unsigned Iface::*member, unsigned type) { return new DataNumPacker(member, type); }
Packer* counter64(unsigned long long Iface::*member) {
    return new DataBignumPacker(member, tag::COUNTER64);
}
Packer* zero(unsigned type) { return new ConstNumPacker(0u, type); }

// The service fields each column's value is built from (buildInterface), so that a query
// asks the interface service for those alone; a constant column reads none. Rows are
// found by their object id, which every object brings.
using ColumnFields = std::pair<unsigned, std::vector<uint32_t>>;
void readFields(ColumnarBranch* t, std::initializer_list<ColumnFields> columns) {
    t->setIndexFields({lm::key::OBJECT_ID});
    for (const auto& [column, fields] : columns) t->setColumnFields(column, fields);
}
namespace f = lm::service::iface;
const std::vector<uint32_t> SPEED_FIELDS{f::KIND, f::RATE, f::SPEED_MBPS};

void addIfTable(Table* table) {
    ColumnarBranch* t = addColumnarBranch(IF_ENTRY, table);
    constexpr bool RO = false;
    t->addLeaf(1, number(&Iface::index, tag::INTEGER), RO);
    t->addLeaf(2, new DataStringPacker(&Iface::name, tag::OCTET_STRING), RO);
    t->addLeaf(3, number(&Iface::type, tag::INTEGER), RO);
    t->addLeaf(4, number(&Iface::mtu, tag::INTEGER), RO);
    t->addLeaf(5, number(&Iface::speed, tag::GAUGE32), RO);
    t->addLeaf(6, new DataRawPacker(&Iface::physAddress, tag::OCTET_STRING), RO);
    t->addLeaf(7, number(&Iface::adminStatus, tag::INTEGER), RO);
    t->addLeaf(8, number(&Iface::operStatus, tag::INTEGER), RO);
    t->addLeaf(10, number(&Iface::inOctets, tag::COUNTER32), RO);
    t->addLeaf(11, number(&Iface::inUcastPkts, tag::COUNTER32), RO);
    t->addLeaf(13, number(&Iface::inDiscards, tag::COUNTER32), RO);
    t->addLeaf(14, number(&Iface::inErrors, tag::COUNTER32), RO);
    t->addLeaf(15, zero(tag::COUNTER32), RO);  // ifInUnknownProtos
    t->addLeaf(16, number(&Iface::outOctets, tag::COUNTER32), RO);
    t->addLeaf(17, number(&Iface::outUcastPkts, tag::COUNTER32), RO);
    t->addLeaf(19, number(&Iface::outDiscards, tag::COUNTER32), RO);
    t->addLeaf(20, number(&Iface::outErrors, tag::COUNTER32), RO);
    t->addLeaf(9, zero(tag::TIMETICKS), RO);   // ifLastChange
    t->addLeaf(12, zero(tag::COUNTER32), RO);  // ifInNUcastPkts
    t->addLeaf(18, zero(tag::COUNTER32), RO);  // ifOutNUcastPkts
    t->addLeaf(21, zero(tag::GAUGE32), RO);    // ifOutQLen
    t->addLeaf(22, new ConstOIDPacker(OID("0.0"), tag::OBJECT_ID), RO);  // ifSpecific
    readFields(t, {{1, {}}, {2, {f::NAME}}, {3, {f::KIND}}, {4, {f::MTU}}, {5, SPEED_FIELDS},
                   {6, {f::HW_ADDRESS}}, {7, {f::DISABLED}}, {8, {f::RUNNING}}, {9, {}},
                   {10, {f::RX_BYTES}}, {11, {f::RX_PACKETS}}, {12, {}}, {13, {f::RX_DROPS}},
                   {14, {f::RX_ERRORS}}, {15, {}}, {16, {f::TX_BYTES}}, {17, {f::TX_PACKETS}},
                   {18, {}}, {19, {f::TX_DROPS}}, {20, {f::TX_ERRORS}}, {21, {}}, {22, {}}});
}

void addIfXTable(Table* table) {
    ColumnarBranch* t = addColumnarBranch(IF_X_ENTRY, table);
    constexpr bool RO = false;
    t->addLeaf(1, new DataStringPacker(&Iface::name, tag::OCTET_STRING), RO);
    t->addLeaf(6, counter64(&Iface::hcInOctets), RO);
    t->addLeaf(7, counter64(&Iface::hcInUcastPkts), RO);
    t->addLeaf(10, counter64(&Iface::hcOutOctets), RO);
    t->addLeaf(11, counter64(&Iface::hcOutUcastPkts), RO);
    for (unsigned column : {2u, 3u, 4u, 5u}) t->addLeaf(column, zero(tag::COUNTER32), RO);
    for (unsigned column : {8u, 9u, 12u, 13u})
        t->addLeaf(column, new ConstBignumPacker(0ull, tag::COUNTER64), RO);
    t->addLeaf(15, number(&Iface::highSpeed, tag::GAUGE32), RO);
    t->addLeaf(18, new DisplayStringPacker(&Iface::comment, IF_ALIAS_MAX));  // ifAlias
    readFields(t, {{1, {f::NAME}}, {2, {}}, {3, {}}, {4, {}}, {5, {}}, {6, {f::RX_BYTES}},
                   {7, {f::RX_PACKETS}}, {8, {}}, {9, {}}, {10, {f::TX_BYTES}},
                   {11, {f::TX_PACKETS}}, {12, {}}, {13, {}}, {15, SPEED_FIELDS},
                   {18, {f::COMMENT}}});
}

// Per-interface 64-bit statistics under the enterprise tree, indexed like ifTable.
void addStatisticsTable() {
    auto* provider = new GetAllProvider(GetAllProvider::ListBuilder(appendInterface),
                                        interfacePath(), INTERFACE_LIST_FLAGS);
    auto* table = new MapTable(provider);
    table->addIndex(number(&Iface::index, tag::INTEGER), lm::key::OBJECT_ID);
    ColumnarBranch* t = addColumnarBranch(IF_STATS_ENTRY, table);
    constexpr bool RO = false;
    t->addLeaf(1, number(&Iface::index, tag::INTEGER), RO);
    t->addLeaf(11, counter64(&Iface::hcInOctets), RO);
    t->addLeaf(12, counter64(&Iface::hcOutOctets), RO);
    t->addLeaf(13, counter64(&Iface::hcInUcastPkts), RO);
    t->addLeaf(14, counter64(&Iface::hcOutUcastPkts), RO);
    t->addLeaf(15, counter64(&Iface::inErrors64), RO);
    t->addLeaf(16, counter64(&Iface::outErrors64), RO);
    t->addLeaf(17, counter64(&Iface::inDiscards64), RO);
    readFields(t, {{1, {}}, {11, {f::RX_BYTES}}, {12, {f::TX_BYTES}}, {13, {f::RX_PACKETS}},
                   {14, {f::TX_PACKETS}}, {15, {f::RX_ERRORS}}, {16, {f::TX_ERRORS}},
                   {17, {f::RX_DROPS}}});
}

// Every interface's present state, so that the first link notification after start sends
// a trap only when the state really changed.
void seedInterfaceStates() {
    lm::message req;
    req.setCommand(lm::cmd::GET_ALL);
    for (;;) {
        const lm::message reply = queryService(interfacePath(), req);
        if (lm::isError(reply)) return;
        if (const auto* objects = reply.findMsgArray(lm::key::OBJECTS)) {
            for (const lm::message& o : *objects) {
                namespace f = lm::service::iface;
                if (!o.hasU32(lm::key::OBJECT_ID) || !o.hasU32(f::TYPE_FLAGS) || !o.hasU32(f::STATUS))
                    continue;
                if (o.getU32(f::TYPE_FLAGS) & f::INTERNAL) continue;
                ifStateMap.emplace(o.getU32(lm::key::OBJECT_ID), o.getU32(f::STATUS) & IF_STATE_MASK);
            }
        }
        if (!reply.hasU32(lm::key::START)) return;
        const uint32_t next = reply.getU32(lm::key::START);
        if (req.hasU32(lm::key::START) && next <= req.getU32(lm::key::START)) return;
        req.setU32(lm::key::START, next);
    }
}

}  // namespace

void start_interface_module() {
    auto* provider = new GetAllProvider(GetAllProvider::ListBuilder(appendInterface),
                                        interfacePath(), INTERFACE_LIST_FLAGS);
    auto* table = new MapTable(provider);
    table->addIndex(number(&Iface::index, tag::INTEGER), lm::key::OBJECT_ID);
    addScalarLeaf(IF_NUMBER, new DataNumPacker(&CountData::count, tag::INTEGER),
                  new CountProvider(table));
    addIfTable(table);
    addIfXTable(table);
    addStatisticsTable();

    seedInterfaceStates();
    scribers.push_back({"interfaces", interfaceSubscribe, interfaceUnSubscribe});
}

}  // namespace snmp
