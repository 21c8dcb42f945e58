#include "tools/hostd/guest_service.h"

#include "platform/bus.h"

namespace hostd {

lm::message GuestService::handle(const lm::message& request) {
    switch (request.command()) {
        case lm::cmd::GET_ALL:
            return pageReply(request, guests_, paging());
        case lm::cmd::COUNT: {
            lm::message reply;
            reply.setU32(lm::key::COUNT, static_cast<uint32_t>(guests_.size()));
            return reply;
        }
        case lm::cmd::GET:
            return lm::errorMsg("no such guest", lm::err::NO_OBJECT);
        default:
            return lm::errorMsg("guest lists answer get-all, count and get only",
                                lm::err::BAD_REQUEST);
    }
}

}  // namespace hostd
