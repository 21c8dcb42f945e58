#include "tools/hostd/link_snapshot.h"

#include <algorithm>

#include "platform/bus.h"

namespace hostd {

namespace {

uint32_t idOf(const lm::message& m) { return m.getU32(lm::key::OBJECT_ID); }

bool idBefore(const lm::message& m, uint32_t id) { return idOf(m) < id; }

}  // namespace

bool LinkSnapshot::fresh(uint64_t nowMs) const {
    return held_ && nowMs >= readAtMs_ && nowMs - readAtMs_ < MAX_AGE_MS;
}

void LinkSnapshot::replace(std::vector<lm::message> objects, uint64_t nowMs) {
    std::sort(objects.begin(), objects.end(),
              [](const lm::message& a, const lm::message& b) { return idOf(a) < idOf(b); });
    objects_ = std::move(objects);
    held_ = true;
    readAtMs_ = nowMs;
}

void LinkSnapshot::drop() {
    objects_.clear();
    held_ = false;
}

void LinkSnapshot::put(lm::message object) {
    if (!held_) return;
    const uint32_t id = idOf(object);
    auto it = std::lower_bound(objects_.begin(), objects_.end(), id, idBefore);
    if (it != objects_.end() && idOf(*it) == id)
        *it = std::move(object);
    else
        objects_.insert(it, std::move(object));
}

lm::message* LinkSnapshot::find(uint32_t id) {
    if (!held_) return nullptr;
    auto it = std::lower_bound(objects_.begin(), objects_.end(), id, idBefore);
    return it != objects_.end() && idOf(*it) == id ? &*it : nullptr;
}

void LinkSnapshot::remove(uint32_t id) {
    auto it = std::lower_bound(objects_.begin(), objects_.end(), id, idBefore);
    if (it != objects_.end() && idOf(*it) == id) objects_.erase(it);
}

}  // namespace hostd
