#include "tools/lumoctl/bus_client.h"

namespace lumoctl {

lm::message BusClient::call(const lm::Path& path, uint32_t command, lm::message fields, int timeoutMs) {
    fields.setDestination(path);
    fields.setCommand(command);
    return looper_.exchangeMessage(fields, timeoutMs);
}

}  // namespace lumoctl
