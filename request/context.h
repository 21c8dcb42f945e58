// One request being processed: the reader over the request's own copy of the datagram, the
// reply writer, the binding being answered and the GetBulk counters. A Context lives for
// one datagram.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "wire/in_stream.h"
#include "wire/oid.h"
#include "wire/out_stream.h"
#include "wire/v3info.h"

namespace snmp {

class Item;

// Bindings of one request that fall under one table, as (suffix below the prefix, slot).
using Group = std::vector<std::pair<OID, int>>;

class Context {
public:
    Context(const unsigned char* data, unsigned len, OutStream& out);
    virtual ~Context();

    // Takes the following bindings that lie under prefix (see request/peek.cc).
    virtual Group peek(const OID& prefix);

    bool processSeqStart();  // enters a binding and reads its name into requestName/suffix
    bool processSeqEnd();
    void processAddError(unsigned char tag);  // requestName with a null-form value
    void addEndOfMibView(const OID& name);    // one endOfMibView per repetition still owed

    OID suffix;
    OID branchOid;
    InStream in;
    OutStream& out;
    uint32_t errorStatus = 0;
    Item* item = nullptr;
    V3Info v3;
    OID setName;
    std::vector<uint32_t> setSuffix;
    uint32_t nonRepeaters = 0;
    uint32_t maxRepetitions = 0;
    uint32_t v3Error = 0;
    OID requestName;
    uint8_t pduType = 0;
    uint8_t bindingIndex = 0;
    uint8_t repetitionsLeft = 0;

    static uint32_t v3counters[6];
};

}  // namespace snmp
