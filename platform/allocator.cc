// Allocator: object ids handed out lowest-free-first, or exactly as requested.
#include <algorithm>

#include "platform/store.h"

namespace lm {

namespace {
constexpr uint32_t NONE = 0xFFFFFFFF;
}

Allocator::Allocator(uint32_t first, uint32_t last)
    : first_(first), last_(std::min(last, NONE - 1)) {}

uint32_t Allocator::alloc() {
    uint64_t candidate = first_;
    auto it = std::lower_bound(taken_.begin(), taken_.end(), first_);
    for (; it != taken_.end() && *it == candidate; ++it) ++candidate;
    if (candidate > last_) return NONE;
    taken_.insert(it, uint32_t(candidate));
    return uint32_t(candidate);
}

bool Allocator::request(uint32_t id) {
    if (id < first_ || id > last_) return false;
    auto it = std::lower_bound(taken_.begin(), taken_.end(), id);
    if (it != taken_.end() && *it == id) return false;
    taken_.insert(it, id);
    return true;
}

void Allocator::free(uint32_t id) {
    auto it = std::lower_bound(taken_.begin(), taken_.end(), id);
    if (it != taken_.end() && *it == id) taken_.erase(it);
}

bool Allocator::used(uint32_t id) const { return std::binary_search(taken_.begin(), taken_.end(), id); }

}  // namespace lm
