#include "tools/hostd/interface_object.h"

#include <net/if.h>

#include <limits>

#include "platform/bus.h"
#include "platform/services.h"
#include "tools/hostd/link_kind.h"

namespace hostd {

namespace iface = lm::service::iface;

namespace {

// The 32-bit counters carry the low half, wrapping as 32-bit SNMP counters do.
uint32_t low32(uint64_t v) { return uint32_t(v & std::numeric_limits<uint32_t>::max()); }

}  // namespace

uint32_t statusFlags(uint32_t iffFlags) {
    uint32_t status = 0;
    if (iffFlags & IFF_UP) status |= iface::STATUS_ADMIN_UP;
    if (iffFlags & IFF_RUNNING) status |= iface::STATUS_RUNNING;
    return status;
}

lm::message interfaceObject(const LinkInfo& link, std::optional<uint32_t> speedMbps) {
    lm::message m;
    m.setU32(lm::key::OBJECT_ID, link.index);
    m.setString(iface::NAME, link.name);
    m.setString(iface::COMMENT, link.alias);
    if (!link.address.empty()) m.setRaw(iface::HW_ADDRESS, link.address);
    if (link.mtu) m.setU32(iface::MTU, *link.mtu);
    m.setU32(iface::KIND, interfaceKind(link.type, link.kind));
    m.setU32(iface::RATE, rateOf(speedMbps));
    if (speedMbps) m.setU32(iface::SPEED_MBPS, *speedMbps);
    m.setBool(iface::DISABLED, !(link.flags & IFF_UP));
    m.setBool(iface::RUNNING, (link.flags & IFF_RUNNING) != 0);
    m.setU32(iface::STATUS, statusFlags(link.flags));
    m.setU32(iface::TYPE_FLAGS, 0);  // no link here is internal
    if (const auto& s = link.stats) {
        m.setU64(iface::RX_BYTES, s->rxBytes);
        m.setU64(iface::TX_BYTES, s->txBytes);
        m.setU64(iface::RX_PACKETS, s->rxPackets);
        m.setU64(iface::TX_PACKETS, s->txPackets);
        m.setU32(iface::RX_ERRORS, low32(s->rxErrors));
        m.setU32(iface::TX_ERRORS, low32(s->txErrors));
        m.setU32(iface::RX_DROPS, low32(s->rxDropped));
        m.setU32(iface::TX_DROPS, low32(s->txDropped));
    }
    return m;
}

}  // namespace hostd
