#include "request/operations.h"

#include <iostream>
#include <sstream>

#include "mib/branch.h"
#include "request/context.h"
#include "request/logs.h"

namespace snmp {

namespace {

// Debug trace lines go to the debug stream and, for the request path, to standard output.
void trace(const std::string& line) {
    dlog.os() << line << std::endl;
    std::cout << line << std::endl;
}

// Entries whose node was never stored are treated as absent.
BranchMap::iterator skipNull(BranchMap::iterator it, BranchMap& map) {
    while (it != map.end() && it->second == nullptr) ++it;
    return it;
}

}  // namespace

uint32_t snmpGet(Context& c) {
    if (dlog.on()) trace("get " + c.suffix.str());
    BranchMap& map = branchMap();
    auto it = map.upper_bound(c.suffix);
    if (it == map.begin()) return 2;
    --it;
    if (it->second == nullptr || c.suffix.size() < it->first.size() ||
        !c.suffix.startsWith(it->first))
        return 2;
    c.branchOid = it->first;
    c.suffix.dropFront(it->first.size());
    return it->second->get(c) ? 0 : 2;
}

uint32_t snmpGetNextGetBulk(Context& c) {
    if (dlog.on()) {
        std::ostringstream line;
        line << "getnextgetbulk " << c.suffix.str() << " reps:" << c.maxRepetitions
             << " nonreps:" << c.nonRepeaters;
        trace(line.str());
    }
    BranchMap& map = branchMap();
    auto it = map.upper_bound(c.suffix);
    if (it != map.begin()) {
        --it;
        if (!c.suffix.startsWith(it->first)) ++it;
    }
    bool movedOn = false;
    for (;; ++it) {
        it = skipNull(it, map);
        if (it == map.end()) return 2;
        const OID& k = it->first;
        bool cut = false;
        if (c.suffix.size() >= k.size() && !movedOn) {
            // Cut by position, whether or not the name begins with k (kept as it is).
            c.suffix.dropFront(k.size());
            c.branchOid = k;
            cut = true;
            if (dlog.on()) std::cout << "getnext found match   " << k.str() << std::endl;
        } else {
            c.suffix.clear();
            c.branchOid = k;
            if (dlog.on()) std::cout << "getnext found         " << k.str() << std::endl;
        }
        if (it->second->getNext(c)) return 0;
        if (c.errorStatus != 0) return c.errorStatus;
        if (cut) movedOn = true;
    }
}

bool getNextCompletion(Context& c) {
    if (c.repetitionsLeft == 0) return true;
    BranchMap& map = branchMap();
    auto it = skipNull(map.upper_bound(c.branchOid), map);
    if (it == map.end()) {
        std::cerr << "EOMV" << std::endl;
        return true;
    }
    c.suffix.clear();
    c.branchOid = it->first;
    return it->second->getNext(c);
}

uint32_t snmpSet(Context& c) {
    c.setName = c.suffix;
    if (dlog.on()) dlog.os() << "set " << c.setName << std::endl;
    BranchMap& map = branchMap();
    BranchMap::iterator it;
    for (;;) {
        if (c.setName.empty()) return 2;
        it = map.find(c.setName);
        if (it != map.end() && it->second != nullptr) break;
        c.setSuffix.insert(c.setSuffix.begin(), c.setName.back());
        c.setName.popBack();
    }
    return it->second->set(c) ? 0 : 2;
}

}  // namespace snmp
