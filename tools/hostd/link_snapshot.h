// The interface list that get-all and count page through: read from the kernel once and
// reused for MAX_AGE_MS, so that paging through thousands of links costs one dump, not
// one per page. Link announcements keep it current meanwhile (an added, changed or
// removed link is put in, replaced or taken out), so positions only shift when links
// really come or go. Counters in it are at most MAX_AGE_MS old.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/message.h"

namespace hostd {

class LinkSnapshot {
public:
    // How long a snapshot serves after its dump (docs/platform.md, "Interfaces").
    static constexpr uint64_t MAX_AGE_MS = 1000;

    // Held and read less than MAX_AGE_MS before nowMs.
    bool fresh(uint64_t nowMs) const;
    // A new list, read at nowMs; sorted here by object id.
    void replace(std::vector<lm::message> objects, uint64_t nowMs);
    // Forgets the list, so the next request reads the kernel (announcements were lost).
    void drop();

    // An announced link: replaces the object of its id or inserts it. Nothing when no
    // list is held.
    void put(lm::message object);
    void remove(uint32_t id);
    // The held object of link id, or null (not held, or no such link).
    lm::message* find(uint32_t id);

    bool held() const { return held_; }
    const std::vector<lm::message>& objects() const { return objects_; }

private:
    std::vector<lm::message> objects_;  // ascending object id
    bool held_ = false;
    uint64_t readAtMs_ = 0;
};

}  // namespace hostd
