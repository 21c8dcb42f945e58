// Get, GetNext and GetBulk over a binding list. SNMPv1 turns every name that has no value
// into noSuchName for the whole request; v2c and v3 answer each binding on its own, with
// the exceptions noSuchObject, noSuchInstance and endOfMibView.
#include <algorithm>
#include <vector>

#include "request/answered_binding.h"
#include "request/binding_list.h"
#include "request/context.h"
#include "request/engine.h"
#include "request/logs.h"
#include "request/operations.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// GetBulk never repeats more than this, whatever the manager asks.
constexpr int32_t MAX_BULK_REPETITIONS = 50;

void writeException(Context& c, const OID& name, uint8_t exception) {
    c.out.startSeq(tag::SEQUENCE);
    c.out.addOID(name, tag::OBJECT_ID);
    c.out.addNull(exception);
    c.out.endSeq();
}

bool fits(const Context& c) { return c.out.closedSize() <= c.replyLimit; }

// A GetNext step sets the suffix for each branch it asks; a Get starts from the name.
void prepare(Context& c, const OID& name, uint32_t index) {
    c.requestName = name;
    c.errorStatus = 0;
    c.bindingIndex = index;
}

// One GetNext step after requestName: the next instance, or endOfMibView (v2c) at the end.
// Returns an error status for the request; *ended tells that the MIB ran out.
uint32_t nextOrEnd(Context& c, bool* ended) {
    *ended = false;
    const uint32_t r = snmpGetNextGetBulk(c);
    if (r == status::NO_ERROR) return r;
    if (r != status::NO_SUCH_NAME || c.version == version::V1) return r;
    *ended = true;
    writeException(c, c.requestName, tag::END_OF_MIB_VIEW);
    return status::NO_ERROR;
}

}  // namespace

Outcome answerGet(Context& c, BindingList& list) {
    for (size_t i = 0; i < list.size(); ++i) {
        prepare(c, list[i].name, static_cast<uint32_t>(i + 1));
        c.suffix = list[i].name;
        const size_t mark = c.out.size();
        uint32_t r = snmpGet(c);
        if (r == status::NO_ERROR && c.version == version::V1) {
            // SNMPv1 cannot carry a Counter64: the name has no value it can report.
            uint8_t valueTag = 0;
            if (readAnswered(c.out, mark, &c.answered, &valueTag) && valueTag == tag::COUNTER64) {
                c.out.truncate(mark);
                r = status::NO_SUCH_NAME;
            }
        }
        if (r == status::NO_SUCH_NAME && c.version != version::V1) {
            writeException(c, list[i].name, c.missing);
            r = status::NO_ERROR;
        }
        if (r != status::NO_ERROR) return {r, static_cast<uint32_t>(i + 1)};
        if (!fits(c)) return {status::TOO_BIG, 0};
    }
    return {};
}

Outcome answerGetNext(Context& c, BindingList& list) {
    for (size_t i = 0; i < list.size(); ++i) {
        prepare(c, list[i].name, static_cast<uint32_t>(i + 1));
        bool ended = false;
        const uint32_t r = nextOrEnd(c, &ended);
        if (r != status::NO_ERROR) return {r, static_cast<uint32_t>(i + 1)};
        if (!fits(c)) return {status::TOO_BIG, 0};
    }
    return {};
}

Outcome answerGetBulk(Context& c, BindingList& list, int32_t nonRepeaters, int32_t maxRepetitions) {
    const size_t count = list.size();
    const size_t fixed = std::min<size_t>(count, static_cast<size_t>(std::max(nonRepeaters, 0)));
    const int32_t repetitions = std::clamp(maxRepetitions, 0, MAX_BULK_REPETITIONS);
    c.nonRepeaters = static_cast<uint32_t>(fixed);
    c.maxRepetitions = static_cast<uint32_t>(repetitions);

    // Columns that ran out (one flag per repeater), reused from request to request.
    static std::vector<char>* endedColumns = new std::vector<char>;
    endedColumns->assign(count - fixed + 1, 0);
    char nonRepeaterEnded = 0;

    // One binding: the instance after the binding's name, or endOfMibView under that name
    // once its column ran out. A reply that would not fit is cut back to the bindings that
    // do (TOO_BIG here means: stop, and send what fits).
    auto answer = [&c](RequestBinding& b, uint32_t index, char& ended) -> uint32_t {
        prepare(c, b.name, index);
        const size_t mark = c.out.size();
        if (ended) {
            writeException(c, b.name, tag::END_OF_MIB_VIEW);
        } else {
            bool ranOut = false;
            const uint32_t r = nextOrEnd(c, &ranOut);
            if (r != status::NO_ERROR) return r;
            ended = ranOut;
        }
        if (!fits(c)) {
            c.out.truncate(mark);
            return status::TOO_BIG;
        }
        if (!ended) b.name = c.answered;
        return status::NO_ERROR;
    };

    for (size_t i = 0; i < fixed; ++i) {
        nonRepeaterEnded = 0;
        const uint32_t r = answer(list[i], static_cast<uint32_t>(i + 1), nonRepeaterEnded);
        if (r == status::TOO_BIG) return {};
        if (r != status::NO_ERROR) return {r, static_cast<uint32_t>(i + 1)};
    }
    // Repetitions row by row: the first of every repeater, then the second, and so on. A
    // repetition in which every column had run out is the last.
    for (int32_t rep = 0; rep < repetitions && count > fixed; ++rep) {
        bool anyLeft = false;
        for (size_t j = fixed; j < count; ++j) {
            char& ended = (*endedColumns)[j - fixed];
            const uint32_t r = answer(list[j], static_cast<uint32_t>(j + 1), ended);
            if (r == status::TOO_BIG) return {};
            if (r != status::NO_ERROR) return {r, static_cast<uint32_t>(j + 1)};
            anyLeft = anyLeft || !ended;
        }
        if (!anyLeft) break;
    }
    return {};
}

}  // namespace snmp
