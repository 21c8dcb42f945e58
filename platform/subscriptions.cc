// Subscriber lists of the handlers of one looper.
#include <algorithm>

#include "platform/bus_internal.h"

namespace lm {

void Subscriptions::subscribe(uint32_t handler, const Path& subscriber, uint32_t notification,
                              const message& filter) {
    auto& list = byHandler_[handler];
    for (auto& e : list) {
        if (e.subscriber == subscriber && e.notification == notification) {
            e.filter = filter;
            return;
        }
    }
    list.push_back(Entry{subscriber, notification, filter});
}

void Subscriptions::unsubscribe(uint32_t handler, const Path& subscriber, uint32_t notification) {
    auto it = byHandler_.find(handler);
    if (it == byHandler_.end()) return;
    std::erase_if(it->second, [&](const Entry& e) {
        return e.subscriber == subscriber && e.notification == notification;
    });
}

std::vector<Subscriptions::Entry> Subscriptions::matching(uint32_t handler,
                                                          uint32_t notification) const {
    std::vector<Entry> out;
    auto it = byHandler_.find(handler);
    if (it == byHandler_.end()) return out;
    for (const auto& e : it->second)
        if (e.notification == notification) out.push_back(e);
    return out;
}

void Subscriptions::forget(uint32_t handler, const Path& subscriber) {
    auto it = byHandler_.find(handler);
    if (it == byHandler_.end()) return;
    std::erase_if(it->second, [&](const Entry& e) { return e.subscriber == subscriber; });
}

size_t Subscriptions::count(uint32_t handler) const {
    auto it = byHandler_.find(handler);
    return it == byHandler_.end() ? 0 : it->second.size();
}

}  // namespace lm
