// One interface as ifTable and ifXTable serve it, built from one object of the interface
// service. Every 32-bit counter is the low half of the 64-bit counter beside it, so the two
// always agree modulo 2^32.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mib/data.h"
#include "platform/message.h"

namespace snmp {

struct Iface : Data {
    unsigned index = 0;
    std::string name;
    std::string comment;                     // ifAlias
    std::vector<unsigned char> physAddress;  // empty when the link has none
    unsigned mtu = 0;
    unsigned type = 0;
    unsigned speed = 0;      // bits per second, saturated at 2^32 - 1
    unsigned highSpeed = 0;  // Mb/s
    unsigned adminStatus = 0, operStatus = 0;
    unsigned long long hcInOctets = 0, hcOutOctets = 0, hcInUcastPkts = 0, hcOutUcastPkts = 0;
    unsigned inOctets = 0, outOctets = 0, inUcastPkts = 0, outUcastPkts = 0;
    unsigned inErrors = 0, outErrors = 0, inDiscards = 0, outDiscards = 0;
    unsigned long long inErrors64 = 0, outErrors64 = 0, inDiscards64 = 0;

    // A write changes the comment only: the one field the service lets a manager set.
    void toMessage(lm::message& out) const override;
};

struct IfTypeSpeed {
    unsigned type;
    unsigned speed;  // bits per second
};

// ifType and ifSpeed of an interface kind; rate selects 10, 100 or 1000 Mb/s for the
// Ethernet-like kinds (0 otherwise).
IfTypeSpeed typeAndSpeed(uint32_t kind, uint32_t rate);

Iface* buildInterface(const lm::message& object);

}  // namespace snmp
