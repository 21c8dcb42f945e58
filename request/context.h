// One request being processed: the reader over the request's own copy of the datagram, the
// reply writer, the binding being answered and the GetBulk counters. A Context lives for
// one datagram.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "wire/in_stream.h"
#include "wire/oid.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"
#include "wire/v3info.h"

namespace snmp {

class Item;
class Data;
class BindingList;

// Bindings of one request that fall under one table, as (suffix below the prefix, slot).
using Group = std::vector<std::pair<OID, int>>;

// The passes of a Set: every binding is checked before any is written, and what was
// written is put back when a later write fails.
enum class SetPhase : uint8_t { validate, commit, undo };

class Context {
public:
    Context(const unsigned char* data, unsigned len, OutStream& out);
    virtual ~Context();
    // Makes this the context of the next datagram, every field as a new Context has it,
    // names and buffers keeping their capacity: the transport reuses its contexts so that
    // a request allocates nothing it does not need. A field added below is reset there.
    void reuse(const unsigned char* data, unsigned len);

    // The binding being answered as a group of one: the engine asks a branch for one
    // instance at a time (see request/peek.cc).
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
    uint32_t bindingIndex = 0;
    uint32_t repetitionsLeft = 0;

    // The message version (0 v1, 1 v2c, 3 v3).
    int version = 0;
    // What a Get answers in v2c for a name a branch does not answer: noSuchInstance, or
    // noSuchObject when the branch knows no such object (set by the branch or the lookup).
    uint8_t missing = tag::NO_SUCH_INSTANCE;
    // The full name a GetNext step answered (the next GetBulk repetition starts after it).
    OID answered;
    // Set by a branch that put the name it wrote into answered and its value's tag into
    // answeredTag, sparing the engine the read-back of the binding; cleared before each step.
    bool answeredNoted = false;
    uint8_t answeredTag = 0;
    // The pass of a Set, and the record a commit replaced, handed back for an undo.
    SetPhase setPhase = SetPhase::commit;
    std::unique_ptr<Data> undoRecord;
    // The largest reply the manager and the transport accept.
    size_t replyLimit = MAX_REPLY_SIZE;
    // Different for every Context of the process: tables keep rows for one request only.
    uint64_t serial;
    // The request's whole binding list (GetBulk repeaters under the names they reached), so
    // that a table can fetch in one query what the other bindings will ask of it.
    const BindingList* bindings = nullptr;

    static uint32_t v3counters[6];
};

}  // namespace snmp
