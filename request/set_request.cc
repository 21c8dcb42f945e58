// Set over a binding list, in three passes. Every binding is validated before any is
// written: it must name a writable object's instance, with a value of the object's type
// and length. Then the values are written in the order they were asked; when a write fails
// (commitFailed), the values already written are put back in reverse order, and a value
// that cannot be put back makes the answer undoFailed. The reply echoes the request's
// bindings as they arrived.
#include <memory>
#include <vector>

#include "mib/data.h"
#include "request/binding_list.h"
#include "request/context.h"
#include "request/engine.h"
#include "request/logs.h"
#include "request/operations.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// Runs one pass of the Set on binding i; returns its error status.
uint32_t runPass(Context& c, BindingList& list, size_t i, SetPhase phase) {
    c.setPhase = phase;
    c.requestName = list[i].name;
    c.suffix = list[i].name;
    c.errorStatus = 0;
    c.bindingIndex = static_cast<uint32_t>(i + 1);
    c.in.restoreSeq(list[i].value);
    const size_t mark = c.out.size();
    const uint32_t r = snmpSet(c);
    c.out.truncate(mark);  // the reply echoes the request; nodes write nothing into it
    return r;
}

// Puts back what bindings [0, written) wrote, last first.
uint32_t undo(Context& c, BindingList& list, std::vector<std::unique_ptr<Data>>& before,
              size_t written) {
    uint32_t result = status::COMMIT_FAILED;
    for (size_t i = written; i-- > 0;) {
        c.undoRecord = std::move(before[i]);
        if (runPass(c, list, i, SetPhase::undo) != status::NO_ERROR) {
            LLOG(dlog) << "set: cannot put back " << list[i].name << std::endl;
            result = status::UNDO_FAILED;
        }
    }
    c.undoRecord.reset();
    return result;
}

}  // namespace

Outcome answerSet(Context& c, BindingList& list) {
    for (size_t i = 0; i < list.size(); ++i) {
        uint32_t r = runPass(c, list, i, SetPhase::validate);
        // No branch is registered for the name: nothing there can ever be written.
        if (r == status::NO_SUCH_NAME && c.errorStatus == 0) r = status::NOT_WRITABLE;
        if (r != status::NO_ERROR) return {r, static_cast<uint32_t>(i + 1)};
    }
    std::vector<std::unique_ptr<Data>> before(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
        c.undoRecord.reset();
        if (runPass(c, list, i, SetPhase::commit) != status::NO_ERROR) {
            LLOG(dlog) << "set: writing " << list[i].name << " failed" << std::endl;
            return {undo(c, list, before, i), static_cast<uint32_t>(i + 1)};
        }
        before[i] = std::move(c.undoRecord);
    }
    return {};
}

}  // namespace snmp
