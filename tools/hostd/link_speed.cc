#include "tools/hostd/link_speed.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

namespace hostd {

namespace {

// Drivers of old say "unknown" with 0xFFFF rather than SPEED_UNKNOWN.
constexpr uint32_t OLD_SPEED_UNKNOWN = 0xFFFF;

}  // namespace

LinkSpeeds::LinkSpeeds() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

std::optional<uint32_t> LinkSpeeds::speedMbps(const std::string& linkName) const {
    if (!fd_ || linkName.empty() || linkName.size() >= IFNAMSIZ) return std::nullopt;
    ethtool_cmd cmd{};
    cmd.cmd = ETHTOOL_GSET;  // every kernel answers it, from the newer link settings too
    ifreq req{};
    std::memcpy(req.ifr_name, linkName.data(), linkName.size());
    req.ifr_data = reinterpret_cast<char*>(&cmd);
    if (ioctl(fd_.get(), SIOCETHTOOL, &req) != 0) return std::nullopt;
    const uint32_t speed = ethtool_cmd_speed(&cmd);
    if (speed == 0 || speed == uint32_t(SPEED_UNKNOWN) || speed == OLD_SPEED_UNKNOWN) return std::nullopt;
    return speed;
}

}  // namespace hostd
