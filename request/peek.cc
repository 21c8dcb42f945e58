#include <iostream>

#include "request/context.h"
#include "request/logs.h"

namespace snmp {

// Groups the bindings that follow the current one and lie under prefix, so that one data
// query answers them all. The reader is left inside the last grouped binding: when
// createReply leaves it, processing continues after the group. Grouping never crosses
// from the non-repeaters of a GetBulk into its repeaters.
Group Context::peek(const OID& prefix) {
    Group group;
    group.emplace_back(suffix, -1);
    const bool limited = nonRepeaters != 0;
    if (limited && --nonRepeaters == 0) return group;

    InStream::StreamPos saved;
    in.saveSeq(saved);
    in.exitSeq();
    OID name;
    for (;;) {
        if (in.atEnd()) break;
        if (in.enterSeq() < 0 || !in.getOID(&name)) break;
        if (name.size() < prefix.size() || !name.startsWith(prefix)) break;
        name.dropFront(prefix.size());
        group.emplace_back(name, -1);
        in.saveSeq(saved);
        in.exitSeq();
        if (limited && --nonRepeaters == 0) break;
    }
    in.restoreSeq(saved);

    if (group.size() >= 2 && dlog.on()) {
        dlog.os() << "grouping OIDs" << std::endl;
        for (const auto& entry : group) dlog.os() << "oid >" << entry.first.str() << "<" << std::endl;
    }
    return group;
}

}  // namespace snmp
