// Packers: the codec of one SNMP value. A packer knows where the value lives (a constant it
// holds, or a field of the caller's Data record), the BER tag it is written with, and how
// the same value travels as a reply value (pack), a Set value (unpack), a table index
// suffix (getAsKey / addKeyToMessage from an OID) and a bus message key.
#pragma once

#include <string>
#include <vector>

#include "mib/data.h"
#include "platform/message.h"
#include "wire/oid.h"

namespace snmp {

class Context;

class Packer {
public:
    explicit Packer(unsigned t) : type(t) {}
    unsigned type;  // BER tag, stored unchecked

    virtual void pack(Context& c, const Data* d) = 0;
    virtual void unpack(Data* d, Context& c) = 0;
    virtual OID getAsKey(const Data* d);
    // Takes the value's index arcs off the front of oid and inserts it under key.
    virtual bool addKeyToMessage(OID& oid, lm::message& m, unsigned key);
    virtual void addKeyToMessage(const Data* d, lm::message& m, unsigned key);
    virtual ~Packer();
};

// Member references of "Data" packers: a pointer to a member of a record type derived
// from Data, stored as a pointer to member of Data.
template <class T, class D>
T Data::*dataMember(T D::*member) {
    return static_cast<T Data::*>(member);
}

}  // namespace snmp
