// One service of lumo-hostd: the objects behind one bus path [program, handler]. The
// fixture-backed service serves any path from a JSON file; services backed by the Linux
// host (interfaces, health, system information) derive from the same class.
#pragma once

#include "platform/looper.h"
#include "tools/hostd/paging.h"

namespace hostd {

class HostService {
public:
    virtual ~HostService() = default;

    // Answers one request addressed to this service's path (the header says which command).
    virtual lm::message handle(const lm::message& request) = 0;

    // The bus handler that owns this service's path; notifications go out through it.
    void attach(lm::Handler* endpoint) { endpoint_ = endpoint; }
    lm::Handler* endpoint() const { return endpoint_; }

    // The paging switch of this service's path, set before each request; a service that
    // serves a list hands it to pageReply().
    void setPaging(PagingMode mode) { paging_ = mode; }
    PagingMode paging() const { return paging_; }

private:
    lm::Handler* endpoint_ = nullptr;
    PagingMode paging_ = PagingMode::NORMAL;
};

}  // namespace hostd
