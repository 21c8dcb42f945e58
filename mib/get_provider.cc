#include "mib/get_provider.h"

#include <memory>

#include "mib/service_query.h"
#include "platform/bus.h"

namespace snmp {

namespace {

// A list longer than this is not walked to its end looking for an acceptable object: a
// service whose continuation never ends must not hold the agent.
constexpr unsigned MAX_FIRST_PAGES = 100000;

}  // namespace

GetProvider::GetProvider(Builder b, std::vector<uint32_t> p, uint32_t getCmd, uint32_t setCmd,
                         uint32_t param)
    : SingleProvider(setCmd != 0),
      path(std::move(p)),
      getCommand(getCmd),
      setCommand(setCmd),
      builder(std::move(b)),
      parameter(param) {}

Data* GetProvider::getData() {
    lm::message req;
    req.setCommand(getCommand);
    req.setU32(lm::key::FLAGS, parameter);
    const lm::message reply = queryService(path, req);
    if (lm::isError(reply)) return builder(lm::message());
    return builder(reply);
}

bool GetProvider::setData(Data* d) {
    if (!d) return false;
    lm::message req;
    req.setCommand(setCommand);
    d->toMessage(req);
    return !lm::isError(queryService(path, req));
}

GetFirstProvider::GetFirstProvider(Builder b, std::vector<uint32_t> p)
    : SingleProvider(false), path(std::move(p)), builder(std::move(b)) {}

Data* GetFirstProvider::getData() {
    lm::message req;
    req.setCommand(lm::cmd::GET_ALL);
    req.setU32(lm::key::WANT, 1);
    for (unsigned page = 0; page < MAX_FIRST_PAGES; ++page) {
        const lm::message reply = queryService(path, req);
        if (lm::isError(reply)) return nullptr;
        if (const auto* objects = reply.findMsgArray(lm::key::OBJECTS)) {
            for (const lm::message& object : *objects) {
                if (Data* d = builder(object)) {
                    firstObjId = static_cast<int32_t>(object.getU32(lm::key::OBJECT_ID, 0xFFFFFFFF));
                    return d;
                }
            }
        }
        if (!reply.hasU32(lm::key::START)) return nullptr;
        const uint32_t next = reply.getU32(lm::key::START);
        if (req.hasU32(lm::key::START) && next <= req.getU32(lm::key::START)) return nullptr;
        req.setU32(lm::key::START, next);
    }
    return nullptr;
}

int32_t GetFirstProvider::getFirstObjId() {
    std::unique_ptr<Data> d(getData());
    return d ? firstObjId : -1;
}

}  // namespace snmp
