// The parsed header and user-based security parameters of one SNMPv3 message, and the
// local engine that answers it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace snmp {

using Octets = std::vector<unsigned char>;

struct V3Info {
    uint32_t msgID = 0;
    uint32_t msgMaxSize = 0;
    Octets msgFlags;  // bit 0 auth, bit 1 priv, the rest echoed untouched
    uint32_t msgSecurityModel = 0;
    Octets msgAuthoritativeEngineID;
    uint32_t msgAuthoritativeEngineBoots = 0;
    uint32_t msgAuthoritativeEngineTime = 0;
    std::string msgUserName;
    Octets msgAuthenticationParameters;  // received digest; its length is reused in the reply
    Octets msgPrivacyParameters;         // received salt; replaced by the reply's salt
    uint32_t authPosition = 0;           // offset of the digest's contents in the whole message
    Octets contextEngineID;
    Octets contextName;
};

struct V3ServerInfo {
    uint32_t engineBoots = 0;
    uint32_t startUptime = 0;
    uint32_t timeWindow = 150;
    Octets engineId;
};

}  // namespace snmp
