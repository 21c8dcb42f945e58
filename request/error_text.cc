#include <cstdio>

#include "request/create_reply.h"

namespace snmp {

std::string errorStatusText(uint32_t status) {
    // "commmit failed" is the agent's own spelling and is kept.
    static const char* const names[] = {
        "no error",        "too big",         "no such name",         "bad value",
        "read only",       "gen err",         "no access",            "wrong type",
        "wrong length",    "wrong encoding",  "wrong value",          "no creation",
        "inconsistent value", "resource unavailable", "commmit failed", "undo failed",
        "auth err",        "not writable",    "inconsistent name",
    };
    if (status < sizeof names / sizeof names[0]) return names[status];
    char buf[32];
    std::snprintf(buf, sizeof buf, "unknown error %u", status);
    return buf;
}

}  // namespace snmp
