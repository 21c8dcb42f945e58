// Queries to other services: the wait is fixed at 1000 ms, and a program that timed out or
// has no endpoint is skipped for a while (agent/service_skips.h).
#include "agent/lookahead.h"
#include "agent/snmp_looper.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "request/logs.h"

namespace snmp {

namespace {

constexpr int QUERY_TIMEOUT_MS = 1000;

}  // namespace

// Every line here is written per query, that is per SNMP request: debug streams only,
// except when a program starts or stops being skipped, which is said once each time.
lm::message SnmpLooper::exchangeMessage(lm::message& request, int) {
    const std::vector<uint32_t> dest = request.destination();
    const uint32_t program = dest.empty() ? 0 : dest[0];
    if (skips_.skipping(program, clock())) {
        LLOG(dlog) << "skipping due to blacklisted program: " << program << std::endl;
        return lm::failedMsg("");
    }
    // The agent's own objects answer in-process at once: nothing to gain by looking ahead.
    const bool ownProgram = program == programId();
    if (lookahead.lookingAhead() && !ownProgram && lookahead.prompt(program)) {
        lm::message asked = request;  // as the second round will ask it: before numbering
        lm::message failure;
        const auto at = clock();
        if (const uint32_t seq = postRequest(request, QUERY_TIMEOUT_MS, failure))
            lookahead.posted(std::move(asked), seq, at);
        throw QueryDeferred{};  // a query that could not be sent is made again, and fails there
    }
    auto sentAt = clock();
    const uint32_t posted = ownProgram ? 0 : lookahead.take(request, &sentAt);
    lm::message reply = posted ? awaitReply(posted, QUERY_TIMEOUT_MS)
                               : lm::Looper::exchangeMessage(request, QUERY_TIMEOUT_MS);
    if (!ownProgram) lookahead.answered(program, clock() - sentAt);
    uint32_t code = 0;
    std::string text;
    if (lm::isError(reply, code, text)) {
        LLOG(dlog) << "exchange error: " << text << std::endl;
        if (dlog.on()) {
            request.dump(dlog.os(), "");
            reply.dump(dlog.os(), "");
        }
        if (skips_.failed(program, code, clock())) {
            LLOG(lm::warningLog()) << "blacklisting " << program << " for "
                                   << (code == lm::err::NO_PROGRAM ? ServiceSkips::AFTER_NO_PROGRAM
                                                                   : ServiceSkips::AFTER_TIMEOUT)
                                          .count()
                                   << " s: " << text << std::endl;
        }
    } else if (skips_.answered(program)) {
        LLOG(lm::infoLog()) << "program " << program << " answers again" << std::endl;
    }
    return reply;
}

}  // namespace snmp
