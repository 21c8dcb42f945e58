#include "request/context.h"

#include "mib/data.h"

namespace snmp {

uint32_t Context::v3counters[6] = {};

namespace {
uint64_t lastSerial = 0;
}  // namespace

Context::Context(const unsigned char* data, unsigned len, OutStream& o)
    : in(data, len), out(o), serial(++lastSerial) {}

Context::~Context() = default;

void Context::reuse(const unsigned char* data, unsigned len) {
    suffix.clear();
    branchOid.clear();
    in.load(data, len);
    errorStatus = 0;
    item = nullptr;
    v3 = V3Info();
    setName.clear();
    setSuffix.clear();
    nonRepeaters = 0;
    maxRepetitions = 0;
    v3Error = 0;
    requestName.clear();
    pduType = 0;
    bindingIndex = 0;
    repetitionsLeft = 0;
    version = 0;
    missing = tag::NO_SUCH_INSTANCE;
    answered.clear();
    answeredNoted = false;
    answeredTag = 0;
    setPhase = SetPhase::commit;
    undoRecord.reset();
    replyLimit = MAX_REPLY_SIZE;
    serial = ++lastSerial;
    bindings = nullptr;
}

bool Context::processSeqStart() {
    if (in.enterSeq() < 0) return false;
    if (!in.getOID(&requestName)) return false;
    suffix = requestName;
    return true;
}

bool Context::processSeqEnd() {
    in.exitSeq();
    return true;
}

void Context::processAddError(unsigned char valueTag) {
    out.addOID(requestName, tag::OBJECT_ID);
    out.addNull(valueTag);
}

void Context::addEndOfMibView(const OID& name) {
    while (repetitionsLeft != 0) {
        out.startSeq(tag::SEQUENCE);
        out.addOID(name, tag::OBJECT_ID);
        out.addNull(tag::END_OF_MIB_VIEW);
        out.endSeq();
        --repetitionsLeft;
    }
}

}  // namespace snmp
