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
#pragma once

#include <cstdint>
#include <vector>

#include "platform/message.h"

namespace snmp {

// Thrown by the agent's exchange in the first round, caught by the transport; the request
// path holds everything it owns in RAII objects, so unwinding through it frees all of it.
struct QueryDeferred {};

class BurstLookahead {
public:
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

    // Notes the current request's query, as it was before it was sent, with its sequence.
    void posted(const lm::message& query, uint32_t seq);
    // The sequence of the current request's posted query equal to `query`, or 0; each is
    // taken once.
    uint32_t take(const lm::message& query);
    // Ends the burst: the sequences never taken (their replies are no longer wanted).
    std::vector<uint32_t> finish();

private:
    struct Query {
        unsigned slot;
        lm::message query;
        uint32_t seq;
    };
    std::vector<Query> queries_;
    bool lookingAhead_ = false;
    unsigned slot_ = 0;
};

}  // namespace snmp
