// The guest lists at [112, 1] (full virtual machines) and [109, 1] (nestling instances).
// This host runs no hypervisor that lumo-hostd can ask, so both lists are empty; they are
// served so that the agent's VM table answers at once instead of waiting on a program that
// is not there.
#pragma once

#include <vector>

#include "tools/hostd/host_service.h"

namespace hostd {

class GuestService : public HostService {
public:
    // get-all pages the list, count counts it, get of an id answers 0xFE0004.
    lm::message handle(const lm::message& request) override;

private:
    std::vector<lm::message> guests_;
};

}  // namespace hostd
