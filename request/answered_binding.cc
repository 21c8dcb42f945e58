#include "request/answered_binding.h"

#include "wire/in_stream.h"
#include "wire/out_stream.h"

namespace snmp {

bool readAnswered(const OutStream& out, size_t mark, OID* name, uint8_t* valueTag) {
    // One reader for the process, reused: its buffer keeps its capacity between bindings.
    static InStream* reader = new InStream;
    reader->buffer().assign(out.data() + mark, out.data() + out.size());
    reader->reset();
    if (reader->enterSeq() < 0 || !reader->getOID(name)) return false;
    *valueTag = reader->getType();
    return true;
}

}  // namespace snmp
