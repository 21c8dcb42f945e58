#include "request/operations.h"

#include <iterator>

#include "mib/branch.h"
#include "request/answered_binding.h"
#include "request/context.h"
#include "request/logs.h"

namespace snmp {

namespace {

// Entries whose node was never stored are treated as absent.
BranchMap::iterator skipNull(BranchMap::iterator it, BranchMap& map) {
    while (it != map.end() && it->second == nullptr) ++it;
    return it;
}

// Asks one branch for its first instance after `after` (suffix: the part of `after` below
// the branch when the branch covers it, else empty). 0 when it answered with a name past
// `after` that the request's version can carry; noSuchName to move on to the next branch.
uint32_t askBranch(Context& c, BranchMap::iterator it, const OID& after, bool covering,
                   bool* stepOver) {
    c.branchOid = it->first;
    if (covering) {
        c.suffix.arcs().assign(after.arcs().begin() + static_cast<std::ptrdiff_t>(it->first.size()),
                               after.arcs().end());
    } else {
        c.suffix.clear();
    }
    const size_t mark = c.out.size();
    c.answeredNoted = false;
    if (!it->second->getNext(c)) return c.errorStatus != 0 ? c.errorStatus : status::NO_SUCH_NAME;
    uint8_t valueTag = c.answeredTag;
    const bool read = c.answeredNoted || readAnswered(c.out, mark, &c.answered, &valueTag);
    if (!read || !(after < c.answered)) {
        // A node that answers out of order would send walkers in circles: ignore it.
        LLOG(dlog) << "getnext: " << it->first << " answered out of order" << std::endl;
        c.out.truncate(mark);
        return status::NO_SUCH_NAME;
    }
    if (c.version == version::V1 && valueTag == tag::COUNTER64) {
        c.out.truncate(mark);  // SNMPv1 has no Counter64: the walk goes on after it
        *stepOver = true;
        return status::NO_SUCH_NAME;
    }
    return status::NO_ERROR;
}

}  // namespace

uint32_t snmpGet(Context& c) {
    if (dlog.on()) dlog.os() << "get " << c.suffix.str() << std::endl;
    BranchMap& map = branchMap();
    auto it = map.upper_bound(c.suffix);
    if (it == map.begin() || std::prev(it)->second == nullptr ||
        !c.suffix.startsWith(std::prev(it)->first)) {
        c.missing = tag::NO_SUCH_OBJECT;
        return status::NO_SUCH_NAME;
    }
    --it;
    c.branchOid = it->first;
    c.suffix.dropFront(it->first.size());
    c.missing = tag::NO_SUCH_INSTANCE;
    if (it->second->get(c)) return status::NO_ERROR;
    return c.errorStatus != 0 ? c.errorStatus : status::NO_SUCH_NAME;
}

uint32_t snmpGetNextGetBulk(Context& c) {
    if (dlog.on()) dlog.os() << "getnext " << c.requestName.str() << std::endl;
    BranchMap& map = branchMap();
    // The name to follow; a copy would cost an allocation per binding, so an SNMPv1 step over
    // a Counter64 moves requestName itself (v1 never answers with that name).
    const OID& after = c.requestName;
    // The branch that covered the last name asked mostly covers the next one as well (a
    // GetBulk walks on inside a table): it is the one before upper_bound(after) when after
    // lies within it and before the next branch, which spares the search. Registration
    // only inserts, so the iterator stays valid.
    static BranchMap::iterator lastCovering = map.end();
    for (;;) {
        // The branch covering `after` is asked for what follows inside it; every later
        // branch for its first instance.
        BranchMap::iterator it;
        bool covering = false;
        if (lastCovering != map.end() && after.startsWith(lastCovering->first) &&
            (std::next(lastCovering) == map.end() || after < std::next(lastCovering)->first)) {
            it = lastCovering;
            covering = true;
        } else {
            it = map.upper_bound(after);
            if (it != map.begin() && std::prev(it)->second != nullptr &&
                after.startsWith(std::prev(it)->first)) {
                --it;
                covering = true;
                lastCovering = it;
            }
        }
        bool stepOver = false;
        for (it = skipNull(it, map); it != map.end(); it = skipNull(++it, map), covering = false) {
            const uint32_t r = askBranch(c, it, after, covering, &stepOver);
            if (r == status::NO_ERROR) return r;
            if (stepOver) break;
            if (r != status::NO_SUCH_NAME) return r;
        }
        if (!stepOver) break;
        c.requestName = c.answered;  // the Counter64 instance v1 cannot carry
    }
    LLOG(dlog) << "EOMV" << std::endl;
    c.missing = tag::END_OF_MIB_VIEW;
    return status::NO_SUCH_NAME;
}

bool getNextCompletion(Context& c) {
    if (c.repetitionsLeft == 0) return true;
    BranchMap& map = branchMap();
    auto it = skipNull(map.upper_bound(c.branchOid), map);
    if (it == map.end()) {
        LLOG(dlog) << "EOMV" << std::endl;
        return true;
    }
    c.suffix.clear();
    c.branchOid = it->first;
    return it->second->getNext(c);
}

uint32_t snmpSet(Context& c) {
    c.setName = c.requestName;
    c.setSuffix.clear();
    if (dlog.on()) dlog.os() << "set " << c.setName << std::endl;
    BranchMap& map = branchMap();
    BranchMap::iterator it;
    for (;;) {
        if (c.setName.empty()) return status::NO_SUCH_NAME;
        it = map.find(c.setName);
        if (it != map.end() && it->second != nullptr) break;
        c.setSuffix.insert(c.setSuffix.begin(), c.setName.back());
        c.setName.popBack();
    }
    c.branchOid = it->first;
    c.suffix.clear();
    c.suffix.arcs().assign(c.setSuffix.begin(), c.setSuffix.end());
    if (it->second->set(c)) return status::NO_ERROR;
    return c.errorStatus != 0 ? c.errorStatus : status::NO_SUCH_NAME;
}

}  // namespace snmp
