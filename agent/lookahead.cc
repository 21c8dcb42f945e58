#include "agent/lookahead.h"

#include <utility>

namespace snmp {

void BurstLookahead::posted(lm::message query, uint32_t seq, Clock::time_point at) {
    queries_.push_back(Query{slot_, std::move(query), seq, at});
}

uint32_t BurstLookahead::take(const lm::message& query, Clock::time_point* sentAt) {
    for (Query& q : queries_) {
        if (q.seq == 0 || q.slot != slot_ || !(q.query == query)) continue;
        const uint32_t seq = q.seq;
        q.seq = 0;
        *sentAt = q.sentAt;
        return seq;
    }
    return 0;
}

void BurstLookahead::answered(uint32_t program, Clock::duration took) {
    if (took > PROMPT) {
        slow_.insert(program);
    } else {
        slow_.erase(program);
    }
}

std::vector<uint32_t> BurstLookahead::finish() {
    std::vector<uint32_t> untaken;
    for (const Query& q : queries_)
        if (q.seq) untaken.push_back(q.seq);
    queries_.clear();
    lookingAhead_ = false;
    return untaken;
}

}  // namespace snmp
