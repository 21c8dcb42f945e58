#include "agent/lookahead.h"

namespace snmp {

void BurstLookahead::posted(const lm::message& query, uint32_t seq) {
    queries_.push_back(Query{slot_, query, seq});
}

uint32_t BurstLookahead::take(const lm::message& query) {
    for (Query& q : queries_) {
        if (q.seq == 0 || q.slot != slot_ || !(q.query == query)) continue;
        const uint32_t seq = q.seq;
        q.seq = 0;
        return seq;
    }
    return 0;
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
