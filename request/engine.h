// The request engine: answers a whole binding list for one PDU type, one binding (and one
// GetBulk repetition) at a time, in the order the manager asked.
#pragma once

#include <cstdint>

namespace snmp {

class BindingList;
class Context;

// How a request ended: an error status (0 success, status::CRITICAL and above: drop the
// request) and the 1-based index of the binding it concerns (0 for none).
struct Outcome {
    uint32_t status = 0;
    uint32_t index = 0;
};

Outcome answerGet(Context& c, BindingList& list);
Outcome answerGetNext(Context& c, BindingList& list);
// nonRepeaters and maxRepetitions as they arrived (negative values count as 0).
Outcome answerGetBulk(Context& c, BindingList& list, int32_t nonRepeaters, int32_t maxRepetitions);
Outcome answerSet(Context& c, BindingList& list);

}  // namespace snmp
