// A table row key: the row part of a requested OID turned into what the owning service
// understands, either a row number (tables with the standard key, the platform's object id
// 0xFE0001) or the key fields of a bus message.
#pragma once

#include <cstdint>

#include "platform/message.h"

namespace snmp {

class Key {
public:
    static constexpr uint32_t UNSET = 0xFFFFFFFF;

    bool bad = false;        // the OID could not be turned into a key (strict mode)
    bool skipFirst = false;  // the row named by the key is not itself part of a walk from it
    bool relaxed = false;    // accepted in relaxed mode though incomplete
    uint32_t id = UNSET;        // row number, tables with the standard key
    uint32_t position = UNSET;  // the service's list position of the row, from its replies
    lm::message message;        // the key fields as sent to the service

    bool empty() const { return id == UNSET && position == UNSET && message.empty(); }
    bool operator==(const Key& o) const {
        return id == o.id && position == o.position && message == o.message;
    }
};

}  // namespace snmp
