// link_watch: subscribes to the interface service's link notification (0x00010004 from
// [20, 0]) with the agent's filter and prints one line per notification,
// "<id> <name> <status flags in hex>", so that shell tests can see link changes.
// Prints "ready" once the subscription is in place; ends after COUNT notifications or
// when the bus stays silent for LIMIT_S seconds (a test that waits in vain then fails).
// Run as: link_watch PROGRAM COUNT LIMIT_S
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "platform/looper.h"
#include "platform/services.h"
#include "platform/util.h"

namespace {

namespace iface = lm::service::iface;

constexpr uint32_t FILTER_EXCLUDED = 0x08010011;  // type flags the subscriber does not want
constexpr int CONFIRM_TIMEOUT_MS = 5000;
constexpr int ROUND_MS = 50;
constexpr uint64_t MS_PER_S = 1000;

class Watcher : public lm::Handler {
public:
    lm::message cmdUnknown(const lm::message& n, uint32_t command) override {
        if (command != lm::service::LINK_NOTIFICATION) return {};
        std::printf("%u %s 0x%X\n", n.getU32(lm::key::OBJECT_ID), n.getString(iface::NAME).c_str(),
                    n.getU32(iface::STATUS));
        std::fflush(stdout);
        ++seen;
        return {};
    }
    unsigned seen = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: link_watch PROGRAM COUNT LIMIT_S\n";
        return 2;
    }
    const auto program = uint32_t(std::strtoul(argv[1], nullptr, 0));
    const unsigned count = unsigned(std::strtoul(argv[2], nullptr, 0));
    const uint64_t limitMs = std::strtoull(argv[3], nullptr, 0) * MS_PER_S;

    lm::Looper looper;
    if (!looper.listen(program)) return 1;
    Watcher watcher;
    looper.addHandler(1, &watcher);
    lm::message filter;
    filter.setU32(iface::TYPE_FLAGS, 0);
    filter.setU32(FILTER_EXCLUDED, iface::INTERNAL);
    const lm::Path service{lm::service::INTERFACES_PROGRAM, lm::service::INTERFACES_HANDLER};
    watcher.subscribe(service, lm::service::LINK_NOTIFICATION, filter);

    // The subscription is a command: a request behind it on the same connection proves
    // it has landed.
    lm::message probe;
    probe.setDestination(service);
    probe.setCommand(lm::cmd::COUNT);
    if (lm::isError(looper.exchangeMessage(probe, CONFIRM_TIMEOUT_MS))) {
        std::cerr << "link_watch: the interface service does not answer\n";
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);

    uint64_t quietSince = lm::monotonicMs();
    while (watcher.seen < count && lm::monotonicMs() - quietSince < limitMs) {
        const unsigned before = watcher.seen;
        looper.runOnce(ROUND_MS);
        if (watcher.seen != before) quietSince = lm::monotonicMs();
    }
    return watcher.seen >= count ? 0 : 1;
}
