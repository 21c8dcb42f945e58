// The bindings of one request, read once before any is answered: a GetBulk asks its
// repeaters again on every repetition, a Set checks every binding before it writes any,
// and an error reply echoes the list as it arrived.
#pragma once

#include <cstddef>
#include <vector>

#include "wire/in_stream.h"
#include "wire/oid.h"

namespace snmp {

struct RequestBinding {
    OID name;
    InStream::StreamPos value;  // the reader inside the binding, at its value (Set only)
};

class BindingList {
public:
    // Reads every binding of the list the reader is in; false when a binding or its name
    // cannot be read. With keepValues each binding remembers where its value starts.
    bool read(InStream& in, bool keepValues);

    size_t size() const { return count_; }
    RequestBinding& operator[](size_t i) { return items_[i]; }
    const RequestBinding& operator[](size_t i) const { return items_[i]; }

    // The list's contents as received, for the replies that echo the request.
    const unsigned char* raw() const { return raw_; }
    size_t rawSize() const { return rawSize_; }

private:
    std::vector<RequestBinding> items_;  // grows, never shrinks: names keep their capacity
    size_t count_ = 0;
    const unsigned char* raw_ = nullptr;
    size_t rawSize_ = 0;
};

}  // namespace snmp
