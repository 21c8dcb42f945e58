// A table declared as data rather than plumbing: the entry OID, the bus path whose get-all
// serves the rows, the index and the columns, each column a field of the service's objects
// with its SNMP type. Rows are the objects as they arrive (MessageRow), so a module needs no
// record type and no builder of its own:
//
//     TableSpec spec{OID("1.3.6.1.4.1.47392.99.1.1"), {200, 1}};
//     spec.column(1, numberField(lm::key::OBJECT_ID, tag::INTEGER), ReadOnly);
//     spec.column(2, textField(0x20000102));
//     declareTable(spec);
//
// Without indexes of its own the table is indexed by the objects' id (0x08FE0001), the
// platform's standard key. The packers, table and provider made here live for the process,
// like everything registered in the MIB.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "mib/data.h"
#include "mib/packers.h"
#include "platform/message.h"
#include "wire/oid.h"
#include "wire/snmp_codes.h"

namespace snmp {

class ColumnarBranch;

// One service object as a table row. A write sends the object's fields back (object id
// included, list position left out).
struct MessageRow : Data {
    lm::message fields;
    void toMessage(lm::message& out) const override;
};

// Column packers that read and write one field of a MessageRow; the field's key gives its
// bus type. By field: numbers (INTEGER, Gauge32, Counter32, TimeTicks ...), texts
// (OCTET STRING, variable length unless fixedLength), IPv4 addresses held as u32 in network
// order, IPv6 addresses.
Packer* numberField(uint32_t field, unsigned type);
Packer* textField(uint32_t field, unsigned type = tag::OCTET_STRING, unsigned fixedLength = 0);
Packer* ipv4Field(uint32_t field);
Packer* ipv6Field(uint32_t field, unsigned type = tag::OCTET_STRING);

enum ColumnAccess : bool { ReadOnly = false, ReadWrite = true };

struct TableSpec {
    TableSpec(OID entryOid, std::vector<uint32_t> busPath, uint32_t flags = 0)
        : entry(std::move(entryOid)), path(std::move(busPath)), parameter(flags) {}

    TableSpec& column(unsigned number, Packer* packer, ColumnAccess access = ReadWrite) {
        columns.push_back({number, packer, access});
        return *this;
    }
    // Index components in OID order: the packer reads the row's value, key is the bus field
    // the service finds the row by.
    TableSpec& index(Packer* packer, uint32_t key) {
        indexes.emplace_back(packer, key);
        return *this;
    }

    struct Column {
        unsigned number;
        Packer* packer;
        ColumnAccess access;
    };
    OID entry;
    std::vector<uint32_t> path;
    uint32_t parameter;  // sent with every get-all as the flags field 0xFE000C
    std::vector<Column> columns;
    std::vector<std::pair<Packer*, uint32_t>> indexes;
    bool nestedKey = false;  // the service takes its start key nested (0xFE001B)
};

// Builds the table, its get-all provider and its columnar branch, and registers the branch.
ColumnarBranch* declareTable(const TableSpec& spec);

}  // namespace snmp
