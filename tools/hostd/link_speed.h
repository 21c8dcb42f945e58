// Link speeds from the driver (the SIOCETHTOOL ioctl), asked in hostd's own network
// namespace: /sys/class/net shows the namespace sysfs was mounted in, which need not be
// hostd's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/hostd/unique_fd.h"

namespace hostd {

class LinkSpeeds {
public:
    LinkSpeeds();
    // The speed in Mb/s; none when the driver does not say (no ethtool support, no
    // carrier, or the link is gone).
    std::optional<uint32_t> speedMbps(const std::string& linkName) const;

private:
    UniqueFd fd_;  // any socket serves the ioctl
};

}  // namespace hostd
