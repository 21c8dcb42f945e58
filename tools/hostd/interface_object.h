// The interface object of [20, 0] (fields in platform/services.h) for one Linux link.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/message.h"
#include "tools/hostd/link_message.h"

namespace hostd {

// The status flags field (0x08010003) for the link's IFF_* flags: administratively up
// (IFF_UP) and running (IFF_RUNNING). The two bools of the object say the same.
uint32_t statusFlags(uint32_t iffFlags);

// The whole object. speedMbps is the link speed when the kernel knows it; without it the
// rate is "other" and the speed field is left out. Counters are left out when the
// message carried no statistics.
lm::message interfaceObject(const LinkInfo& link, std::optional<uint32_t> speedMbps);

}  // namespace hostd
