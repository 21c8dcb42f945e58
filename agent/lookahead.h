// Looking ahead over a burst of requests. A request that needs another service makes its
// queries one at a time and the agent waits on each, so under load the agent and the
// service take turns. Answered in two rounds instead, the burst keeps both busy: in the
// first, a request's first query to another program is sent without waiting and the request
// is put off (QueryDeferred unwinds it); in the second, the put-off requests are answered
// again from the start and find that query's reply waiting, while the service works on the
// queries of the requests behind them.
//
// Only a reply to the same request is used, asked with the same query: nothing is kept from
// one request to the next.
//
// Only programs that answer promptly are looked ahead for. A slow one would be handed a
// burst's worth of queries that it would still be working through long after the agent had
// given up waiting; its queries are made one at a time, as outside a burst, until it answers
// promptly again.
#pragma once

#include <chrono>
#include <cstdint>
#include <set>
#include <vector>

#include "platform/message.h"

namespace snmp {

// Thrown by the agent's exchange in the first round, caught by the transport; the request
// path holds everything it owns in RAII objects, so unwinding through it frees all of it.
struct QueryDeferred {};

class BurstLookahead {
public:
    using Clock = std::chrono::steady_clock;
    // Slower than this (a quarter of the agent's wait), a program is not looked ahead for.
    static constexpr std::chrono::milliseconds PROMPT{250};

    // The first round, for the request in burst slot `slot`.
    void lookAhead(unsigned slot) {
        lookingAhead_ = true;
        slot_ = slot;
    }
    // The second round (or no lookahead at all), for the request in `slot`.
    void answer(unsigned slot) {
        lookingAhead_ = false;
        slot_ = slot;
    }
    bool lookingAhead() const { return lookingAhead_; }

    // Notes the current request's query, as it was before it was sent, with its sequence and
    // when it was sent.
    void posted(lm::message query, uint32_t seq, Clock::time_point at);
    // The sequence of the current request's posted query equal to `query`, or 0; each is
    // taken once. *sentAt receives when it was sent.
    uint32_t take(const lm::message& query, Clock::time_point* sentAt);

    // Whether queries to the program may be posted ahead: it answered its last query (or
    // has not been asked yet) within PROMPT.
    bool prompt(uint32_t program) const { return !slow_.count(program); }
    // How long the program took to answer (or fail) a query, from sending to the reply.
    void answered(uint32_t program, Clock::duration took);
    // Ends the burst: the sequences never taken (their replies are no longer wanted).
    std::vector<uint32_t> finish();

private:
    struct Query {
        unsigned slot;
        lm::message query;
        uint32_t seq;
        Clock::time_point sentAt;
    };
    std::vector<Query> queries_;
    std::set<uint32_t> slow_;  // programs whose last answer was not prompt
    bool lookingAhead_ = false;
    unsigned slot_ = 0;
};

}  // namespace snmp
