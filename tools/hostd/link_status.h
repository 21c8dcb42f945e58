// Which links changed state: the last status flags (0x08010003) seen of every link, so
// that only a real change of administratively-up or running is published, not every
// announcement (the kernel announces counters, renames and alias changes alike).
#pragma once

#include <cstdint>
#include <unordered_map>

namespace hostd {

class LinkStatusTracker {
public:
    // Records the link's status; true when the link was known with other status flags.
    // A link seen for the first time is not a change.
    bool update(uint32_t index, uint32_t status);
    void forget(uint32_t index);
    // Keeps only the links of a fresh reading; call update() for each beforehand.
    template <typename Pred>
    void forgetUnless(Pred seen) {
        std::erase_if(status_, [&](const auto& entry) { return !seen(entry.first); });
    }

private:
    std::unordered_map<uint32_t, uint32_t> status_;
};

}  // namespace hostd
