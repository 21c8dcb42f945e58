#include "tools/hostd/link_status.h"

namespace hostd {

bool LinkStatusTracker::update(uint32_t index, uint32_t status) {
    auto [it, added] = status_.try_emplace(index, status);
    if (added || it->second == status) return false;
    it->second = status;
    return true;
}

void LinkStatusTracker::forget(uint32_t index) { status_.erase(index); }

}  // namespace hostd
