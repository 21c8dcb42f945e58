// A bus caller for lumoctl: one looper that listens on no program id (replies come back on
// the connection the request went out on), reused for every exchange of the run.
#pragma once

#include <cstdint>

#include "platform/looper.h"

namespace lumoctl {

class BusClient {
public:
    // Sends fields as command to path and waits for the reply; transport failures come back
    // as error replies (no program, time-out, broken connection).
    lm::message call(const lm::Path& path, uint32_t command, lm::message fields, int timeoutMs);

private:
    lm::Looper looper_;
};

}  // namespace lumoctl
