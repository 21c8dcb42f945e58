#include "modules/interface_record.h"

#include <algorithm>
#include <limits>

#include "platform/bus.h"
#include "platform/services.h"

namespace snmp {

namespace {

namespace ift {  // IANAifType numbers
constexpr unsigned OTHER = 1, ETHERNET_CSMACD = 6, PPP = 23,
                   FRAME_RELAY = 32, ISDN = 63, IEEE80211 = 71, TUNNEL = 131, L2VLAN = 135,
                   V35 = 118, ADSL = 188, BRIDGE = 209;
}  // namespace ift

constexpr unsigned MBPS = 1000000;
constexpr unsigned RATE_SPEEDS[] = {10 * MBPS, 100 * MBPS, 1000 * MBPS};
constexpr unsigned DEFAULT_SPEED = 10 * MBPS;

unsigned speedOfRate(uint32_t rate) {
    // Rates 1 to 3; the unsigned subtraction turns 0 into a large number, so 0 is no speed.
    const uint32_t i = rate - 1;
    return i < 3 ? RATE_SPEEDS[i] : 0;
}

}  // namespace

IfTypeSpeed typeAndSpeed(uint32_t kind, uint32_t rate) {
    switch (kind) {
        case 1: return {ift::ETHERNET_CSMACD, speedOfRate(rate)};
        case 30: return {ift::L2VLAN, speedOfRate(rate)};
        case 2: return {ift::ADSL, 2 * MBPS};
        case 6: return {ift::ADSL, 10 * MBPS};
        case 5: case 13: case 24: case 35: return {ift::IEEE80211, 11 * MBPS};
        case 7: case 8: case 23: case 28: return {ift::V35, 64000};
        case 10: case 11: case 16: case 18: case 33: case 34: return {ift::PPP, 10 * MBPS};
        case 19: case 20: return {ift::PPP, 57600};
        case 12: return {ift::BRIDGE, 100 * MBPS};
        case 15: case 22: return {ift::ISDN, 64000};
        case 27: return {ift::FRAME_RELAY, 64000};
        case 17: return {ift::TUNNEL, 10 * MBPS};
        case 21: return {ift::TUNNEL, 128000};
        default: return {ift::OTHER, DEFAULT_SPEED};
    }
}

void Iface::toMessage(lm::message& out) const {
    out.setU32(lm::key::OBJECT_ID, index);
    out.setString(lm::service::iface::COMMENT, comment);
}

Iface* buildInterface(const lm::message& o) {
    namespace f = lm::service::iface;
    auto* i = new Iface;
    i->index = o.getU32(lm::key::OBJECT_ID);
    i->name = o.getString(f::NAME);
    i->comment = o.getString(f::COMMENT);
    if (const lm::bytes* mac = o.findRaw(f::HW_ADDRESS)) i->physAddress.assign(mac->begin(), mac->end());
    i->mtu = o.getU32(f::MTU);
    const IfTypeSpeed ts = typeAndSpeed(o.getU32(f::KIND), o.getU32(f::RATE));
    i->type = ts.type;
    i->speed = ts.speed;
    i->highSpeed = ts.speed / MBPS;
    // A link the rate cannot express (faster than 1 Gb/s, or an odd speed) reports its real
    // speed: ifSpeed saturated at 2^32 - 1 and ifHighSpeed in Mb/s, as managers graph it.
    if (o.hasU32(f::SPEED_MBPS) && ts.speed == 0) {
        const unsigned long long bps = 1ull * o.getU32(f::SPEED_MBPS) * MBPS;
        i->speed = static_cast<unsigned>(std::min<unsigned long long>(bps, std::numeric_limits<unsigned>::max()));
        i->highSpeed = o.getU32(f::SPEED_MBPS);
    }
    constexpr unsigned UP = 1, DOWN = 2;
    i->adminStatus = o.getBool(f::DISABLED) ? DOWN : UP;
    i->operStatus = o.getBool(f::RUNNING) ? UP : DOWN;
    i->hcInOctets = o.getU64(f::RX_BYTES);
    i->hcOutOctets = o.getU64(f::TX_BYTES);
    i->hcInUcastPkts = o.getU64(f::RX_PACKETS);
    i->hcOutUcastPkts = o.getU64(f::TX_PACKETS);
    i->inOctets = static_cast<unsigned>(i->hcInOctets);
    i->outOctets = static_cast<unsigned>(i->hcOutOctets);
    i->inUcastPkts = static_cast<unsigned>(i->hcInUcastPkts);
    i->outUcastPkts = static_cast<unsigned>(i->hcOutUcastPkts);
    i->inErrors = o.getU32(f::RX_ERRORS);
    i->outErrors = o.getU32(f::TX_ERRORS);
    i->inDiscards = o.getU32(f::RX_DROPS);
    i->outDiscards = o.getU32(f::TX_DROPS);
    i->inErrors64 = i->inErrors;
    i->outErrors64 = i->outErrors;
    i->inDiscards64 = i->inDiscards;
    return i;
}

}  // namespace snmp
