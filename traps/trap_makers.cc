#include "traps/trap_info.h"

#include "platform/bus.h"
#include "request/logs.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

const OID WARM_START_TRAP{1, 3, 6, 1, 6, 3, 1, 1, 5, 2};
// The router's enterprise trap: enterprise 47392, its traps' branch.
const OID ENTERPRISE_TRAP{1, 3, 6, 1, 4, 1, 47392, 1, 1, 9};
constexpr uint32_t ENTERPRISE_SPECIFIC_SEND = 1;

// The value types a binding can be written from text; any other would go out as a name
// without a value, which receivers drop with the whole trap.
bool writableFromText(uint32_t type) {
    switch (type) {
        case tag::INTEGER:
        case tag::OCTET_STRING:
        case tag::NULL_VALUE:
        case tag::OBJECT_ID:
        case tag::IP_ADDRESS:
        case tag::COUNTER32:
        case tag::TIMETICKS:
        case tag::UINTEGER32:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::vector<TrapMaker> trapMakers;

bool startTrapMaker(const lm::message&, TrapInfo& info) {
    info.oid = WARM_START_TRAP;
    info.generic = generic::WARM_START;
    info.specific = 0;
    info.varbinds.clear();
    return true;
}

bool velmarTrapMaker(const lm::message& m, TrapInfo& info) {
    if (!m.hasU32(lm::key::COMMAND) || m.getU32(lm::key::COMMAND) != CMD_SEND_TRAP) return false;
    info.oid = ENTERPRISE_TRAP;
    info.generic = generic::ENTERPRISE_SPECIFIC;
    info.specific = ENTERPRISE_SPECIFIC_SEND;
    info.varbinds.clear();
    if (m.hasString(trapkey::OID_TEXT) && m.hasU32(trapkey::VALUE_TYPE)) {
        VariableBinding vb;
        vb.name = OID(m.getString(trapkey::OID_TEXT));
        vb.type = m.getU32(trapkey::VALUE_TYPE);
        if (!writableFromText(vb.type)) {
            LLOG(dlog) << "trap binding type " << vb.type << " cannot be written from text; sent without it"
                       << std::endl;
        } else if (m.hasString(trapkey::VALUE_TEXT)) {
            vb.value = m.getString(trapkey::VALUE_TEXT);
            info.varbinds.push_back(std::move(vb));
        } else if (vb.type == tag::NULL_VALUE) {
            info.varbinds.push_back(std::move(vb));
        }
    }
    return true;
}

}  // namespace snmp
