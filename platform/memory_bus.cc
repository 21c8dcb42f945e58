// The in-memory bus: loopers of one process reach each other by program id through a
// process-wide table, and requests are delivered by a direct call to Looper::deliver.
#include <map>

#include "platform/bus_internal.h"

namespace lm {

namespace {

std::map<uint32_t, Looper*>& table() {
    static std::map<uint32_t, Looper*> programs;
    return programs;
}

}  // namespace

void memoryBusRegister(uint32_t programId, Looper* looper) { table()[programId] = looper; }

void memoryBusUnregister(Looper* looper) {
    for (auto it = table().begin(); it != table().end();) {
        if (it->second == looper)
            it = table().erase(it);
        else
            ++it;
    }
}

Looper* memoryBusFind(uint32_t programId) {
    auto it = table().find(programId);
    return it == table().end() ? nullptr : it->second;
}

}  // namespace lm
