// Queries to other services. The loop is single-threaded, so a service that does not
// answer would stall every SNMP request behind it: the wait is fixed at 1000 ms and a
// program that is not there is never asked again.
#include "agent/snmp_looper.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "request/logs.h"

namespace snmp {

namespace {

constexpr int QUERY_TIMEOUT_MS = 1000;

}  // namespace

// Every line here is written per query, that is per SNMP request: debug streams only,
// except the one line that blacklists a program, which is written once per program.
lm::message SnmpLooper::exchangeMessage(lm::message& request, int) {
    const std::vector<uint32_t> dest = request.destination();
    const uint32_t program = dest.empty() ? 0 : dest[0];
    if (blacklist_.count(program)) {
        LLOG(dlog) << "skipping due to blacklisted program: " << program << std::endl;
        return lm::failedMsg("");
    }
    lm::message reply = lm::Looper::exchangeMessage(request, QUERY_TIMEOUT_MS);
    uint32_t code = 0;
    std::string text;
    if (lm::isError(reply, code, text)) {
        LLOG(dlog) << "exchange error: " << text << std::endl;
        if (dlog.on()) {
            request.dump(dlog.os(), "");
            reply.dump(dlog.os(), "");
        }
        if (code == lm::err::NO_PROGRAM) {
            LLOG(lm::warningLog()) << "blacklisting " << program << std::endl;
            blacklist_.insert(program);
        }
    }
    return reply;
}

}  // namespace snmp
