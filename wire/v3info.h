// The parsed header and user-based security parameters of one SNMPv3 message, and the
// local engine that answers it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace snmp {

using Octets = std::vector<unsigned char>;

// Outcomes of the checks on a v3 request: accepted, or the usmStats error kind it is
// reported with (the index of its counter); a malformed message is dropped.
constexpr int V3_MALFORMED = -2;
constexpr int V3_ACCEPTED = -1;
constexpr int V3_UNSUPPORTED_SEC_LEVEL = 0;
constexpr int V3_NOT_IN_TIME_WINDOW = 1;
constexpr int V3_UNKNOWN_USER_NAME = 2;
constexpr int V3_UNKNOWN_ENGINE_ID = 3;
constexpr int V3_WRONG_DIGEST = 4;
constexpr int V3_DECRYPTION_ERROR = 5;
constexpr int V3_ERROR_KINDS = 6;

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
